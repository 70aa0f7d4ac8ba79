// A fake machine controller: a real TCP server on a loopback address that
// speaks the link's framing (text, then one zero byte).
#pragma once

#include <string>
#include <vector>

class FakeController {
  public:
    // Listens on ip:port (the gateway connects to 2000 + machine port).
    FakeController(const std::string& ip, int port);
    ~FakeController();
    FakeController(const FakeController&) = delete;
    FakeController& operator=(const FakeController&) = delete;

    bool Listening() const { return listenFd_ >= 0; }
    // Waits for the gateway to connect; true when a client is there.
    bool Accept(int timeoutMs);
    bool Connected() const { return clientFd_ >= 0; }
    // Sends raw bytes / a text with its zero byte.
    bool Send(const std::string& bytes);
    bool SendFrame(const std::string& text) { return Send(text + std::string(1, '\0')); }
    // Reads one zero-ended frame (without the zero); false on timeout or close.
    bool ReadFrame(std::string& frame, int timeoutMs);
    // True if the gateway closed its side (reads 0) within the time.
    bool WaitForClose(int timeoutMs);
    void DropClient();
    // The controller's side of the start conversation, from the gateway's
    // connect to Connected: answers the request for all objects with the
    // texts of world, written at once, then the date and the attach. False,
    // with what went wrong in why, when the gateway does not ask as expected.
    bool HandOver(const std::vector<std::string>& world, int timeoutMs, std::string& why);
    void StopListening();
    int Accepts() const { return accepts_; }

  private:
    int listenFd_ = -1;
    int clientFd_ = -1;
    int accepts_ = 0;
    std::string pending_;
};

// A loopback address of the 127/8 range that no other test of this run uses.
std::string UniqueLoopbackIp();
// A TCP port that is free on the given address now.
int FreeTcpPort(const std::string& ip = "127.0.0.1");
