// A handler of one gateway command code. The interpreter owns its handlers
// and gives each the session id and the session's output buffer, which all
// handlers of a session share: a handler finishes its text before it
// returns.
#pragma once

class OxGWayBlockTransmitter;

class OxGWayCommandHandler {
  public:
    OxGWayCommandHandler(OxGWayBlockTransmitter& transmitter, int code)
        : transmitter(transmitter), code(code) {}
    virtual ~OxGWayCommandHandler() = default;
    OxGWayCommandHandler(const OxGWayCommandHandler&) = delete;
    OxGWayCommandHandler& operator=(const OxGWayCommandHandler&) = delete;

    // Answers the command through the block transmitter; true if handled.
    virtual bool ExecuteCommand(char* data, unsigned length) = 0;
    virtual void Reset() {}
    virtual void COMDisconnected() {}
    virtual void COMConnected() {}

    int GetCode() const { return code; }
    void SetSessionId(int id) { sessionId = id; }
    void SetOutputBuffer(char* buffer) { outputBuffer = buffer; }

    // Size of the shared output buffer.
    static constexpr unsigned kOutputSize = 64 * 1024;

  protected:
    OxGWayBlockTransmitter& transmitter;
    int code;
    int sessionId = 0;
    char* outputBuffer = nullptr;
};
