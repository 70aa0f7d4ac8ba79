// fanout_vs_broker: the same fan-out work on the gateway and on an MQTT
// broker, with the same readers.
//
//   fanout_vs_broker gateway [--updates N] [--rate R] [--clients C]
//   fanout_vs_broker mqtt --host IP --port P --pid PID --size S [--updates N] [--rate R]
//                    [--clients C]
//   fanout_vs_broker rss [--clients C]
//
// gateway: starts the built gateway on a loopback address of its own, plays
// the machine controller with a world of one parameter, logs C XML clients
// on and updates the parameter N times (R per second; 0: as fast as the
// link takes them).
// mqtt: connects C subscribers of one topic to the broker at IP:P and
// publishes N messages of S bytes each (about the size of the gateway's
// event line, framing included) from one more connection, QoS 0.
// Both print one line: delivered/s (all events of all clients, from the
// first send to the last receipt), the latency from the send of an update to
// its receipt by the last client (p50, p99), and the server's CPU time (user
// + system from /proc/PID/stat) per delivered event over the same span.
// rss: the gateway's resident set with the generated world of 10,000 objects
// and C logged-on clients.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "worldgen.h"
#include "xmlclient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kWaitMs = 30000;
constexpr long kFirstRaw = 100000;
const std::string kListEnd = "<Message><List position=\"end\" name=\"TypeInfo\"></List></Message>";

struct Options {
    std::string mode;
    int updates = 10000;
    int rate = 0;
    int clients = 50;
    std::string host;
    int port = 0;
    int pid = 0;
    int size = 0;
};

// User + system time of a process in seconds.
double CpuSeconds(int pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t close = text.rfind(')');
    if (close == std::string::npos)
        return 0;
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    // Fields from the state (3rd) on: utime is the 14th, stime the 15th.
    for (int i = 3; i <= 15 && fields >> field; ++i) {
        if (i == 14)
            utime = std::stoull(field);
        if (i == 15)
            stime = std::stoull(field);
    }
    return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long RssKb(int pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::atol(line.c_str() + 6);
    return -1;
}

double Percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    size_t at = static_cast<size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(at, values.size() - 1)];
}

// The update number at the start of a decimal run: the digits are read up to
// the first byte that is neither a digit nor '.'.
long Number(const char* text, size_t length) {
    long value = 0;
    for (size_t i = 0; i < length; ++i) {
        if (text[i] >= '0' && text[i] <= '9')
            value = value * 10 + (text[i] - '0');
        else if (text[i] != '.')
            break;
    }
    return value;
}

// Cuts the bytes read from one connection into events; returns the bytes
// used and appends the update number of each event (-1: no event).
using Framer = std::function<size_t(const char* data, size_t length, std::vector<long>& events)>;

// The XML client's lines; an event line carries the update number as its
// raw value kFirstRaw + number, shown with two decimals.
size_t XmlFramer(const char* data, size_t length, std::vector<long>& events) {
    static const char kValue[] = "<Message><NumParameterEvent value=\"";
    size_t from = 0;
    for (;;) {
        const char* end = static_cast<const char*>(memmem(data + from, length - from, "\r\n", 2));
        if (end == nullptr)
            return from;
        size_t lineLength = static_cast<size_t>(end - (data + from));
        if (lineLength >= sizeof kValue && memcmp(data + from, kValue, sizeof kValue - 1) == 0)
            events.push_back(
                Number(data + from + sizeof kValue - 1, lineLength - (sizeof kValue - 1)) -
                kFirstRaw);
        else
            events.push_back(-1);
        from += lineLength + 2;
    }
}

// MQTT packets; a PUBLISH carries the update number at the start of its
// payload.
size_t MqttFramer(const char* data, size_t length, std::vector<long>& events) {
    size_t from = 0;
    while (from + 2 <= length) {
        size_t remaining = 0, at = from + 1;
        int shift = 0;
        bool complete = false;
        while (at < length && shift <= 21) {
            unsigned char byte = static_cast<unsigned char>(data[at++]);
            remaining |= static_cast<size_t>(byte & 0x7f) << shift;
            shift += 7;
            if ((byte & 0x80) == 0) {
                complete = true;
                break;
            }
        }
        if (!complete || at + remaining > length)
            return from;
        unsigned char type = static_cast<unsigned char>(data[from]) >> 4;
        if (type == 3 && remaining >= 2) {
            size_t topic = (static_cast<unsigned char>(data[at]) << 8) |
                           static_cast<unsigned char>(data[at + 1]);
            size_t payload = at + 2 + topic;
            events.push_back(Number(data + payload, at + remaining - payload));
        } else {
            events.push_back(-1);
        }
        from = at + remaining;
    }
    return from;
}

