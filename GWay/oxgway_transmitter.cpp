#include "oxgway_transmitter.h"

#include "testprint.h"

OxGWayTransmitter::OxGWayTransmitter(ACE_SOCK_Stream& socket, ACE_Event_Handler& owner,
                                     ACE_Reactor& reactor)
    : SocketWriter(socket, owner, reactor, 30, 10), pool(GWay::POOL_BLOCKS) {}

OxGWayTransmitter::~OxGWayTransmitter() {
    // The queued blocks go back to the pool while it still exists; the
    // writer's own destructor would take them for heap buffers.
    ReleaseAll();
}

void OxGWayTransmitter::Reset() {
    size_t before = pool.GetInUse();
    SocketWriter::Reset();
    TestPrintF(0x2000, "GWay(%d): OxGWayTransmitter::Reset;%d;%d\n", GetSessionId(),
               static_cast<int>(before), static_cast<int>(pool.GetInUse()));
}

void OxGWayTransmitter::ReleaseBuffer(void* buffer) {
    pool.free(buffer);
}

char* OxGWayTransmitter::GetMessageBuffer() {
    auto* buffer = static_cast<char*>(pool.malloc(GWay::POOL_BLOCK));
    if (buffer == nullptr)
        TestPrintF(4, "GWay(%d): Error: No more transmit buffers\n", GetSessionId());
    return buffer;
}

void OxGWayTransmitter::SendACK() {
    char* buffer = GetMessageBuffer();
    if (buffer == nullptr) {
        TestPrintF(4, "GWay(%d): Error: Unable to send ack\n", GetSessionId());
        return;
    }
    buffer[0] = static_cast<char>(GWay::ACK);
    SendData(buffer, 1);
}

void OxGWayTransmitter::SendGWayMessage(char* buffer, unsigned length) {
    SendData(buffer, length);
    TestPrintF(0x4000, "GWay(%d): Block Transmitted\n", GetSessionId());
}
