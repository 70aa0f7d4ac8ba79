// A plant host for tests: speaks GWay frames to the gateway port on the
// loopback, sends commands and reads the server's replies and commands.
#pragma once

#include "gwayframe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>

class GWayHost {
  public:
    // receiveBuffer: SO_RCVBUF set before connecting (0: the system's).
    explicit GWayHost(int port, int receiveBuffer = 0) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        if (receiveBuffer > 0)
            setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
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
    int Fd() const { return fd_; }
    bool Closed() const { return closed_; }
    unsigned long Acks() const { return parser_.Acks(); }

    // One command in a single last block.
    bool Send(int code, const std::string& data = "", int flags = MSG_NOSIGNAL) {
        std::string frame = GWay::MakeGWayCommand(code, data);
        return send(fd_, frame.data(), frame.size(), flags) == static_cast<ssize_t>(frame.size());
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
    bool Ask(int code, GWay::GWayMessage& reply, const std::string& data = "") {
        if (!Send(code, data))
            return false;
        while (Next(reply))
            if (reply.isReply)
                return true;
            else
                ++notices;
        return false;
    }
    // True if the server closes the connection within the time.
    bool WaitForClose(int ms) {
        GWay::GWayMessage message;
        while (Next(message, ms)) {
        }
        return closed_;
    }

    int notices = 0;

  private:
    int fd_ = -1;
    bool connected_ = false;
    bool closed_ = false;
    GWay::GWayStreamParser parser_;
};
