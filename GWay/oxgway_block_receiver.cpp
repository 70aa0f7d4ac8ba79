#include "oxgway_block_receiver.h"

#include "oxgway_block_transmitter.h"
#include "testprint.h"

#include <cstring>

OxGWayBlockReceiver::OxGWayBlockReceiver(OxGWayCommandSink& interpreter,
                                         OxGWayBlockTransmitter& blockTransmitter)
    : interpreter(interpreter), blockTransmitter(blockTransmitter) {
    data[0] = 0;
}

void OxGWayBlockReceiver::AddBlock(const char* payload, unsigned payloadLength) {
    if (payloadLength <= 2) {
        TestPrintF(0x2000, "GWay(%d): Warn: No GWay Command in Data\n", sessionId);
        return;
    }
    unsigned added = payloadLength - 3;
    if (length + added > GWay::MAX_COMMAND_DATA) {
        TestPrintF(4, "GWay(%d): Error: Buffer Overflow\n", sessionId);
        Reset();
        return;
    }
    // The data and the NUL that the receiver left behind the payload.
    memcpy(data + length, payload + 3, added + 1);
    length += added;
    if (static_cast<unsigned char>(payload[0]) == GWay::MORE_BLOCKS) {
        TestPrintF(0x4000, "GWay(%d): Request Next Block\n", sessionId);
        blockTransmitter.SendCommand(GWay::GWAY_COMMAND_NEXT_BLOCK);
        return;
    }
    int code =
        (static_cast<unsigned char>(payload[1]) << 8) | static_cast<unsigned char>(payload[2]);
    if (code == GWay::GWAY_COMMAND_NEXT_BLOCK) {
        TestPrintF(0x4000, "GWay(%d): Cmd:0x%x\n", sessionId, code);
        blockTransmitter.SendNextBlock();
        return;
    }
    if (code == blockTransmitter.GetLastCommand()) {
        TestPrintF(0x2000, "GWay(%d): Already transmitting;0x%x\n", sessionId, code);
        blockTransmitter.Reset();
    }
    interpreter.ExecuteCommand(code, data, length);
    Reset();
}
