// A plant host for tests: speaks GWay frames to the gateway port on the
// loopback, sends commands and reads the server's replies and commands.
#pragma once

#include "gwayframe.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>

inline std::string GWayElement(int port, bool enabled) {
    return "<GWay port=\"" + std::to_string(port) + "\" enabled=\"" + (enabled ? "true" : "false") +
           "\"/>";
}

class GWayHost {
  public:
    explicit GWayHost(int port) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    }
    GWayHost(const GWayHost&) = delete;
    GWayHost& operator=(const GWayHost&) = delete;
    ~GWayHost() { close(fd_); }

    bool Connected() const { return connected_; }

    // Commands, each in a single last block.
    bool Send(int code, const std::string& data = "", int count = 1) {
        std::string frames;
        for (int i = 0; i < count; ++i)
            frames += GWay::MakeGWayCommand(code, data);
        return send(fd_, frames.data(), frames.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(frames.size());
    }
    // The next message of the server; false on timeout or close.
    bool Next(GWay::GWayMessage& message, int ms = 5000) {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        std::string payload;
        while (!parser_.Next(payload)) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                            end - std::chrono::steady_clock::now())
                            .count();
            pollfd p{fd_, POLLIN, 0};
            if (closed_ || poll(&p, 1, left > 0 ? static_cast<int>(left) : 0) <= 0)
                return false;
            char buffer[4096];
            ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
            if (n <= 0) {
                closed_ = true;
                return false;
            }
            parser_.Feed(buffer, static_cast<size_t>(n));
        }
        return GWay::DecodeGWayPayload(payload, message);
    }
    // Sends a command and reads up to its reply; server commands on the way
    // are counted in notices.
    bool Ask(int code, GWay::GWayMessage& reply) {
        reply = GWay::GWayMessage();
        bool sent = Send(code);
        while (sent && Next(reply) && !reply.isReply)
            ++notices;
        return sent && reply.isReply;
    }
    // True if the server closes the connection within the time.
    bool WaitForClose(int ms) {
        GWay::GWayMessage message;
        while (Next(message, ms)) {
        }
        return closed_;
    }

    int notices = 0;  // server commands met by Ask

  private:
    int fd_ = -1;
    bool connected_ = false;
    bool closed_ = false;
    GWay::GWayStreamParser parser_;
};
