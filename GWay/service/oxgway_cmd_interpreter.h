// Hands a joined gateway command to the handler registered for its code,
// and answers by itself while the machine is not connected (XMode 16) and
// for a code without handler (XMode 18).
#pragma once

#include "oxgway_links.h"

#include <cstddef>
#include <map>

class OxGWayBlockTransmitter;
class OxGWayCommandHandler;
class OxGWaySession;

class OxGWayCommandInterpreter : public OxGWayCommandSink {
  public:
    static constexpr int kXModeDone = 1;
    static constexpr int kXModeFailed = 16;
    static constexpr int kXModeNotImplemented = 18;

    OxGWayCommandInterpreter(OxGWaySession& session, OxGWayBlockTransmitter& transmitter,
                             char* outputBuffer);
    ~OxGWayCommandInterpreter() override;
    OxGWayCommandInterpreter(const OxGWayCommandInterpreter&) = delete;
    OxGWayCommandInterpreter& operator=(const OxGWayCommandInterpreter&) = delete;

    // Takes ownership; the first handler of a code stays, a later one of the
    // same code is deleted.
    void AddHandler(OxGWayCommandHandler* handler);
    void ExecuteCommand(int code, char* pBuffer, unsigned length) override;
    void Reset();
    void COMConnected();
    void COMDisconnected();
    void SetSessionId(int id) { sessionId = id; }
    int GetPreviousCommand() const { return previousCommand; }
    size_t HandlerCount() const { return handlers.size(); }

  private:
    OxGWaySession& session;
    OxGWayBlockTransmitter& transmitter;
    char* outputBuffer;
    std::map<int, OxGWayCommandHandler*> handlers;
    int sessionId = 0;
    int previousCommand = 0;
};
