// Status call and dataset call round trips over the loopback against the real
// gateway binary, whose machine link is a fake controller that has handed over
// a small world: each host sends its command and waits for its whole reply.
// With 20 hosts, all send and then each reads its own reply; items are round
// trips. The dataset call reads "measure", the 50 alarm slots in several
// blocks. A dataset write goes host -> gateway -> controller -> gateway ->
// host: XMode 2, the machine command, its result and the changed value, and
// the final XMode 1. Latency percentiles are counters in microseconds.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "gwayhost.h"
#include "machineworld.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <vector>

namespace {

constexpr int kStatusCall = 0x1003;
constexpr int kCallMeasure = 0x4018;
constexpr int kSetMeasure = 0x4019;
constexpr int kNextBlock = 0x1010;

// One gateway for all runs, started at first use and stopped at exit.
struct Gateway {
    Gateway() : port(FreeTcpPort()), env(Options(port)), ctl(env.Ip(), 2001) {
        // Without a table the session stays unconnected.
        env.Box().WriteFile("/usr/torc2/gway_map.txt",
                            "#Version 1\nmeasure : NumParameter ; 29010 ; \"Level\" ; 3001 ;\n");
        gw = env.Start();
        std::vector<std::string> world = MachineWorld(42, 8);
        world.insert(world.begin() + 8, {"enum tagSystemState { \"Stopped\"=0, \"Running\"=1, };",
                                         "class SystemState : Object { tagSystemState Value; };"});
        world.insert(world.begin() + 8,
                     "class Parameter : Object { number Value; number Minimum; number Maximum; };");
        world.push_back("new SystemState(130, 8, 1);");
        world.push_back("new Parameter(3001, 8, 1, 0, 1000);");
        std::string why;
        ready = ctl.HandOver(world, 15000, why) &&
                gw->WaitForStdout(Shown("COM 1: Connected\n"), 15000) &&
                gw->WaitForStdout(Shown("GWay: Ready on socket port"), 15000);
    }
    ~Gateway() {
        gw->Signal(SIGINT);
        gw->Wait(10000);
    }
    static GatewayOptions Options(int port) {
        GatewayOptions options;
        // Connections and errors only: the traffic trace would be measured.
        options.stdoutMask = 5;
        options.logFileMask = 5;
        options.gway = "<GWay port=\"" + std::to_string(port) + "\" enabled=\"true\"/>";
        return options;
    }
    int port;
    GatewayTestEnv env;
    FakeController ctl;
    std::unique_ptr<GatewayProcess> gw;
    bool ready = false;
};

Gateway& TheGateway() {
    static Gateway gateway;
    return gateway;
}

void BM_GWayStatusCall(benchmark::State& state) {
    Gateway& gateway = TheGateway();
    if (!gateway.ready) {
        state.SkipWithError("the gateway did not reach Connected");
        return;
    }
    std::vector<std::unique_ptr<GWayHost>> hosts;
    for (int i = 0; i < state.range(0); ++i)
        hosts.push_back(std::make_unique<GWayHost>(gateway.port));
    GWay::GWayMessage reply;
    for (auto _ : state) {
        for (auto& host : hosts)
            host->Send(kStatusCall);
        for (auto& host : hosts) {
            while (host->Next(reply) && !reply.isReply) {
            }
            if (reply.xmode != 1) {
                state.SkipWithError("no status reply");
                return;
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GWayStatusCall)->Arg(1)->Arg(20)->UseRealTime();

// Reads one whole reply, pulling its further blocks; false without one.
bool WholeReply(GWayHost& host, GWay::GWayMessage& reply) {
    for (;;) {
        while (host.Next(reply) && !reply.isReply) {
        }
        if (!reply.isReply || reply.xmode != 1)
            return false;
        if (!reply.more)
            return true;
        host.Send(kNextBlock);
        reply = GWay::GWayMessage();
    }
}

void Percentiles(benchmark::State& state, std::vector<double>& us) {
    if (us.empty())
        return;
    std::sort(us.begin(), us.end());
    state.counters["p50_us"] = us[us.size() / 2];
    state.counters["p99_us"] = us[us.size() * 99 / 100];
}

void BM_GWayDatasetCall(benchmark::State& state) {
    Gateway& gateway = TheGateway();
    if (!gateway.ready) {
        state.SkipWithError("the gateway did not reach Connected");
        return;
    }
    std::vector<std::unique_ptr<GWayHost>> hosts;
    for (int i = 0; i < state.range(0); ++i)
        hosts.push_back(std::make_unique<GWayHost>(gateway.port));
    GWay::GWayMessage reply;
    std::vector<double> us;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        for (auto& host : hosts)
            host->Send(kCallMeasure);
        for (auto& host : hosts) {
            if (!WholeReply(*host, reply)) {
                state.SkipWithError("no dataset reply");
                return;
            }
        }
        us.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    Percentiles(state, us);
}
BENCHMARK(BM_GWayDatasetCall)->Arg(1)->Arg(20)->UseRealTime();

void BM_GWaySetDatasetEndToEnd(benchmark::State& state) {
    Gateway& gateway = TheGateway();
    if (!gateway.ready) {
        state.SkipWithError("the gateway did not reach Connected");
        return;
    }
    GWayHost host(gateway.port);
    GWay::GWayMessage reply;
    std::vector<double> us;
    // The machine keeps the value between runs.
    static int value = 1;
    for (auto _ : state) {
        value = value == 1 ? 2 : 1;
        std::string v = std::to_string(value);
        auto start = std::chrono::steady_clock::now();
        host.Send(kSetMeasure, "+1.0;+29010.0=+" + v + ".0;");
        std::string frame;
        bool ok = host.Next(reply) && reply.xmode == 2;
        // Other machine texts may come first.
        while (ok && frame.find("100.105(") == std::string::npos)
            ok = gateway.ctl.ReadFrame(frame, 5000);
        std::string id = ok ? frame.substr(4, frame.find('l') - 4) : "";
        // Result and change in one write, as a controller sends them: two
        // small writes would wait for the delayed ack of the first.
        std::string answer = "res " + id + " : 0;" + std::string(1, '\0') + "upd 3001 (8, " + v +
                             ", 0, 1000);" + std::string(1, '\0');
        ok = ok && gateway.ctl.Send(answer) && host.Next(reply) && reply.xmode == 1;
        if (!ok) {
            state.SkipWithError("the write did not come back");
            return;
        }
        us.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    state.SetItemsProcessed(state.iterations());
    Percentiles(state, us);
}
BENCHMARK(BM_GWaySetDatasetEndToEnd)->UseRealTime();

}  // namespace
