// Cuts the host's byte stream into frames: checks tail and checksum, acks
// each good frame and hands its payload to the block receiver. Bad frames
// get no answer; the receiver resynchronises on the next start mark.
#pragma once

#include "gwayframe.h"

#include <ace/Event_Handler.h>
#include <ace/SOCK_Stream.h>

class OxGWayBlockReceiver;
class OxGWayTransmitter;

class OxGWayReceiver : public ACE_Event_Handler {
  public:
    enum { OPEN = 0, SOCKET_BROKEN = 1, CLOSED_BY_HOST = 2 };

    OxGWayReceiver(ACE_Event_Handler& owner, ACE_SOCK_Stream& socket,
                   OxGWayBlockReceiver& blockReceiver, OxGWayTransmitter& transmitter);
    ~OxGWayReceiver() override;
    OxGWayReceiver(const OxGWayReceiver&) = delete;
    OxGWayReceiver& operator=(const OxGWayReceiver&) = delete;

    // Registers for input with the owner's reactor; -1 on failure.
    int open();
    // Drops a partial frame.
    void Reset() { count = 0; }
    void SetSessionId(int id) { sessionId = id; }
    int GetClosedReason() const { return closedReason; }

    int handle_input(ACE_HANDLE handle) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    ACE_HANDLE get_handle() const override { return socket.get_handle(); }

    // Works through the bytes now in the buffer: acks and hands on every
    // complete good frame, drops what cannot start one.
    void ProcessBuffer();

  private:
    // After a bad tail or checksum: drop up to the next 0x00 from position 1.
    void Resynchronise();

    ACE_Event_Handler& owner;
    ACE_SOCK_Stream& socket;
    OxGWayBlockReceiver& blockReceiver;
    OxGWayTransmitter& transmitter;
    int sessionId = 0;
    int closedReason = OPEN;
    char buffer[GWay::RECEIVE_BUFFER];
    unsigned count = 0;
};
