// Joins the payloads of a host's flagged blocks into one command of up to
// 64 KiB, asks for each next block, and hands the whole command to the
// command interpreter. A 0x1010 from the host pulls the next reply block.
#pragma once

#include "gwayframe.h"
#include "oxgway_links.h"

class OxGWayBlockTransmitter;

class OxGWayBlockReceiver {
  public:
    OxGWayBlockReceiver(OxGWayCommandSink& interpreter, OxGWayBlockTransmitter& blockTransmitter);

    // One frame's payload; payload[length] is a NUL written by the receiver.
    void AddBlock(const char* payload, unsigned length);
    // Forgets the data joined so far.
    void Reset() { length = 0; }
    void SetSessionId(int id) { sessionId = id; }
    unsigned GetLength() const { return length; }

  private:
    OxGWayCommandSink& interpreter;
    OxGWayBlockTransmitter& blockTransmitter;
    // The joined data and its NUL.
    char data[GWay::MAX_COMMAND_DATA + 1];
    unsigned length = 0;
    int sessionId = 0;
};
