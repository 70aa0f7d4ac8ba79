// Splits a reply into frames of at most 1008 data bytes, each carrying the
// reply header, and queues them; the first goes out at once, the host pulls
// each further one with 0x1010. Server commands are single 10-byte frames.
#pragma once

#include "gwayframe.h"
#include "oxgway_links.h"

#include <list>

class OxGWayTransmitter;

class OxGWayBlockTransmitter {
  public:
    OxGWayBlockTransmitter(OxGWayMStateSource& session, OxGWayTransmitter& transmitter);
    ~OxGWayBlockTransmitter();
    OxGWayBlockTransmitter(const OxGWayBlockTransmitter&) = delete;
    OxGWayBlockTransmitter& operator=(const OxGWayBlockTransmitter&) = delete;

    // The only way a command handler answers. At most 64 KiB of data.
    void SendReply(int command, int xmode, const char* data = nullptr, unsigned length = 0);
    // A 3-byte command payload: flag 0 and the code (0x1010, 0x1018).
    void SendCommand(int command);
    // Sends the first queued block, if any.
    void SendNextBlock();
    // Drops the queued blocks of the reply in transmission.
    void Reset();
    // Code of the reply whose blocks are waiting; 0 if none.
    int GetLastCommand() const { return lastCommand; }
    void SetSessionId(int id) { sessionId = id; }
    size_t QueuedBlocks() const { return blocks.size(); }

  private:
    struct BlockData {
        char* buffer;
        unsigned length;
    };

    int sessionId = 0;
    int lastCommand = 0;
    OxGWayMStateSource& session;
    OxGWayTransmitter& transmitter;
    std::list<BlockData> blocks;
};