struct Run {
    bool ok = false;
    double seconds = 0;
    double cpuSeconds = 0;
    long events = 0;
    long outOfOrder = 0;
    std::vector<double> latencies;
};

// Reads all connections with one thread and poll while `send` runs in a
// thread of its own; `send(k)` sends update k.
Run Drive(const std::vector<int>& fds, const Framer& framer, int updates, int rate, int serverPid,
          const std::function<bool(int)>& send) {
    Run run;
    size_t clients = fds.size();
    std::vector<Clock::time_point> sent(updates), last(updates);
    std::vector<int> received(updates, 0);
    std::atomic<int> sentCount{0};
    std::atomic<bool> stop{false};
    double cpuBefore = CpuSeconds(serverPid);
    Clock::time_point start = Clock::now();
    std::thread sender([&] {
        for (int k = 0; k < updates && !stop.load(); ++k) {
            sent[k] = Clock::now();
            if (!send(k))
                break;
            sentCount.store(k + 1);
            if (rate > 0)
                std::this_thread::sleep_until(start +
                                              std::chrono::microseconds(1000000L * (k + 1) / rate));
        }
    });

    std::vector<std::string> pending(clients);
    std::vector<long> nextExpected(clients, 0);
    std::vector<long> events;
    long complete = 0;
    bool closed = false;
    auto deadline = Clock::now() + std::chrono::milliseconds(120000);
    std::vector<char> buffer(1 << 16);
    std::vector<pollfd> polled;
    for (int fd : fds)
        polled.push_back({fd, POLLIN, 0});
    while (!closed && complete < updates && Clock::now() < deadline) {
        if (poll(polled.data(), polled.size(), 200) <= 0)
            continue;
        Clock::time_point now = Clock::now();
        for (size_t c = 0; c < clients; ++c) {
            if ((polled[c].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
                continue;
            ssize_t n = recv(polled[c].fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (n <= 0) {
                closed = true;  // the server gave a client up
                break;
            }
            std::string& text = pending[c];
            text.append(buffer.data(), static_cast<size_t>(n));
            events.clear();
            text.erase(0, framer(text.data(), text.size(), events));
            for (long k : events) {
                if (k < 0 || k >= updates)
                    continue;
                if (k != nextExpected[c])
                    ++run.outOfOrder;
                nextExpected[c] = k + 1;
                ++run.events;
                if (++received[k] == static_cast<int>(clients)) {
                    last[k] = now;
                    ++complete;
                }
            }
        }
    }
    run.cpuSeconds = CpuSeconds(serverPid) - cpuBefore;
    stop.store(true);
    sender.join();
    if (complete < updates || sentCount.load() < updates) {
        std::fprintf(stderr, "fanout_vs_broker: %ld of %d updates reached every client\n", complete,
                     updates);
        return run;
    }
    Clock::time_point end = *std::max_element(last.begin(), last.end());
    run.seconds = std::chrono::duration<double>(end - sent[0]).count();
    for (int k = 0; k < updates; ++k)
        run.latencies.push_back(
            std::chrono::duration<double, std::milli>(last[k] - sent[k]).count());
    run.ok = true;
    return run;
}

void Print(const Run& run, size_t messageBytes) {
    std::printf(
        "delivered_per_s=%.0f p50_ms=%.3f p99_ms=%.3f cpu_us_per_delivery=%.3f "
        "events=%ld out_of_order=%ld msg_bytes=%zu\n",
        static_cast<double>(run.events) / run.seconds, Percentile(run.latencies, 0.5),
        Percentile(run.latencies, 0.99), run.cpuSeconds * 1e6 / static_cast<double>(run.events),
        run.events, run.outOfOrder, messageBytes);
}

// ---------------------------------------------------------------- gateway

std::vector<std::string> OneParameterWorld() {
    return {
        "enum tagLevel { \"Guest\"=0, \"User\"=1, \"Admin\"=2, \"3\"=3, \"Service\"=4, "
        "\"RAD\"=5, };",
        "class Exception { number Code; string Text; };",
        "class Object { const number Id; const string Name; const tagLevel ReadAccess; "
        "const tagLevel WriteAccess; };",
        "class Machine : Object { number ObjectCount; 100 $ void Reset(); "
        "101 $ void RequestAll(number Since = -1); 102 $ void Attach(number Level {0..5}); "
        "109 $ number GetTime() : \"s\"; };",
        "class NumParameter : Object { number Enabled; number Value : \"bar\" * 1 / 100; "
        "const number Minimum : \"bar\" * 1 / 100; const number Maximum : \"bar\" * 1 / 100; "
        "const number Default : \"bar\" * 1 / 100; };",
        "new Machine(100, \"Machine\", 0, 5, 2);",
        "new NumParameter(2001, \"Parameter 2001\", 0, 4, 1, 1000, 0, 100000000, 1000);",
    };
}

bool ReadUntil(XmlClient& client, const std::string& wanted) {
    std::string line;
    while (client.ReadLine(line, kWaitMs))
        if (line == wanted)
            return true;
    return false;
}

bool ConnectAndLogOn(XmlClient& client) {
    std::string line;
    return client.Connected() &&
           client.Send("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n") &&
           client.ReadLine(line, kWaitMs) && client.ReadLine(line, kWaitMs) &&
           line.find("<OxMode mode=\"Connected\"") != std::string::npos &&
           client.Send("<Message><Logon level=\"Service\" userId=\"bench\"/></Message>\r\n") &&
           ReadUntil(client, kListEnd);
}

GatewayOptions QuietOptions() {
    GatewayOptions options;
    options.stdoutMask = 1;  // the state lines only
    options.logFileMask = 0;
    return options;
}

int RunGateway(const Options& options) {
    GatewayTestEnv env(QuietOptions());
    FakeController ctl(env.Ip(), 2001);
    auto gateway = env.Start();
    std::string why;
    if (!ctl.HandOver(OneParameterWorld(), kWaitMs, why) ||
        !gateway->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs)) {
        std::fprintf(stderr, "fanout_vs_broker: the gateway did not connect: %s\n", why.c_str());
        return 1;
    }
    std::vector<std::unique_ptr<XmlClient>> clients;
    std::vector<int> fds;
    for (int i = 0; i < options.clients; ++i) {
        clients.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        if (!ConnectAndLogOn(*clients.back())) {
            std::fprintf(stderr, "fanout_vs_broker: client %d did not log on\n", i);
            return 1;
        }
        fds.push_back(clients.back()->Fd());
    }
    // The size of one event line, from a first update outside the count.
    ctl.Send(std::string("upd 2001 (1, 99999);") + '\0');
    std::string line;
    for (auto& client : clients)
        if (!client->ReadLine(line, kWaitMs)) {
            std::fprintf(stderr, "fanout_vs_broker: no first event\n");
            return 1;
        }
    size_t messageBytes = line.size() + 2;

    Run run = Drive(fds, XmlFramer, options.updates, options.rate, gateway->Pid(), [&](int k) {
        return ctl.Send("upd 2001 (1, " + std::to_string(kFirstRaw + k) + ");" +
                        std::string(1, '\0'));
    });
    if (!run.ok) {
        gateway->Signal(SIGKILL);
        return 1;
    }
    Print(run, messageBytes);
    gateway->Signal(SIGINT);
    gateway->Wait(10000);
    return 0;
}

// ---------------------------------------------------------------- MQTT 3.1.1

std::string Length(size_t length) {
    std::string out;
    do {
        unsigned char byte = length % 128;
        length /= 128;
        if (length > 0)
            byte |= 0x80;
        out.push_back(static_cast<char>(byte));
    } while (length > 0);
    return out;
}

std::string Utf8(const std::string& text) {
    return std::string(1, static_cast<char>(text.size() >> 8)) +
           static_cast<char>(text.size() & 0xff) + text;
}

std::string Packet(unsigned char header, const std::string& body) {
    return std::string(1, static_cast<char>(header)) + Length(body.size()) + body;
}

bool SendAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Reads exactly `count` bytes within the wait.
bool ReadBytes(int fd, size_t count, std::string& out) {
    out.clear();
    auto deadline = Clock::now() + std::chrono::milliseconds(kWaitMs);
    char buffer[256];
    while (out.size() < count && Clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 200) <= 0)
            continue;
        ssize_t n = recv(fd, buffer, std::min(sizeof buffer, count - out.size()), 0);
        if (n <= 0)
            return false;
        out.append(buffer, static_cast<size_t>(n));
    }
    return out.size() == count;
}

