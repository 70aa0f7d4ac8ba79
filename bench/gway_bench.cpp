// Frames per second through the GWay receiver and block receiver on one
// core: a host writes batches of command frames into a socket pair, the
// receiver cuts, checks and acks them and the block receiver joins and hands
// them on; the reactor sends the acks, which the host reads and drops. The
// interpreter only counts, so no reply frames are made.
#include "gwayframe.h"
#include "oxgway_block_receiver.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_receiver.h"
#include "oxgway_transmitter.h"

#include <ace/Reactor.h>

#include <benchmark/benchmark.h>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace {

struct CountingHost : ACE_Event_Handler, OxGWayCommandSink, OxGWayMStateSource {
    long commands = 0;
    void ExecuteCommand(int, char*, unsigned) override { ++commands; }
    int GetMState() override { return 1; }
};

// Batches of 50 frames (the writer's queue limit leaves room for their acks).
void RunFrames(benchmark::State& state, const std::string& frame) {
    constexpr int kBatch = 50;
    std::string batch;
    for (int i = 0; i < kBatch; ++i)
        batch += frame;
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0) {
        state.SkipWithError("socketpair");
        return;
    }
    int size = 1 << 20;
    setsockopt(sv[0], SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    setsockopt(sv[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    ACE_Reactor reactor;
    CountingHost host;
    host.reactor(&reactor);
    ACE_SOCK_Stream stream(sv[0]);
    stream.enable(ACE_NONBLOCK);
    OxGWayTransmitter tx(stream, host, reactor);
    tx.SetBufferMax(100);
    OxGWayBlockTransmitter btx(host, tx);
    OxGWayBlockReceiver brx(host, btx);
    OxGWayReceiver rx(host, stream, brx, tx);
    char sink[65536];
    for (auto _ : state) {
        for (size_t at = 0; at < batch.size();) {
            ssize_t n = write(sv[1], batch.data() + at, batch.size() - at);
            if (n <= 0)
                break;
            at += static_cast<size_t>(n);
            int pending = 0;
            while (ioctl(sv[0], FIONREAD, &pending) == 0 && pending > 0)
                rx.handle_input(sv[0]);
        }
        ACE_Time_Value zero(0);
        while (tx.Queued() > 0 && reactor.handle_events(zero) > 0) {
        }
        while (recv(sv[1], sink, sizeof sink, MSG_DONTWAIT) > 0) {
        }
    }
    if (rx.GetClosedReason() != 0 || tx.IsClosed())
        state.SkipWithError("connection closed");
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(host.commands), benchmark::Counter::kIsRate);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(batch.size()));
    close(sv[0]);
    close(sv[1]);
}

void BM_GWaySmallCommandFrames(benchmark::State& state) {
    RunFrames(state, GWay::MakeGWayCommand(0x1011, "1;2;3;4;5;6;7;8"));
}

void BM_GWayLargestFrames(benchmark::State& state) {
    RunFrames(state, GWay::MakeGWayCommand(0x1011, std::string(GWay::MAX_PAYLOAD - 3, 'd')));
}

}  // namespace

BENCHMARK(BM_GWaySmallCommandFrames);
BENCHMARK(BM_GWayLargestFrames);
