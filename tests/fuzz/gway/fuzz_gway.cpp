// Fuzz target: host bytes through receiver and block receiver on a socket
// pair, in writes of a size set by the first byte. Replies vary in length
// with the command, so that splitting and pulling run too.
#include "oxgway_block_receiver.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_receiver.h"
#include "oxgway_transmitter.h"

#include <ace/Reactor.h>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {
struct Host : ACE_Event_Handler, OxGWayCommandSink, OxGWayMStateSource {
    OxGWayBlockTransmitter* replies = nullptr;
    void ExecuteCommand(int code, char* data, unsigned length) override {
        std::string reply(length * 37 % 5000, data[0]);
        replies->SendReply(code, length & 0x1F, reply.data(), static_cast<unsigned>(reply.size()));
    }
    int GetMState() override { return 1; }
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0)
        return 0;
    {
        ACE_Reactor reactor;
        Host host;
        host.reactor(&reactor);
        ACE_SOCK_Stream stream(sv[0]);
        stream.enable(ACE_NONBLOCK);
        OxGWayTransmitter tx(stream, host, reactor);
        OxGWayBlockTransmitter btx(host, tx);
        OxGWayBlockReceiver brx(host, btx);
        OxGWayReceiver rx(host, stream, brx, tx);
        host.replies = &btx;
        size_t step = size > 0 ? data[0] % 64 + 1 : 1;
        for (size_t at = 1; at < size && rx.GetClosedReason() == 0; at += step) {
            size_t n = size - at < step ? size - at : step;
            if (write(sv[1], data + at, n) != static_cast<ssize_t>(n))
                break;
            int pending = 0;
            while (rx.GetClosedReason() == 0 && ioctl(sv[0], FIONREAD, &pending) == 0 &&
                   pending > 0)
                rx.handle_input(sv[0]);
            ACE_Time_Value zero(0);
            reactor.handle_events(zero);
            char sink[4096];
            while (recv(sv[1], sink, sizeof sink, MSG_DONTWAIT) > 0) {
            }
        }
        tx.Reset();
    }
    close(sv[0]);
    close(sv[1]);
    return 0;
}
