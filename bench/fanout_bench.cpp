// The real gateway binary with many XML clients on one machine port.
//
// Fan-out: 50 logged-on clients; a fake controller sends 10,000 parameter
// updates as fast as it can (and, in a second run, one every 5 ms). The
// clients are read by one thread with poll. Reported: events delivered per
// second, summed over the clients, from the first send to the last receipt
// (the iteration time), and the latency from the controller's send of an
// update to the receipt of its event by the last of the clients, median and
// 99th percentile. Flat out, the latency is mostly the time an update waits
// behind the others in the link's socket and the gateway.
//
// Logon burst: the time from sending Logon (with type information) to the
// end of its list, for the simulator's sample world, for the generated world
// of 10,000 objects (whose objects carry no read level, so that the burst
// is the walk over the store with nothing to send) and for a world of 10,000
// parameters, all of which the client reads.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "worldgen.h"
#include "xmlclient.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWaitMs = 30000;
const std::string kListEnd = "<Message><List position=\"end\" name=\"TypeInfo\"></List></Message>";

// ---------------------------------------------------------------- worlds

// Parameters from 2001 that every level reads, with `quiet` objects that no
// client hears of, and a machine object that answers the start conversation.
std::vector<std::string> ParameterWorld(int parameters, int quiet) {
    std::vector<std::string> texts = {
        "enum tagLevel { \"Guest\"=0, \"User\"=1, \"Admin\"=2, \"3\"=3, \"Service\"=4, "
        "\"RAD\"=5, };",
        "class Exception { number Code; string Text; };",
        "class Object { const number Id; const string Name; const tagLevel ReadAccess; "
        "const tagLevel WriteAccess; };",
        "class Machine : Object { number ObjectCount; 100 $ void Reset(); "
        "101 $ void RequestAll(number Since = -1); 102 $ void Attach(number Level {0..5}); "
        "109 $ number GetTime() : \"s\"; };",
        "class Variable : Object { number Value; };",
        "class NumParameter : Object { number Enabled; number Value : \"bar\" * 1 / 100; "
        "const number Minimum : \"bar\" * 1 / 100; const number Maximum : \"bar\" * 1 / 100; "
        "const number Default : \"bar\" * 1 / 100; };",
    };
    texts.push_back("new Machine(100, \"Machine\", 0, 5, " +
                    std::to_string(1 + quiet + parameters) + ");");
    for (int i = 0; i < quiet; ++i)
        texts.push_back("new Variable(" + std::to_string(101 + i) + ", \"Variable\", 0, 5, 0);");
    for (int i = 0; i < parameters; ++i) {
        std::string id = std::to_string(2001 + i);
        texts.push_back("new NumParameter(" + id + ", \"Parameter " + id + "\", 0, 4, 1, " +
                        std::to_string(1000 + i) + ", 0, 100000, 1000);");
    }
    return texts;
}

// ---------------------------------------------------------------- helpers

bool ReadUntil(XmlClient& client, const std::string& wanted, size_t* lines = nullptr) {
    std::string line;
    while (client.ReadLine(line, kWaitMs)) {
        if (lines != nullptr)
            ++*lines;
        if (line == wanted)
            return true;
    }
    return false;
}

bool ConnectAndLogOn(XmlClient& client, const std::string& logon) {
    std::string line;
    return client.Connected() &&
           client.Send("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n") &&
           client.ReadLine(line, kWaitMs) && client.ReadLine(line, kWaitMs) &&
           line.find("<OxMode mode=\"Connected\"") != std::string::npos &&
           client.Send("<Message><Logon " + logon + "/></Message>\r\n") &&
           ReadUntil(client, kListEnd);
}

GatewayOptions QuietOptions() {
    GatewayOptions options;
    options.stdoutMask = 1;  // the state lines only
    options.logFileMask = 0;
    return options;
}

double Percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    size_t at = static_cast<size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(at, values.size() - 1)];
}

// ---------------------------------------------------------------- fan-out

constexpr int kClients = 50;
constexpr int kFanOutUpdates = 10000;
constexpr int kParameters = 100;
constexpr long kFirstRaw = 100000;

