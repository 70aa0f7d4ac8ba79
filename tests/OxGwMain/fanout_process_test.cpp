// Many XML clients on one machine port of the real gateway, whose controller
// is a fake one: every client gets every event in the order the machine sent
// it; a client that stops reading is closed at its queue limit while the
// others go on; clients that leave in the middle of their logon burst harm
// nobody; read levels, keepLast, and alarms raised, changed and cleared.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace {

constexpr int kWaitMs = 15000;

const std::string kAliveAck = "<Message><AliveAck mode=\"Connected\"></AliveAck></Message>";

// The classes (golden/fanout_world.txt), the machine object (100), the
// configuration state (401) and parameters from 2001. The first five are read
// from the levels Guest, User, Admin, Service and RAD, the others by anyone.
struct World {
    int parameters = 20;

    long Count() const { return 2 + parameters; }
    static long Id(int i) { return 2001 + i; }
    int Level(int i) const {
        static const int kFirst[] = {0, 1, 2, 4, 5};
        return i < 5 ? kFirst[i] : 0;
    }
    static long InitialRaw(int i) { return 1000 + i; }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts = SourceLines("OxGwMain/golden/fanout_world.txt");
        texts.push_back("new Machine(100, \"Machine\", 0, 5, " + std::to_string(Count()) + ");");
        texts.push_back("new ConfigState(401, \"Configuration\", 0, 5, 1);");
        for (int i = 0; i < parameters; ++i) {
            std::string id = std::to_string(Id(i));
            texts.push_back("new NumParameter(" + id + ", \"Parameter " + id + "\", " +
                            std::to_string(Level(i)) + ", 4, 1, " + std::to_string(InitialRaw(i)) +
                            ", 0, 100000, 1000);");
        }
        return texts;
    }
};

// The machine's change of a parameter, and the event a client gets for it.
std::string Update(long id, long raw) {
    return "upd " + std::to_string(id) + " (1, " + std::to_string(raw) + ");";
}

std::string ParameterEvent(long id, long raw) {
    char value[40];
    snprintf(value, sizeof value, "%ld.%02ld", raw / 100, raw % 100);
    return std::string("<Message><NumParameterEvent value=\"") + value +
           "\" enabled=\"1\"><Object id=\"" + std::to_string(id) +
           "\"/></NumParameterEvent></Message>";
}

const std::string kConfigStateEvent =
    "<Message><EnumParameterEvent value=\"1\" enabled=\"0\"><Object id=\"401\"/>"
    "</EnumParameterEvent></Message>";

// The events of a logon without type information at a level: the
// configuration state first, then every parameter the level reads.
std::vector<std::string> LogonEvents(const World& world, int level) {
    std::vector<std::string> events{kConfigStateEvent};
    for (int i = 0; i < world.parameters; ++i)
        if (world.Level(i) <= level)
            events.push_back(ParameterEvent(World::Id(i), World::InitialRaw(i)));
    return events;
}

// `count` updates from `first` on, round the parameters 2006.. that anyone
// reads: the machine's stream and the events it gives.
std::string Updates(long first, int count, int spread, std::vector<std::string>& events) {
    std::string stream;
    for (long k = first; k < first + count; ++k) {
        long id = World::Id(5 + static_cast<int>(k % spread));
        stream += Update(id, 10000 + k) + std::string(1, '\0');
        events.push_back(ParameterEvent(id, 10000 + k));
    }
    return stream;
}

// Masks of the tests: the state lines on the console, errors, connections
// and the client trace in the log.
GatewayOptions Options() {
    GatewayOptions options;
    options.stdoutMask = 1;
    options.logFileMask = 0x45;
    return options;
}

std::vector<std::string> Lines(XmlClient& client, size_t count) {
    std::vector<std::string> lines;
    std::string line;
    while (lines.size() < count && client.ReadLine(line, kWaitMs))
        lines.push_back(line);
    return lines;
}

// Reads `count` lines from each client in turn: a batch fits the socket
// buffers of all of them.
std::vector<std::vector<std::string>> ReadFromAll(std::vector<std::unique_ptr<XmlClient>>& clients,
                                                  size_t count) {
    std::vector<std::vector<std::string>> lines;
    for (auto& client : clients)
        lines.push_back(Lines(*client, count));
    return lines;
}

