// What the frame and block layer of a gateway session needs from the layers
// above it. The session's command interpreter takes the joined commands and
// the session itself tells the machine state put into every reply; each
// implements one of these so that the block layer builds and tests alone.
#pragma once

// Takes one whole command joined from the host's blocks. data is
// NUL-terminated after length bytes and stays valid during the call only.
class OxGWayCommandSink {
  public:
    virtual ~OxGWayCommandSink() = default;
    virtual void ExecuteCommand(int code, char* data, unsigned length) = 0;
};

// The MState of a reply: 1, 2, or 4 when the machine state is not known.
class OxGWayMStateSource {
  public:
    virtual ~OxGWayMStateSource() = default;
    virtual int GetMState() = 0;
};