// The update number of an event line: its value carries it, as raw value
// kFirstRaw + number with two decimals; -1 for other lines.
long UpdateNumber(const char* line, size_t length) {
    static const char kValue[] = "<Message><NumParameterEvent value=\"";
    if (length < sizeof kValue || memcmp(line, kValue, sizeof kValue - 1) != 0)
        return -1;
    long raw = 0;
    for (size_t i = sizeof kValue - 1; i < length && line[i] != '"'; ++i)
        if (line[i] >= '0' && line[i] <= '9')
            raw = raw * 10 + (line[i] - '0');
    return raw - kFirstRaw;
}

struct FanOutRun {
    bool ok = false;
    double seconds = 0;  // first send to last receipt
    std::vector<double> latencies;
    long events = 0;
    long outOfOrder = 0;
};

FanOutRun RunFanOut(int updates, int pauseMicroseconds) {
    FanOutRun run;
    GatewayTestEnv env(QuietOptions());
    FakeController ctl(env.Ip(), 2001);
    auto gateway = env.Start();
    std::string why;
    if (!ctl.HandOver(ParameterWorld(kParameters, 0), kWaitMs, why) ||
        !gateway->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs))
        return run;
    std::vector<std::unique_ptr<XmlClient>> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        if (!ConnectAndLogOn(*clients.back(), "level=\"Service\" userId=\"bench\""))
            return run;
    }

    std::vector<Clock::time_point> sent(updates), last(updates);
    std::vector<int> received(updates, 0);
    std::atomic<int> sentCount{0};
    Clock::time_point start = Clock::now();
    std::thread sender([&] {
        for (int k = 0; k < updates; ++k) {
            std::string text = "upd " + std::to_string(2001 + k % kParameters) + " (1, " +
                               std::to_string(kFirstRaw + k) + ");";
            text.push_back('\0');
            sent[k] = Clock::now();
            sentCount.store(k + 1, std::memory_order_release);
            if (!ctl.Send(text))
                break;
            if (pauseMicroseconds > 0)
                std::this_thread::sleep_until(
                    start + std::chrono::microseconds(pauseMicroseconds * (k + 1L)));
        }
    });

    // One reader for all clients: each socket is read in large pieces and
    // cut into lines here, so that the reading keeps up with the gateway.
    std::vector<std::string> pending(kClients);
    std::vector<long> nextExpected(kClients, 0);
    long complete = 0;
    bool closed = false;
    auto deadline = Clock::now() + std::chrono::milliseconds(120000);
    std::vector<char> buffer(1 << 16);
    while (!closed && complete < updates && Clock::now() < deadline) {
        std::vector<pollfd> fds;
        for (auto& client : clients)
            fds.push_back({client->Fd(), POLLIN, 0});
        if (poll(fds.data(), fds.size(), 200) <= 0)
            continue;
        Clock::time_point now = Clock::now();
        for (int c = 0; c < kClients; ++c) {
            if ((fds[c].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
                continue;
            ssize_t n = recv(fds[c].fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (n <= 0) {
                closed = true;  // the gateway gave a client up
                break;
            }
            std::string& text = pending[c];
            text.append(buffer.data(), static_cast<size_t>(n));
            size_t from = 0;
            for (size_t end; (end = text.find("\r\n", from)) != std::string::npos; from = end + 2) {
                long k = UpdateNumber(text.data() + from, end - from);
                if (k < 0 || k >= updates)
                    continue;
                if (k != nextExpected[c])
                    ++run.outOfOrder;
                nextExpected[c] = k + 1;
                ++run.events;
                if (++received[k] == kClients) {
                    last[k] = now;
                    ++complete;
                }
            }
            text.erase(0, from);
        }
    }
    if (complete < updates)
        gateway->Signal(SIGKILL);  // and the sender's next send fails
    sender.join();
    if (complete < updates || sentCount.load() < updates)
        return run;
    Clock::time_point end = *std::max_element(last.begin(), last.end());
    run.seconds = std::chrono::duration<double>(end - sent[0]).count();
    for (int k = 0; k < updates; ++k)
        run.latencies.push_back(
            std::chrono::duration<double, std::milli>(last[k] - sent[k]).count());
    run.ok = true;
    gateway->Signal(SIGINT);
    gateway->Wait(10000);
    return run;
}

void FanOut(benchmark::State& state, int updates, int pauseMicroseconds) {
    std::vector<double> latencies;
    double events = 0, seconds = 0, outOfOrder = 0;
    for (auto _ : state) {
        FanOutRun run = RunFanOut(updates, pauseMicroseconds);
        if (!run.ok) {
            state.SkipWithError("a client missed events or was closed");
            return;
        }
        state.SetIterationTime(run.seconds);
        latencies.insert(latencies.end(), run.latencies.begin(), run.latencies.end());
        events += static_cast<double>(run.events);
        seconds += run.seconds;
        outOfOrder += static_cast<double>(run.outOfOrder);
    }
    state.counters["events_per_s"] = events / seconds;
    state.counters["latency_p50_ms"] = Percentile(latencies, 0.5);
    state.counters["latency_p99_ms"] = Percentile(latencies, 0.99);
    state.counters["out_of_order"] = outOfOrder;
}

void BM_FanOut50ClientsFlatOut(benchmark::State& state) {
    FanOut(state, kFanOutUpdates, 0);
}
BENCHMARK(BM_FanOut50ClientsFlatOut)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// At one update a millisecond the gateway with 50 clients is near its limit
// already; one every 5 ms shows the latency of a gateway with time to spare.
void BM_FanOut50ClientsOneUpdateEvery5ms(benchmark::State& state) {
    FanOut(state, 1000, 5000);
}
BENCHMARK(BM_FanOut50ClientsOneUpdateEvery5ms)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- logon burst

void LogonBurst(benchmark::State& state, const std::string& worldFile,
                const std::vector<std::string>& texts) {
    GatewayTestEnv env(QuietOptions());
    std::string world = worldFile;
    if (world.empty()) {
        world = env.Box().Path("/world.oxw");
        std::ofstream out(world);
        for (const std::string& text : texts)
            out << text << "\n";
    }
    auto sim = StartSimulator(env.Box().Root(), env.Ip(), {}, world);
    if (sim == nullptr) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    auto gateway = env.Start();
    if (!gateway->WaitForStdout(Shown("COM 1: Connected\n"), 120000)) {
        state.SkipWithError("the gateway did not reach Connected");
        return;
    }
    size_t lines = 0;
    for (auto _ : state) {
        XmlClient client(env.ClientPort());
        std::string line;
        if (!client.Send("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n") ||
            !client.ReadLine(line, kWaitMs) || !client.ReadLine(line, kWaitMs)) {
            state.SkipWithError("no connect");
            break;
        }
        lines = 0;
        Clock::time_point start = Clock::now();
        client.Send(
            "<Message><Logon level=\"Service\" userId=\"bench\" autoTypeInfo=\"true\"/>"
            "</Message>\r\n");
        if (!ReadUntil(client, kListEnd, &lines)) {
            state.SkipWithError("no end of the logon burst");
            break;
        }
        // Four lines frame the burst; a burst of no more serves nothing.
        if (lines <= 4) {
            state.SkipWithError("the logon burst served no object");
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.counters["burst_lines"] = static_cast<double>(lines);
    gateway->Signal(SIGINT);
    gateway->Wait(10000);
    sim->Signal(SIGTERM);
    sim->Wait(10000);
}

void BM_LogonBurstSampleWorld(benchmark::State& state) {
    LogonBurst(state, std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/line.oxw", {});
}
BENCHMARK(BM_LogonBurstSampleWorld)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

// Ten objects without messages keep the burst (two messages for each
// parameter and four around them) below the queue limit of twice the
// object count.
void BM_LogonBurstParameters10000(benchmark::State& state) {
    LogonBurst(state, "", ParameterWorld(10000, 10));
}
BENCHMARK(BM_LogonBurstParameters10000)
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

}  // namespace
