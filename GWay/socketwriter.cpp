#include "socketwriter.h"

#include "testprint.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>

namespace {
std::atomic<unsigned long long> sentBytes{0};
}

unsigned long long SocketWriter::BytesSent() {
    return sentBytes.load();
}

SocketWriter::SocketWriter(ACE_SOCK_Stream& socket, ACE_Event_Handler& owner, ACE_Reactor& reactor,
                           long timeout, int priority)
    : reactor(reactor), owner(owner), socket(socket), timeout(timeout) {
    this->priority(priority);
}

SocketWriter::~SocketWriter() {
    if (timerId != -1)
        reactor.cancel_timer(timerId);
    // Pending write notifications must not reach a destroyed writer.
    reactor.purge_pending_notifications(this);
    ReleaseAll();
}

void SocketWriter::ReleaseAll() {
    ReleaseBuffer(current);
    current = nullptr;
    currentLength = 0;
    for (SocketTransmitData& entry : list)
        ReleaseBuffer(entry.data);
    list.clear();
}

void SocketWriter::SetSocketId(int id, const std::string& name) {
    socketId = id;
    socketName = name;
}

void SocketWriter::Send(const std::string& text) {
    Send(text.data(), static_cast<unsigned>(text.size()));
}

void SocketWriter::Send(const std::ostringstream& text) {
    Send(text.str());
}

void SocketWriter::Send(const void* data, unsigned length) {
    auto* buffer = new char[length + tail.size()];
    memcpy(buffer, data, length);
    memcpy(buffer + length, tail.data(), tail.size());
    SendData(buffer, length + static_cast<unsigned>(tail.size()));
}

void SocketWriter::SendData(char* data, unsigned length) {
    bool first;
    size_t queued;
    {
        std::lock_guard<std::mutex> guard(queueMutex);
        list.push_back({data, length});
        queued = list.size();
        first = queued == 1 && current == nullptr;
    }
    if (first) {
        // The first buffer asks for a write turn; later ones ride on it.
        if (reactor.notify(this, ACE_Event_Handler::WRITE_MASK) == -1) {
            TestPrintF(4, "%s(%d): Internal initial notification error!\n", socketName.c_str(),
                       socketId);
            reactor.remove_handler(this, ACE_Event_Handler::WRITE_MASK);
        }
    } else if (listMax != 0 && queued >= listMax) {
        TestPrintF(4, "%s(%d): Connection slow, restart connection ListMax=%d!\n",
                   socketName.c_str(), socketId, static_cast<int>(listMax));
        reactor.remove_handler(this, ACE_Event_Handler::WRITE_MASK);
    }
}

void SocketWriter::Notify(const char* failure) {
    if (reactor.notify(this, ACE_Event_Handler::WRITE_MASK) == -1) {
        TestPrintF(4, failure, socketName.c_str(), socketId);
        reactor.remove_handler(this, ACE_Event_Handler::WRITE_MASK);
    }
}

int SocketWriter::handle_output(ACE_HANDLE) {
    if (closed)
        return -1;
    if (timerId != -1)
        return 0;
    // The current buffer and, behind it, the buffers queued after it go out
    // in one send, so that a client with many events queued costs one system
    // call per turn instead of one per event. The batch is bounded so that
    // one handler's turn stays short.
    iovec parts[kMaxGather];
    size_t count = 0;
    size_t offered = 0;
    {
        std::lock_guard<std::mutex> guard(queueMutex);
        if (list.empty() && current == nullptr) {
            TestPrintF(debugMask, "%s(%d): SocketWriter::handle_output(empty)\n",
                       socketName.c_str(), socketId);
            return 0;
        }
        if (current == nullptr) {
            current = list.front().data;
            currentLength = list.front().length;
            list.pop_front();
        }
        parts[count++] = {current, currentLength};
        offered = currentLength;
        // Queued buffers stay on the list until they are sent; only this
        // thread takes them off, and appending does not move them.
        for (auto entry = list.begin();
             entry != list.end() && count < kMaxGather && offered < kMaxGatherBytes; ++entry) {
            parts[count++] = {entry->data, entry->length};
            offered += entry->length;
        }
    }
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    ssize_t sent = sendmsg(socket.get_handle(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) {
        ++retryCount;
        if (errno == EWOULDBLOCK)
            TestPrintF(debugMask, "%s(%d): SocketWriter::handle_output(EWOULDBLOCK)\n",
                       socketName.c_str(), socketId);
        else
            TestPrintF(debugMask, "%s(%d): Client is not responding %d times!\n",
                       socketName.c_str(), socketId, retryCount);
        if (retryInterval * retryCount <= timeout) {
            timerId = reactor.schedule_timer(this, nullptr, ACE_Time_Value(retryInterval),
                                             ACE_Time_Value::zero);
            if (timerId == -1) {
                TestPrintF(4, "%s(%d): can't register timer with reactor!\n", socketName.c_str(),
                           socketId);
                closed = true;
                return -1;
            }
            return 0;
        }
        TestPrintF(4, "%s(%d): Client is not responding. Closing connection!\n", socketName.c_str(),
                   socketId);
        reactor.remove_handler(this, ACE_Event_Handler::WRITE_MASK);
        closed = true;
        return -1;
    }
    retryCount = 0;
    sentBytes += offered;
    bool more;
    {
        std::lock_guard<std::mutex> guard(queueMutex);
        size_t done = static_cast<size_t>(sent);
        // Whole buffers are released; the first one sent in part becomes the
        // current buffer with what is left of it.
        for (size_t i = 0; i < count; ++i) {
            if (i > 0) {
                current = list.front().data;
                currentLength = list.front().length;
                list.pop_front();
            }
            if (done >= currentLength) {
                done -= currentLength;
                ReleaseBuffer(current);
                current = nullptr;
                currentLength = 0;
                continue;
            }
            if (done > 0) {
                memmove(current, current + done, currentLength - done);
                currentLength -= static_cast<unsigned>(done);
            }
            break;
        }
        more = !list.empty() || current != nullptr;
    }
    if (more)
        Notify("%s(%d): Internal re-notification error!\n");
    return 0;
}

int SocketWriter::handle_timeout(const ACE_Time_Value&, const void*) {
    timerId = -1;
    Notify("%s(%d): Internal timeout notification error!\n");
    return 0;
}

int SocketWriter::handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) {
    TestPrintF(debugMask, "%s(%d): SocketWriter::handle_close\n", socketName.c_str(), socketId);
    closed = true;
    owner.handle_close(handle, mask);
    return -1;
}

void SocketWriter::Reset() {
    // The buffer in mid-send is dropped, not released: after a reset in
    // mid-send a pooled writer's count of blocks in use stays one higher.
    std::lock_guard<std::mutex> guard(queueMutex);
    current = nullptr;
    currentLength = 0;
    for (SocketTransmitData& entry : list)
        ReleaseBuffer(entry.data);
    list.clear();
}

void SocketWriter::ReleaseBuffer(void* buffer) {
    delete[] static_cast<char*>(buffer);
}