// A connected MQTT session with a clean session and no keep-alive; expects
// CONNACK with code 0.
int MqttConnect(const Options& options, const std::string& clientId) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(options.port));
    inet_pton(AF_INET, options.host.c_str(), &addr.sin_addr);
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::string body = Utf8("MQTT") + '\x04' + '\x02' + '\x00' + '\x00' + Utf8(clientId);
    std::string ack;
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        !SendAll(fd, Packet(0x10, body)) || !ReadBytes(fd, 4, ack) || ack[0] != '\x20' ||
        ack[3] != '\x00') {
        close(fd);
        return -1;
    }
    return fd;
}

int RunMqtt(const Options& options) {
    const std::string topic = "oxgw/2001/Value";
    std::vector<int> fds;
    for (int i = 0; i < options.clients; ++i) {
        int fd = MqttConnect(options, "reader" + std::to_string(i));
        std::string body = std::string("\x00\x01", 2) + Utf8(topic) + '\x00';
        std::string ack;
        if (fd < 0 || !SendAll(fd, Packet(0x82, body)) || !ReadBytes(fd, 5, ack) ||
            ack[0] != '\x90' || ack[4] == '\x80') {
            std::fprintf(stderr, "fanout_vs_broker: subscriber %d failed\n", i);
            return 1;
        }
        fds.push_back(fd);
    }
    int publisher = MqttConnect(options, "publisher");
    if (publisher < 0) {
        std::fprintf(stderr, "fanout_vs_broker: the publisher did not connect\n");
        return 1;
    }
    // The payload: the update number, then padding up to the message size.
    size_t overhead = 1 + 2 + 2 + topic.size();
    size_t payload = options.size > static_cast<int>(overhead) + 16 ? options.size - overhead : 16;
    auto publish = [&](int k) {
        std::string text = std::to_string(k) + ' ';
        text.resize(payload, 'x');
        return SendAll(publisher, Packet(0x30, Utf8(topic) + text));
    };
    Run run = Drive(fds, MqttFramer, options.updates, options.rate, options.pid, publish);
    for (int fd : fds)
        close(fd);
    close(publisher);
    if (!run.ok)
        return 1;
    Print(run, Packet(0x30, Utf8(topic) + std::string(payload, 'x')).size());
    return 0;
}

