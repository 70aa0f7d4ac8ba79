// The GWay frame: DLE STX, a big-endian payload length L, L payload bytes, a
// checksum and DLE ETX. The checksum makes the length bytes, the payload and
// itself sum to 0 modulo 256. There is no byte stuffing: frames are found by
// their length field alone. Outside frames the server writes a lone ACK byte
// for every good frame it receives.
//
// The pure functions here are used by the server's receiver and transmitters
// and by the host side (the gwayclient tool, tests, fuzzing, benchmarks).
#pragma once

#include <cstddef>
#include <string>

namespace GWay {

constexpr unsigned char DLE = 0x10;
constexpr unsigned char STX = 0x02;
constexpr unsigned char ETX = 0x03;
constexpr unsigned char ACK = 0x06;

// Start mark, length and checksum, tail mark: a frame is L + 7 bytes.
constexpr unsigned FRAME_OVERHEAD = 7;
// The receiver's buffer: the largest payload it can take is 1017 bytes.
constexpr unsigned RECEIVE_BUFFER = 1024;
constexpr unsigned MAX_PAYLOAD = RECEIVE_BUFFER - FRAME_OVERHEAD;
// Usable bytes of one transmit pool block.
constexpr unsigned POOL_BLOCK = 1024;
constexpr unsigned POOL_BLOCKS = 100;
// Flag, reply mark, code, XMode, MState in front of every reply block's data.
constexpr unsigned REPLY_HEADER = 9;
constexpr unsigned REPLY_DATA_MAX = 1008;
// Joined command data and a whole reply.
constexpr unsigned MAX_COMMAND_DATA = 65536;
constexpr unsigned MAX_REPLY_DATA = 64 * 1024;

constexpr unsigned char MORE_BLOCKS = 0xFF;
constexpr int REPLY_MARK = 0x2001;
constexpr int GWAY_COMMAND_NEXT_BLOCK = 0x1010;
constexpr int GWAY_COMMAND_CANCEL_CONNECTION = 0x1018;

// Payload length of the frame at the start of buffer; 0 if fewer than 4
// bytes are at hand.
unsigned GetGWayCommandLength(const char* buffer, unsigned count);

// Two's complement of the low byte of the sum of length bytes of data.
unsigned char GWayChecksum(const char* data, unsigned length);

// True if the L + 7 bytes at frame have the tail mark.
bool GWayTailOk(const char* frame, unsigned payloadLength);
// True if length bytes, payload and checksum sum to 0 modulo 256.
bool GWayChecksumOk(const char* frame, unsigned payloadLength);

// Writes start mark, length, checksum and tail around the payload that the
// caller has already put at out + 4. Returns the frame length L + 7.
unsigned SealGWayFrame(char* out, unsigned payloadLength);

// Host side: the frame around a payload.
std::string MakeGWayFrame(const std::string& payload);
// Host side: a command frame: block flag (0xFF when more blocks follow),
// code, data.
std::string MakeGWayCommand(int code, const std::string& data, bool more = false);

// A decoded server frame.
struct GWayMessage {
    bool more = false;     // block flag 0xFF
    bool isReply = false;  // payload carries the reply mark 0x2001
    int code = 0;          // command code (for a reply: the code answered)
    int xmode = 0;         // reply only
    int mstate = 0;        // reply only
    std::string data;      // reply data, or a command's data
};

// Decodes a frame's payload: a reply (flag, 0x2001, code, XMode, MState,
// data) or a command (flag, code, data). False if it is shorter than 3 bytes
// or a reply shorter than its 9-byte header.
bool DecodeGWayPayload(const std::string& payload, GWayMessage& out);

// Host side: cuts the server's byte stream into frames. ACK bytes and
// anything else outside a frame are dropped (and counted).
class GWayStreamParser {
  public:
    void Feed(const char* data, size_t length) { buffer.append(data, length); }
    // Takes the next complete frame's payload off the stream; false when
    // none is complete yet. A frame with a bad tail or checksum is skipped.
    bool Next(std::string& payload);
    unsigned long Acks() const { return acks; }
    unsigned long BadFrames() const { return badFrames; }
    size_t Pending() const { return buffer.size(); }

  private:
    std::string buffer;
    unsigned long acks = 0;
    unsigned long badFrames = 0;
};

}  // namespace GWay
