// Status call round trips over the loopback against the real gateway binary,
// whose machine link is a fake controller that has handed over a small world:
// each host sends 0x1003 and waits for its reply. With 20 hosts, all send and
// then each reads its own reply; items are round trips.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "gwayhost.h"
#include "machineworld.h"

#include <benchmark/benchmark.h>

#include <csignal>
#include <memory>
#include <vector>

namespace {

constexpr int kStatusCall = 0x1003;

// One gateway for all runs, started at first use and stopped at exit.
struct Gateway {
    Gateway() : port(FreeTcpPort()), env(Options(port)), ctl(env.Ip(), 2001) {
        gw = env.Start();
        std::vector<std::string> world = MachineWorld(42, 7);
        world.insert(world.begin() + 8, {"enum tagSystemState { \"Stopped\"=0, \"Running\"=1, };",
                                         "class SystemState : Object { tagSystemState Value; };"});
        world.push_back("new SystemState(130, 7, 1);");
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

}  // namespace
