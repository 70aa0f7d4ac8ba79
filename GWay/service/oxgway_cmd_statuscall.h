// Command 0x1003: the machine's run state and the code of the command
// executed before this one.
#pragma once

#include "oxgway_cmd_handler.h"

class OxGWayCommandInterpreter;
class OxGWaySession;

class OxGWayCommandStatusCall : public OxGWayCommandHandler {
  public:
    static constexpr int kCode = 0x1003;
    OxGWayCommandStatusCall(OxGWayBlockTransmitter& transmitter, OxGWaySession& session,
                            OxGWayCommandInterpreter& interpreter)
        : OxGWayCommandHandler(transmitter, kCode), session(session), interpreter(interpreter) {}
    bool ExecuteCommand(char* data, unsigned length) override;

  private:
    OxGWaySession& session;
    OxGWayCommandInterpreter& interpreter;
};
