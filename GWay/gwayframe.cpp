#include "gwayframe.h"

namespace GWay {

unsigned GetGWayCommandLength(const char* buffer, unsigned count) {
    if (count < 4)
        return 0;
    return (static_cast<unsigned char>(buffer[2]) << 8) | static_cast<unsigned char>(buffer[3]);
}

unsigned char GWayChecksum(const char* data, unsigned length) {
    unsigned char sum = 0;
    for (unsigned i = 0; i < length; ++i)
        sum = static_cast<unsigned char>(sum + static_cast<unsigned char>(data[i]));
    return static_cast<unsigned char>(-sum);
}

bool GWayTailOk(const char* frame, unsigned payloadLength) {
    return static_cast<unsigned char>(frame[5 + payloadLength]) == DLE &&
           static_cast<unsigned char>(frame[6 + payloadLength]) == ETX;
}

bool GWayChecksumOk(const char* frame, unsigned payloadLength) {
    unsigned char sum = 0;
    for (unsigned i = 2; i <= 4 + payloadLength; ++i)
        sum = static_cast<unsigned char>(sum + static_cast<unsigned char>(frame[i]));
    return sum == 0;
}

unsigned SealGWayFrame(char* out, unsigned payloadLength) {
    out[0] = static_cast<char>(DLE);
    out[1] = static_cast<char>(STX);
    out[2] = static_cast<char>((payloadLength >> 8) & 0xFF);
    out[3] = static_cast<char>(payloadLength & 0xFF);
    out[4 + payloadLength] = static_cast<char>(GWayChecksum(out + 2, payloadLength + 2));
    out[5 + payloadLength] = static_cast<char>(DLE);
    out[6 + payloadLength] = static_cast<char>(ETX);
    return payloadLength + FRAME_OVERHEAD;
}

std::string MakeGWayFrame(const std::string& payload) {
    std::string frame(payload.size() + FRAME_OVERHEAD, '\0');
    frame.replace(4, payload.size(), payload);
    SealGWayFrame(&frame[0], static_cast<unsigned>(payload.size()));
    return frame;
}

std::string MakeGWayCommand(int code, const std::string& data, bool more) {
    std::string payload;
    payload += static_cast<char>(more ? MORE_BLOCKS : 0);
    payload += static_cast<char>((code >> 8) & 0xFF);
    payload += static_cast<char>(code & 0xFF);
    payload += data;
    return MakeGWayFrame(payload);
}

namespace {
int Word(const std::string& s, size_t at) {
    return (static_cast<unsigned char>(s[at]) << 8) | static_cast<unsigned char>(s[at + 1]);
}
}  // namespace

bool DecodeGWayPayload(const std::string& payload, GWayMessage& out) {
    if (payload.size() < 3)
        return false;
    out = GWayMessage();
    out.more = static_cast<unsigned char>(payload[0]) == MORE_BLOCKS;
    int code = Word(payload, 1);
    if (code != REPLY_MARK) {
        out.code = code;
        out.data = payload.substr(3);
        return true;
    }
    if (payload.size() < REPLY_HEADER)
        return false;
    out.isReply = true;
    out.code = Word(payload, 3);
    out.xmode = Word(payload, 5);
    out.mstate = Word(payload, 7);
    out.data = payload.substr(REPLY_HEADER);
    return true;
}

bool GWayStreamParser::Next(std::string& payload) {
    for (;;) {
        size_t start = 0;
        while (start < buffer.size() && static_cast<unsigned char>(buffer[start]) != DLE) {
            if (static_cast<unsigned char>(buffer[start]) == ACK)
                ++acks;
            ++start;
        }
        buffer.erase(0, start);
        if (buffer.size() < 2)
            return false;
        if (static_cast<unsigned char>(buffer[1]) != STX) {
            buffer.erase(0, 1);
            continue;
        }
        unsigned length = GetGWayCommandLength(buffer.data(), static_cast<unsigned>(buffer.size()));
        if (buffer.size() < 4 || buffer.size() < length + FRAME_OVERHEAD)
            return false;
        if (!GWayTailOk(buffer.data(), length) || !GWayChecksumOk(buffer.data(), length)) {
            ++badFrames;
            buffer.erase(0, 1);
            continue;
        }
        payload = buffer.substr(4, length);
        buffer.erase(0, length + FRAME_OVERHEAD);
        return true;
    }
}

}  // namespace GWay
