// A client of the gateway's XML protocol for tests: connects to the client
// port on the loopback, sends lines and reads the answers line by line.
#pragma once

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

class XmlClient {
  public:
    // receiveBuffer: SO_RCVBUF set before connecting (0: the system's), so
    // that a client that stops reading fills up soon.
    explicit XmlClient(int port, int receiveBuffer = 0) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        if (receiveBuffer > 0)
            setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    }
    // A client of another text protocol on ip:port whose texts end with
    // lineEnd, such as the machine link's zero byte.
    XmlClient(const std::string& ip, int port, const std::string& lineEnd) : lineEnd_(lineEnd) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, ip.c_str(), &addr.sin_addr);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    }
    // Takes over a connected socket, such as one a test server accepted.
    struct Adopt {
        int fd;
    };
    explicit XmlClient(Adopt socket) : fd_(socket.fd), connected_(socket.fd >= 0) {}
    XmlClient(const XmlClient&) = delete;
    XmlClient& operator=(const XmlClient&) = delete;
    ~XmlClient() {
        if (fd_ >= 0)
            close(fd_);
    }
    bool Connected() const { return connected_; }
    int Fd() const { return fd_; }
    // True once a read saw the end of the stream or an error (a reset).
    bool Closed() const { return closed_; }
    bool Send(const std::string& text) {
        size_t done = 0;
        while (done < text.size()) {
            ssize_t n = send(fd_, text.data() + done, text.size() - done, MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }
    // The next line, without its line end; false on timeout or close. With ms 0
    // it takes what has arrived without waiting.
    bool ReadLine(std::string& line, int ms = 8000) {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        for (;;) {
            size_t at = pending_.find(lineEnd_);
            if (at != std::string::npos) {
                line = pending_.substr(0, at);
                pending_.erase(0, at + lineEnd_.size());
                return true;
            }
            int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                            end - std::chrono::steady_clock::now())
                                            .count());
            pollfd p{fd_, POLLIN, 0};
            if (closed_ || poll(&p, 1, left > 0 ? left : 0) <= 0)
                return false;
            char buffer[65536];
            ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
            if (n <= 0) {
                closed_ = true;
                return false;
            }
            pending_.append(buffer, static_cast<size_t>(n));
        }
    }
    std::string Line() {
        std::string line;
        EXPECT_TRUE(ReadLine(line)) << "no line";
        return line;
    }
    // True if the gateway closes the connection within the time.
    bool WaitForClose(int ms) {
        std::string line;
        while (ReadLine(line, ms)) {
        }
        pollfd p{fd_, POLLIN, 0};
        char c;
        return poll(&p, 1, 0) > 0 && recv(fd_, &c, 1, 0) == 0;
    }

  private:
    int fd_ = -1;
    bool connected_ = false;
    bool closed_ = false;
    std::string lineEnd_ = "\r\n";
    std::string pending_;
};
