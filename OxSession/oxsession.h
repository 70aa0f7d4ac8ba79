// Clients of the XML protocol.
//
// Placeholder until the client sessions land. OxSession is the interface that
// a machine connection calls on its clients, with empty bodies; OxSocketSession
// holds the accepted socket, reads and discards what arrives, and writes the
// two messages that the connection sends to one client straight to the socket.
#pragma once

#include "oxconn.h"
#include "oxobjecthandler.h"

#include <ace/Event_Handler.h>
#include <ace/SOCK_Stream.h>

#include <string>

// What the connection of a port tells each attached client.
class OxSession : public OXObjectHandler {
  public:
    ~OxSession() override = default;
    // The state of the connection, at attaching and at every change.
    virtual void CommModeChange(tagOxConnState /*state*/) {}
    // A test print text of the machine.
    virtual void TestPrintReceived(const std::string& /*text*/) {}
};

class OxSocketSession : public OxSession, public ACE_Event_Handler {
  public:
    OxSocketSession();
    ~OxSocketSession() override;

    ACE_SOCK_Stream& peer() { return peer_; }
    ACE_HANDLE get_handle() const override { return peer_.get_handle(); }
    int handle_input(ACE_HANDLE handle) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;

    // <Message><CommandError description="text"/></Message>
    void SendError(const std::string& text);
    // A line of today's event log. The description is filled in from the
    // language files once the sessions have them; until then the line goes
    // out as the log holds it.
    void HistoricAlarmEvent(std::string& line);
    // One message line to the client.
    void Send(const std::string& text);

  private:
    static int sessCount;
    ACE_SOCK_Stream peer_;
    int sessionId_;
};

class OxSessionManager {
  public:
    static OxSessionManager* Instance();
    // Ends every client session.
    void DestroyAll() {}
};
