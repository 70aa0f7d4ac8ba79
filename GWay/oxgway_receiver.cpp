#include "oxgway_receiver.h"

#include "oxgway_block_receiver.h"
#include "oxgway_transmitter.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <cerrno>
#include <cstring>

OxGWayReceiver::OxGWayReceiver(ACE_Event_Handler& owner, ACE_SOCK_Stream& socket,
                               OxGWayBlockReceiver& blockReceiver, OxGWayTransmitter& transmitter)
    : ACE_Event_Handler(owner.reactor(), 10),
      owner(owner),
      socket(socket),
      blockReceiver(blockReceiver),
      transmitter(transmitter) {}

OxGWayReceiver::~OxGWayReceiver() {
    // The reactor must not keep a pointer to a receiver that is gone; the
    // registration on the socket is taken away only if it is this one's.
    ACE_Event_Handler* registered = nullptr;
    if (reactor() != nullptr && get_handle() != ACE_INVALID_HANDLE &&
        reactor()->handler(get_handle(), READ_MASK, &registered) == 0 && registered == this)
        reactor()->remove_handler(this, ALL_EVENTS_MASK | DONT_CALL);
}

int OxGWayReceiver::open() {
    if (reactor() == nullptr || reactor()->register_handler(this, READ_MASK) == -1) {
        TestPrintF(4, "GWay(%d): Error: Unable to register ACE_Event_Handler::READ_MASK\n",
                   sessionId);
        return -1;
    }
    return 0;
}

int OxGWayReceiver::handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) {
    owner.handle_close(handle, mask);
    return 0;
}

int OxGWayReceiver::handle_input(ACE_HANDLE) {
    if (closedReason != OPEN)
        return -1;
    TestPrintF(0x4000, "GWay(%d): Handling Input\n", sessionId);
    // A frame that can never fit leaves no room: recv is then asked for zero
    // bytes, returns 0, and the connection counts as closed by the host.
    ssize_t got = socket.recv(buffer + count, GWay::RECEIVE_BUFFER - count);
    if (got < 0) {
        TestPrintF(17, "GWay(%d): Warn: Socket Broken (E%d). Closing Connection\n", sessionId,
                   errno);
        closedReason = SOCKET_BROKEN;
        return -1;
    }
    if (got == 0) {
        TestPrintF(1, "GWay(%d): Client Closing Connection\n", sessionId);
        closedReason = CLOSED_BY_HOST;
        return -1;
    }
    TestPrintF(0x4000, "GWay(%d): Bytes Received: %d\n", sessionId, static_cast<int>(got));
    count += static_cast<unsigned>(got);
    ProcessBuffer();
    return 0;
}

void OxGWayReceiver::ProcessBuffer() {
    while (count >= 2) {
        if (static_cast<unsigned char>(buffer[0]) != GWay::DLE ||
            static_cast<unsigned char>(buffer[1]) != GWay::STX) {
            // Not a start mark: skip to the next DLE after the first byte.
            auto* dle = static_cast<char*>(memchr(buffer + 1, GWay::DLE, count - 1));
            if (dle == nullptr) {
                count = 0;
            } else {
                count -= static_cast<unsigned>(dle - buffer);
                memmove(buffer, dle, count);
            }
            continue;
        }
        if (count < 4)
            break;
        unsigned length = GWay::GetGWayCommandLength(buffer, count);
        unsigned frameLength = length + GWay::FRAME_OVERHEAD;
        if (count < frameLength)
            break;
        if (!GWay::GWayTailOk(buffer, length)) {
            TestPrintF(0x2000, "GWay(%d): Error: Unexpected message tail received\n", sessionId);
            Resynchronise();
            continue;
        }
        if (!GWay::GWayChecksumOk(buffer, length)) {
            TestPrintF(0x2000, "GWay(%d): Error: Checksum error in received command\n", sessionId);
            Resynchronise();
            continue;
        }
        // The payload is followed by a NUL in place of the checksum.
        buffer[4 + length] = 0;
        transmitter.SendACK();
        count -= frameLength;
        blockReceiver.AddBlock(buffer + 4, length);
        // A reset during the command has emptied the buffer.
        if (count > 0)
            memmove(buffer, buffer + frameLength, count);
    }
}

void OxGWayReceiver::Resynchronise() {
    // Searches for a 0x00, not for a DLE as the start-mark check does. A
    // zero just past the data would leave nothing either, so the search ends
    // at the last byte held.
    auto* zero = static_cast<char*>(memchr(buffer + 1, 0, count - 1));
    if (zero == nullptr) {
        count = 0;
    } else {
        count -= static_cast<unsigned>(zero - buffer);
        memmove(buffer, zero, count);
    }
}