// ---------------------------------------------------------------- RSS

int RunRss(const Options& options) {
    GatewayTestEnv env(QuietOptions());
    FakeController ctl(env.Ip(), 2001);
    auto gateway = env.Start();
    std::string why;
    std::vector<std::string> world = TransferTexts();
    if (!ctl.HandOver(world, 120000, why) ||
        !gateway->WaitForStdout(Shown("COM 1: Connected\n"), 120000)) {
        std::fprintf(stderr, "fanout_vs_broker: the gateway did not connect: %s\n", why.c_str());
        return 1;
    }
    long connected = RssKb(gateway->Pid());
    std::vector<std::unique_ptr<XmlClient>> clients;
    for (int i = 0; i < options.clients; ++i) {
        clients.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        if (!ConnectAndLogOn(*clients.back())) {
            std::fprintf(stderr, "fanout_vs_broker: client %d did not log on\n", i);
            return 1;
        }
    }
    std::printf("rss_kb=%ld rss_before_clients_kb=%ld texts=%zu clients=%d\n",
                RssKb(gateway->Pid()), connected, world.size(), options.clients);
    gateway->Signal(SIGINT);
    gateway->Wait(10000);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (argc < 2) {
        std::fprintf(stderr, "usage: fanout_vs_broker gateway|mqtt|rss [options]\n");
        return 2;
    }
    options.mode = argv[1];
    for (int i = 2; i + 1 < argc; i += 2) {
        std::string name = argv[i], value = argv[i + 1];
        if (name == "--updates")
            options.updates = std::atoi(value.c_str());
        else if (name == "--rate")
            options.rate = std::atoi(value.c_str());
        else if (name == "--clients")
            options.clients = std::atoi(value.c_str());
        else if (name == "--host")
            options.host = value;
        else if (name == "--port")
            options.port = std::atoi(value.c_str());
        else if (name == "--pid")
            options.pid = std::atoi(value.c_str());
        else if (name == "--size")
            options.size = std::atoi(value.c_str());
        else {
            std::fprintf(stderr, "fanout_vs_broker: unknown option %s\n", name.c_str());
            return 2;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (options.mode == "gateway")
        return RunGateway(options);
    if (options.mode == "mqtt")
        return RunMqtt(options);
    if (options.mode == "rss")
        return RunRss(options);
    std::fprintf(stderr, "fanout_vs_broker: unknown mode %s\n", options.mode.c_str());
    return 2;
}
