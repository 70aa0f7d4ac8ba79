// The gateway's socket writer: frames are built directly in blocks of a
// fixed pool of 100, so the session allocates nothing per frame; the ack byte
// uses a whole block too, so there is one way of queueing.
#pragma once

#include "gwayframe.h"
#include "hm_ace_pool.h"
#include "socketwriter.h"

class OxGWayTransmitter : public SocketWriter {
  public:
    OxGWayTransmitter(ACE_SOCK_Stream& socket, ACE_Event_Handler& owner, ACE_Reactor& reactor);
    ~OxGWayTransmitter() override;

    // Forgets the queued output and logs the pool's blocks in use before
    // and after.
    void Reset() override;
    // Back to the pool; null is allowed.
    void ReleaseBuffer(void* buffer) override;

    // A pool block of GWay::POOL_BLOCK bytes, or null (logged) when none is
    // left.
    char* GetMessageBuffer();
    // Queues the ACK byte; without a free block it is lost (logged).
    void SendACK();
    // Queues a frame written into a pool block; the writer owns it from here.
    void SendGWayMessage(char* buffer, unsigned length);
    int GetSessionId() const { return GetSocketId(); }
    size_t BuffersInUse() const { return pool.GetInUse(); }

  private:
    HM_ACE_Pool<char[1023]> pool;
};
