#include "oxgway_block_transmitter.h"

#include "oxgway_transmitter.h"
#include "testprint.h"

#include <algorithm>
#include <cassert>

namespace {
void PutWord(char* at, int value) {
    at[0] = static_cast<char>((value >> 8) & 0xFF);
    at[1] = static_cast<char>(value & 0xFF);
}
int GetWord(const char* at) {
    return (static_cast<unsigned char>(at[0]) << 8) | static_cast<unsigned char>(at[1]);
}
}  // namespace

OxGWayBlockTransmitter::OxGWayBlockTransmitter(OxGWayMStateSource& session,
                                               OxGWayTransmitter& transmitter)
    : session(session), transmitter(transmitter) {}

OxGWayBlockTransmitter::~OxGWayBlockTransmitter() {
    Reset();
}

void OxGWayBlockTransmitter::SendReply(int command, int xmode, const char* data, unsigned length) {
    unsigned totalPayloadLength = data == nullptr ? 0 : length;
    assert(totalPayloadLength <= (64 * 1024));
    if (totalPayloadLength == 0)
        data = "";
    int mstate = session.GetMState();
    TestPrintF(0x4000, "GWay(%d): Reply:0x%x, XMode:0x%x, MState:0x%x, Data:%.*s\n", sessionId,
               command, xmode, mstate, static_cast<int>(std::min(20u, totalPayloadLength)), data);
    bool wasEmpty = blocks.empty();
    unsigned offset = 0;
    do {
        unsigned n = std::min(GWay::REPLY_DATA_MAX, totalPayloadLength - offset);
        char* buffer = transmitter.GetMessageBuffer();
        if (buffer == nullptr) {
            TestPrintF(4, "GWay(%d): Error: Unable to send reply; 0x%x\n", sessionId, command);
            TestPrintF(0x4000, "GWay(%d): Reply:0x%x, XMode:0x%x, MState:0x%x, Data:%.*s\n",
                       sessionId, command, xmode, mstate,
                       static_cast<int>(std::min(20u, totalPayloadLength)), data);
            return;
        }
        bool more = offset + n < totalPayloadLength;
        int code = offset == 0 ? command : GWay::GWAY_COMMAND_NEXT_BLOCK;
        unsigned char flag = more ? GWay::MORE_BLOCKS : 0;
        char* payload = buffer + 4;
        payload[0] = static_cast<char>(flag);
        PutWord(payload + 1, GWay::REPLY_MARK);
        PutWord(payload + 3, code);
        PutWord(payload + 5, xmode);
        PutWord(payload + 7, mstate);
        std::copy(data + offset, data + offset + n, payload + GWay::REPLY_HEADER);
        unsigned frameLength = GWay::SealGWayFrame(buffer, n + GWay::REPLY_HEADER);
        blocks.push_back({buffer, frameLength});
        TestPrintF(0x4000,
                   "GWay(%d): Block:0x%x, XMode:0x%x, MState:0x%x, Block:0x%2.2hx, Data:%.*s\n",
                   sessionId, code, xmode, mstate, static_cast<unsigned short>(flag),
                   static_cast<int>(std::min(40u, n)), data + offset);
        offset += n;
    } while (offset < totalPayloadLength);
    if (wasEmpty && !blocks.empty())
        SendNextBlock();
}

void OxGWayBlockTransmitter::SendCommand(int command) {
    char* buffer = transmitter.GetMessageBuffer();
    if (buffer == nullptr)
        return;
    buffer[4] = 0;
    PutWord(buffer + 5, command);
    transmitter.SendGWayMessage(buffer, GWay::SealGWayFrame(buffer, 3));
}

void OxGWayBlockTransmitter::SendNextBlock() {
    if (blocks.empty()) {
        lastCommand = 0;
        TestPrintF(0x2000, "GWay(%d): Error: Unexpected GWAY_COMMAND_NEXT_BLOCK received\n",
                   sessionId);
        return;
    }
    BlockData block = blocks.front();
    blocks.pop_front();
    // The code answered, read before the writer owns the block.
    int code = 0;
    if (block.length > 11) {
        code = GetWord(block.buffer + 5);
        if (code == GWay::REPLY_MARK)
            code = GetWord(block.buffer + 7);
    }
    transmitter.SendGWayMessage(block.buffer, block.length);
    if (block.length > 11) {
        if (code != GWay::GWAY_COMMAND_NEXT_BLOCK) {
            TestPrintF(0x4000, "GWay(%d): Transmitting command started;0x%x\n", sessionId, code);
            lastCommand = code;
        }
        if (blocks.empty())
            lastCommand = 0;
    }
}

void OxGWayBlockTransmitter::Reset() {
    for (BlockData& block : blocks)
        transmitter.ReleaseBuffer(block.buffer);
    blocks.clear();
    lastCommand = 0;
}