TEST(FanOutProcess, EveryClientGetsEveryEventInOrderWhileOthersLeaveOrStopReading) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    // A logon burst with type information of about 800 messages: one fits the
    // queue limit of 1000 messages, two in a row do not.
    World world;
    world.parameters = 400;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());
    const std::string typed = "level=\"Service\" userId=\"u\" autoTypeInfo=\"true\"";

    // The slow client reads its logon burst and then nothing more; a small
    // receive buffer lets the gateway's socket fill up soon.
    XmlClient slow(env.ClientPort(), 2048);
    ASSERT_NO_FATAL_FAILURE(ConnectPort(slow));
    ASSERT_NO_FATAL_FAILURE(LogOn(slow, "level=\"Service\" userId=\"slow\"", nullptr));
    std::vector<std::unique_ptr<XmlClient>> readers;
    for (int i = 0; i < 3; ++i) {
        readers.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        std::vector<std::string> burst;
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*readers.back()));
        ASSERT_NO_FATAL_FAILURE(LogOn(*readers.back(), "level=\"Service\" userId=\"r\"", &burst));
        ASSERT_EQ(LogonEvents(world, 4), burst) << "reader " << i;
    }

    // Clients that log on and go at once with a plain close, with a reset,
    // after a part of the burst, or with two logons in one write, whose two
    // bursts overflow the queue; between them the machine changes a
    // parameter, and the readers see each change.
    std::vector<std::string> expected;
    for (int q = 0; q < 4; ++q) {
        auto leaver = std::make_unique<XmlClient>(env.ClientPort());
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*leaver));
        std::string request = "<Message><Logon " + typed + "/></Message>\r\n";
        ASSERT_TRUE(leaver->Send(q == 3 ? request + request : request));
        if (q == 2) {
            EXPECT_EQ(100u, Lines(*leaver, 100).size());
        }
        if (q % 2 == 1) {
            linger abort{1, 0};
            setsockopt(leaver->Fd(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
        }
        leaver.reset();
        std::vector<std::string> change;
        ASSERT_TRUE(ctl.Send(Updates(static_cast<long>(expected.size()), 1, 15, change)));
        for (auto& lines : ReadFromAll(readers, 1))
            ASSERT_EQ(change, lines) << "after leaver " << q;
        expected.insert(expected.end(), change.begin(), change.end());
    }
    EXPECT_TRUE(WaitForLog(env, "::delete ", kWaitMs, 4));
    EXPECT_EQ(4, CountOccurrences(DebugLog(env), "::delete "));

    // Batches of updates, in pieces that cut the frames anywhere, until the
    // gateway gives the slow client up; the readers take each batch before
    // the next goes out.
    auto sendBatch = [&](std::vector<std::string>& batch) {
        std::string stream = Updates(static_cast<long>(expected.size()), 100, 15, batch);
        for (size_t at = 0; at < stream.size(); at += 997)
            if (!ctl.Send(stream.substr(at, 997)))
                return false;
        return true;
    };
    bool givenUp = false;
    for (int b = 0; b < 500 && !givenUp; ++b) {
        std::vector<std::string> batch;
        ASSERT_TRUE(sendBatch(batch));
        auto lines = ReadFromAll(readers, batch.size());
        for (size_t i = 0; i < readers.size(); ++i)
            ASSERT_EQ(batch, lines[i]) << "batch " << b << ", reader " << i;
        expected.insert(expected.end(), batch.begin(), batch.end());
        givenUp = CountOccurrences(gw->Stderr(),
                                   "Connection slow, restart connection ListMax=1000!\n") == 2;
    }
    ASSERT_TRUE(givenUp) << "after " << expected.size() << " updates:\n" << gw->Stderr();

    // What the slow client did get is where it stands in the order, without
    // a gap; then the connection ends.
    std::vector<std::string> got = Lines(slow, expected.size());
    EXPECT_TRUE(slow.Closed());
    ASSERT_GT(got.size(), 4u);
    ASSERT_LT(got.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(expected.begin(), expected.begin() + got.size()), got);

    // The readers stay and answer.
    for (auto& reader : readers)
        EXPECT_EQ(kAliveAck, Ask(*reader, "<AlivePoll/>"));
    // Only the double logon and the slow client were too much for their queue.
    EXPECT_EQ(2, CountOccurrences(gw->Stderr(), "Connection slow"));
    StopGateway(*gw);
}

