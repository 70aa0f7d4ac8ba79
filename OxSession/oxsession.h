// A client of the XML protocol.
// Placeholder until the client sessions land: it holds the accepted socket,
// reads and discards what arrives, and goes when the client closes.
#pragma once

#include <ace/Event_Handler.h>
#include <ace/SOCK_Stream.h>

class OxSocketSession : public ACE_Event_Handler {
public:
    OxSocketSession() = default;
    ~OxSocketSession() override;

    ACE_SOCK_Stream& peer() { return peer_; }
    ACE_HANDLE get_handle() const override { return peer_.get_handle(); }
    int handle_input(ACE_HANDLE handle) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;

private:
    ACE_SOCK_Stream peer_;
};

class OxSessionManager {
public:
    static OxSessionManager* Instance();
    // Ends every client session.
    void DestroyAll() {}
};
