// Non-blocking, queued output to one socket, shared by the XML client
// sessions and the gateway sessions. Messages are queued as buffers; the
// reactor's write notification makes one send per turn, of the buffers queued
// at that time up to a bound, so no client can hold up the reactor thread. A
// peer that does not take data for longer than the timeout, or a queue that
// grows to its limit, closes the connection through the owner's handle_close.
#pragma once

#include <ace/Event_Handler.h>
#include <ace/Reactor.h>
#include <ace/SOCK_Stream.h>

#include <list>
#include <mutex>
#include <sstream>
#include <string>

class SocketWriterInterface {
  public:
    virtual ~SocketWriterInterface() = default;
    virtual void Send(const std::string& text) = 0;
    virtual void Send(const std::ostringstream& text) = 0;
    virtual void Send(const void* data, unsigned length) = 0;
    virtual void SetSocketId(int id, const std::string& name) = 0;
    virtual void SetBufferMax(unsigned max) = 0;
    virtual void SetTail(const std::string& tail) = 0;
    virtual void SetDebugMask(unsigned long mask) = 0;
    virtual void SetDetailMask(unsigned long mask) = 0;
};

struct SocketTransmitData {
    char* data;
    unsigned length;
};

class SocketWriter : public SocketWriterInterface, public ACE_Event_Handler {
  public:
    SocketWriter(ACE_SOCK_Stream& socket, ACE_Event_Handler& owner, ACE_Reactor& reactor,
                 long timeout, int priority);
    ~SocketWriter() override;
    SocketWriter(const SocketWriter&) = delete;
    SocketWriter& operator=(const SocketWriter&) = delete;

    void Send(const std::string& text) override;
    void Send(const std::ostringstream& text) override;
    // Copies the bytes and the tail into a new buffer and queues it.
    void Send(const void* data, unsigned length) override;
    void SetSocketId(int id, const std::string& name) override;
    // The queue limit; 0: none.
    void SetBufferMax(unsigned max) override { listMax = max; }
    void SetTail(const std::string& text) override { tail = text; }
    void SetDebugMask(unsigned long mask) override { debugMask = mask; }
    void SetDetailMask(unsigned long mask) override { detailMask = mask; }
    // Forgets all queued output; the buffer in mid-send is dropped without
    // being released.
    virtual void Reset();
    virtual void ReleaseBuffer(void* buffer);

    // Queues a buffer made with array new; the writer owns it from here.
    void SendData(char* data, unsigned length);
    unsigned GetBufferMax() const { return listMax; }
    size_t Queued() const { return list.size() + (current != nullptr ? 1 : 0); }
    bool IsClosed() const { return closed; }
    // Bytes handed to send() by all writers of the process.
    static unsigned long long BytesSent();

    int handle_output(ACE_HANDLE handle) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    ACE_HANDLE get_handle() const override { return socket.get_handle(); }

  protected:
    int GetSocketId() const { return socketId; }
    // Releases the current buffer and every queued one through ReleaseBuffer.
    void ReleaseAll();

  private:
    // At most this many buffers, and about this many bytes, go out in one send.
    static constexpr size_t kMaxGather = 64;
    static constexpr size_t kMaxGatherBytes = 64 * 1024;

    // Asks the reactor for a write turn; on failure gives up the socket.
    void Notify(const char* failure);

    ACE_Reactor& reactor;
    ACE_Event_Handler& owner;
    ACE_SOCK_Stream& socket;
    // Guards the queue and the buffer in flight: a client session's telnet
    // relay queues from a thread of its own. No reactor call is made under it.
    std::mutex queueMutex;
    std::list<SocketTransmitData> list;
    char* current = nullptr;
    unsigned currentLength = 0;
    int retryCount = 0;
    long timerId = -1;
    int socketId = -1;
    std::string socketName;
    std::string tail;
    unsigned listMax = 0;
    long timeout;
    long retryInterval = 5;
    bool closed = false;
    unsigned long debugMask = 0x40;
    unsigned long detailMask = 0x40;
};
