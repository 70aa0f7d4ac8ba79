#include "fakecontroller.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

sockaddr_in Address(const std::string& ip, int port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, ip.c_str(), &addr.sin_addr);
    return addr;
}

bool WaitReadable(int fd, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, timeoutMs) > 0;
}

}  // namespace

FakeController::FakeController(const std::string& ip, int port) {
    // Not inherited by the gateway a test starts after it.
    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int on = 1;
    setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in addr = Address(ip, port);
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        listen(listenFd_, 5) != 0) {
        close(listenFd_);
        listenFd_ = -1;
    }
}

FakeController::~FakeController() {
    DropClient();
    StopListening();
}

void FakeController::StopListening() {
    if (listenFd_ >= 0)
        close(listenFd_);
    listenFd_ = -1;
}

bool FakeController::Accept(int timeoutMs) {
    if (listenFd_ < 0 || !WaitReadable(listenFd_, timeoutMs))
        return false;
    DropClient();
    clientFd_ = accept(listenFd_, nullptr, nullptr);
    if (clientFd_ >= 0)
        ++accepts_;
    pending_.clear();
    return clientFd_ >= 0;
}

bool FakeController::Send(const std::string& bytes) {
    if (clientFd_ < 0)
        return false;
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = send(clientFd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool FakeController::ReadFrame(std::string& frame, int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        size_t zero = pending_.find('\0');
        if (zero != std::string::npos) {
            frame = pending_.substr(0, zero);
            pending_.erase(0, zero + 1);
            return true;
        }
        if (clientFd_ < 0)
            return false;
        int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        deadline - std::chrono::steady_clock::now())
                                        .count());
        if (left <= 0 || !WaitReadable(clientFd_, left))
            return false;
        char buffer[4096];
        ssize_t n = recv(clientFd_, buffer, sizeof buffer, 0);
        if (n <= 0)
            return false;
        pending_.append(buffer, static_cast<size_t>(n));
    }
}

bool FakeController::WaitForClose(int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (clientFd_ >= 0) {
        int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        deadline - std::chrono::steady_clock::now())
                                        .count());
        if (left <= 0 || !WaitReadable(clientFd_, left))
            return false;
        char buffer[4096];
        ssize_t n = recv(clientFd_, buffer, sizeof buffer, 0);
        if (n <= 0)
            return true;
        pending_.append(buffer, static_cast<size_t>(n));
    }
    return true;
}

bool FakeController::HandOver(const std::vector<std::string>& world, int timeoutMs,
                              std::string& why) {
    auto expect = [&](const std::string& wanted) {
        std::string frame;
        if (!ReadFrame(frame, timeoutMs)) {
            why = "no \"" + wanted + "\" from the gateway";
            return false;
        }
        if (frame != wanted) {
            why = "\"" + frame + "\" instead of \"" + wanted + "\"";
            return false;
        }
        return true;
    };
    if (!Accept(timeoutMs)) {
        why = "the gateway did not connect";
        return false;
    }
    std::string all;
    for (const std::string& text : world)
        all += text + std::string(1, '\0');
    if (!expect("exe 1 $ 100.101 (-1);") || !Send(all) || !SendFrame("res 1 : 0;") ||
        !expect("exe 11 $ 100.109();") || !SendFrame("res 11 : 0;") ||
        !expect("exe 2  $   100 . 102 (5);") || !SendFrame("res 2 : 0;")) {
        if (why.empty())
            why = "the link broke";
        return false;
    }
    return true;
}

void FakeController::DropClient() {
    if (clientFd_ >= 0)
        close(clientFd_);
    clientFd_ = -1;
}

std::string UniqueLoopbackIp() {
    static std::atomic<int> counter{0};
    int pid = static_cast<int>(getpid());
    int n = ++counter;
    return "127." + std::to_string(1 + (pid >> 8) % 250) + "." + std::to_string(pid & 255) + "." +
           std::to_string(1 + n % 250);
}

int FreeTcpPort(const std::string& ip) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = Address(ip, 0);
    bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    int port = ntohs(addr.sin_port);
    close(fd);
    return port;
}