TEST(FanOutProcess, ReadLevelsCutEventsKeepLastAddsAndAlarmsReachEveryLevel) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    World world;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());

    XmlClient guest(env.ClientPort()), admin(env.ClientPort()), service(env.ClientPort());
    const std::pair<XmlClient*, int> levels[] = {{&guest, 0}, {&admin, 2}, {&service, 4}};
    const char* const names[] = {"Guest", "User", "Admin", "L3", "Service", "RAD"};
    for (const auto& [client, level] : levels) {
        std::vector<std::string> burst;
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*client));
        ASSERT_NO_FATAL_FAILURE(
            LogOn(*client, std::string("level=\"") + names[level] + "\" userId=\"u\"", &burst));
        EXPECT_EQ(LogonEvents(world, level), burst) << level;
    }

    // One change of each of the five levelled parameters, then one that all
    // read, which ends what each client gets.
    for (long id = 2001; id <= 2006; ++id)
        ASSERT_TRUE(ctl.SendFrame(Update(id, 5000 + id)));
    auto events = [](std::initializer_list<long> ids) {
        std::vector<std::string> out;
        for (long id : ids)
            out.push_back(ParameterEvent(id, 5000 + id));
        return out;
    };
    EXPECT_EQ(events({2001, 2006}), Lines(guest, 2));
    EXPECT_EQ(events({2001, 2002, 2003, 2006}), Lines(admin, 4));
    EXPECT_EQ(events({2001, 2002, 2003, 2004, 2006}), Lines(service, 5));

    // keepLast: the guest rises to Service and gets only what Service adds,
    // with the values of now, and without the configuration state; the same
    // level again, and a lower one, add nothing.
    const std::pair<const char*, std::vector<std::string>> rises[] = {
        {"Service", events({2002, 2003, 2004})}, {"Service", {}}, {"Guest", {}}};
    for (const auto& [level, added] : rises) {
        std::vector<std::string> burst;
        ASSERT_NO_FATAL_FAILURE(LogOn(
            guest, std::string("level=\"") + level + "\" userId=\"g\" keepLast=\"true\"", &burst));
        EXPECT_EQ(added, burst) << level;
    }

    // An alarm read only by RAD, owned by parameter 2001 in section 2, comes
    // to clients of every level, its text as the machine has it now (the
    // whole message is the alarm message tests').
    const std::string n = std::to_string(world.Count());
    const std::string more = std::to_string(world.Count() + 1);
    const std::string steps[][3] = {
        {"new Alarm(502, \"Pump dry\", 5, 5, " + more +
             ", 9, 1, \"%o dry in %s\", @2001, 2, (1, 2), (\"Acknowledge\", \"Restart\"), "
             "(0, 2001));",
         "Activated", "Parameter 2001 dry in 2"},
        {"upd 502 (" + more + ", \"%o still dry in %s\");", "Active",
         "Parameter 2001 still dry in 2"},
        {"del 502 (" + n + ", \"%o dry in %s\");", "Deactivated", "Parameter 2001 dry in 2"},
    };
    for (const auto& step : steps) {
        ASSERT_TRUE(ctl.SendFrame(step[0]));
        for (XmlClient* client : {&guest, &service}) {
            std::string line = client->Line();
            EXPECT_EQ(0u, line.find("<Message><AlarmEvent event=\"" + step[1] + "\" type=\"9\""));
            EXPECT_NE(std::string::npos, line.find("description=\"" + step[2] + "\"")) << line;
        }
    }
    // The store stayed in step: nothing asked the machine for its objects again.
    std::string frame;
    EXPECT_FALSE(ctl.ReadFrame(frame, 500)) << frame;
    StopGateway(*gw);
}

}  // namespace
