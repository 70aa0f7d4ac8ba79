// Command 0x1018: the host throws its state with the server away.
#pragma once

#include "oxgway_cmd_handler.h"

class OxGWaySession;

class OxGWayCommandCancel : public OxGWayCommandHandler {
  public:
    static constexpr int kCode = 0x1018;
    OxGWayCommandCancel(OxGWayBlockTransmitter& transmitter, OxGWaySession& session)
        : OxGWayCommandHandler(transmitter, kCode), session(session) {}
    bool ExecuteCommand(char* data, unsigned length) override;

  private:
    OxGWaySession& session;
};
