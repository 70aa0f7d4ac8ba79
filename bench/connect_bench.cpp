// Time from socket open to Connected, with the real gateway binary and the
// machine simulator as the controller, both as processes on a loopback
// address of their own: the gateway connects, asks for the world one second
// after the socket opened, takes over every text, and runs the rest of the
// start conversation. Reported is that time minus the fixed one second, for
// the simulator's sample world and for a generated world of 10,000 objects.
// The times are read from the two programs' output, polled every
// millisecond; the simulator's own printing of every text it sends is part
// of the figure, as a real controller takes its time too.
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "worldgen.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

void RunConnect(benchmark::State& state, const std::string& worldFile, int timeoutMs) {
    for (auto _ : state) {
        GatewayOptions options;
        options.stdoutMask = 1;  // the state lines only
        options.logFileMask = 0;
        GatewayTestEnv env(options);
        std::string world = worldFile;
        if (world.empty()) {
            world = env.Box().Path("/world.oxw");
            std::ofstream out(world);
            for (const std::string& text : TransferTexts())
                out << text << "\n";
        }
        GatewayProcess sim(env.Box().Root(),
                           {"--address", env.Ip(), "--port", "1", "--world", world}, {},
                           std::string(OXGW_BUILD_DIR) + "/torcsim");
        Clock::time_point opened, connected;
        auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (sim.Stdout().find("torcsim: listening") == std::string::npos &&
               Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        auto gateway = env.Start();
        bool ok = false;
        while (Clock::now() < deadline) {
            if (sim.Stdout().find("gateway connected") != std::string::npos) {
                opened = Clock::now();
                ok = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        // The console drops the first nine characters of each line.
        const std::string connectedLine = Shown("COM 1: Connected\n");
        bool reached = false;
        while (ok && Clock::now() < deadline) {
            if (gateway->Stdout().find(connectedLine) != std::string::npos) {
                connected = Clock::now();
                reached = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ok = ok && reached;
        if (!ok) {
            state.SkipWithError("the gateway did not reach Connected");
            break;
        }
        double seconds = std::chrono::duration<double>(connected - opened).count() - 1.0;
        state.SetIterationTime(seconds);
        gateway->Signal(SIGINT);
        gateway->Wait(10000);
        sim.Signal(SIGTERM);
        sim.Wait(10000);
    }
}

void BM_ConnectSampleWorld(benchmark::State& state) {
    RunConnect(state, std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/line.oxw", 20000);
}
BENCHMARK(BM_ConnectSampleWorld)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_ConnectGeneratedWorld10000(benchmark::State& state) {
    RunConnect(state, "", 120000);
}
BENCHMARK(BM_ConnectGeneratedWorld10000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
