// Many XML clients on one machine port of the real gateway, whose controller
// is a fake one: every client gets every event in the order the machine sent
// it; a client that stops reading is closed at its queue limit while the
// others go on; clients that leave in the middle of their logon burst harm
// nobody; alarms raised, changed and cleared; read levels and keepLast.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <ace/Date_Time.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <poll.h>
#include <regex>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace {

constexpr int kWaitMs = 15000;

const std::string kAliveAck = "<Message><AliveAck mode=\"Connected\"></AliveAck></Message>";

// ---------------------------------------------------------------- the machine

// Levels as the clients name them: Guest 0, User 1, Admin 2, 3, Service 4, RAD 5.
const char* const kDefinitions[] = {
    "enum tagLevel { \"Guest\"=0, \"User\"=1, \"Admin\"=2, \"L3\"=3, \"Service\"=4, \"RAD\"=5, };",
    "enum tagConfigState { \"NotConfigured\"=0, \"Configured\"=1, };",
    "class Exception { number Code; string Text; };",
    "class Object { const number Id; const string Name; const tagLevel ReadAccess; "
    "const tagLevel WriteAccess; };",
    "class Machine : Object { number ObjectCount; };",
    "class ConfigState : Object { tagConfigState Value; };",
    "class NumParameter : Object { number Enabled; number Value : \"bar\" * 1 / 100; "
    "const number Minimum : \"bar\" * 1 / 100; const number Maximum : \"bar\" * 1 / 100; "
    "const number Default : \"bar\" * 1 / 100; };",
    "class Alarm : Object { number ObjectCount; const number AlarmType; const number Priority; "
    "string Text; const Object Owner; const number Section; const list<number> ReplyIdList; "
    "const list<string> ReplyStringList; const list<number> ReplyObjectList; };",
};

// The machine object (100), the configuration state (401) and parameters
// from 2001. The first five are read from the levels Guest, User, Admin,
// Service and RAD, the others by anyone; `hidden` more behind them only by RAD.
struct World {
    int parameters = 20;
    int hidden = 0;

    long Count() const { return 2 + parameters + hidden; }
    static long Id(int i) { return 2001 + i; }
    int Level(int i) const {
        static const int kFirst[] = {0, 1, 2, 4, 5};
        if (i < 5)
            return kFirst[i];
        return i < parameters ? 0 : 5;
    }
    static long InitialRaw(int i) { return 1000 + i; }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts(std::begin(kDefinitions), std::end(kDefinitions));
        std::string n = std::to_string(Count());
        texts.push_back("new Machine(100, \"Machine\", 0, 5, " + n + ");");
        texts.push_back("new ConfigState(401, \"Configuration\", 0, 5, 1);");
        for (int i = 0; i < parameters + hidden; ++i) {
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
    for (int i = 0; i < world.parameters + world.hidden; ++i)
        if (world.Level(i) <= level)
            events.push_back(ParameterEvent(World::Id(i), World::InitialRaw(i)));
    return events;
}

// ---------------------------------------------------------------- helpers

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

// Reads from all clients at once, so that none of them holds the gateway's
// writer up, until each has `count` lines, or closes, or the time is up.
std::vector<std::vector<std::string>> ReadFromAll(std::vector<std::unique_ptr<XmlClient>>& clients,
                                                  size_t count, int ms) {
    std::vector<std::vector<std::string>> lines(clients.size());
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        std::vector<pollfd> fds;
        std::vector<size_t> which;
        for (size_t i = 0; i < clients.size(); ++i) {
            std::string line;
            while (lines[i].size() < count && clients[i]->ReadLine(line, 0))
                lines[i].push_back(line);
            if (lines[i].size() < count && !clients[i]->Closed()) {
                fds.push_back({clients[i]->Fd(), POLLIN, 0});
                which.push_back(i);
            }
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                        deadline - std::chrono::steady_clock::now())
                        .count();
        if (fds.empty() || left <= 0)
            break;
        poll(fds.data(), fds.size(), static_cast<int>(std::min<long>(left, 200)));
    }
    return lines;
}

// Index of the first line that differs from the expected ones; the size of
// expected when all agree.
size_t FirstDifference(const std::vector<std::string>& expected,
                       const std::vector<std::string>& got) {
    size_t i = 0;
    while (i < expected.size() && i < got.size() && expected[i] == got[i])
        ++i;
    return i == expected.size() && got.size() == expected.size() ? i
                                                                 : std::min(i, expected.size() - 1);
}

std::string At(const std::vector<std::string>& lines, size_t i) {
    return i < lines.size() ? lines[i] : "(none)";
}

// The lines of a text that hold a mark.
std::string LinesWith(const std::string& text, const std::string& mark) {
    std::istringstream in(text);
    std::string line, found;
    while (std::getline(in, line))
        if (line.find(mark) != std::string::npos)
            found += line + "\n";
    return found;
}

// The session id of the n-th logon (from 0) that the log names.
int LoggedOnSession(GatewayTestEnv& env, size_t n) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    const std::regex logon("Client\\(([0-9]+)\\): Logon\\. Access level=");
    do {
        std::string log = DebugLog(env);
        std::vector<int> ids;
        for (auto it = std::sregex_iterator(log.begin(), log.end(), logon);
             it != std::sregex_iterator(); ++it)
            ids.push_back(std::stoi((*it)[1]));
        if (ids.size() > n)
            return ids[n];
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (std::chrono::steady_clock::now() < deadline);
    return -1;
}

// ---------------------------------------------------------------- tests

TEST(FanOutProcess, FiftyClientsGetEveryEventInTheOrderSent) {
    constexpr int kClients = 50;
    constexpr int kUpdates = 300;
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    World world;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());

    std::vector<std::unique_ptr<XmlClient>> clients;
    const std::vector<std::string> burst = LogonEvents(world, 4);
    for (int i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*clients.back()));
        std::vector<std::string> got;
        ASSERT_NO_FATAL_FAILURE(LogOn(
            *clients.back(), "level=\"Service\" userId=\"c" + std::to_string(i) + "\"", &got));
        size_t bad = FirstDifference(burst, got);
        ASSERT_EQ(burst.size(), bad) << "client " << i << ": " << At(got, bad);
    }

    // The updates go round the parameters that anyone reads, each with a
    // value of its own, in pieces that cut the frames anywhere.
    std::vector<std::string> updates, expected;
    for (int k = 0; k < kUpdates; ++k) {
        long id = World::Id(5 + k % 15);
        updates.push_back(Update(id, 10000 + k));
        expected.push_back(ParameterEvent(id, 10000 + k));
    }
    std::string stream;
    for (const std::string& text : updates)
        stream += text + std::string(1, '\0');
    bool sent = true;
    std::thread sender([&] {
        for (size_t at = 0; at < stream.size(); at += 997)
            sent = ctl.Send(stream.substr(at, 997)) && sent;
    });
    auto lines = ReadFromAll(clients, expected.size(), 60000);
    sender.join();
    ASSERT_TRUE(sent);
    for (int i = 0; i < kClients; ++i) {
        size_t bad = FirstDifference(expected, lines[i]);
        EXPECT_EQ(expected.size(), bad)
            << "client " << i << " got " << lines[i].size() << " events; at " << bad << ": "
            << At(lines[i], bad) << " instead of " << expected[bad];
    }

    // The last event byte for byte.
    EXPECT_EQ(
        "<Message><NumParameterEvent value=\"102.99\" enabled=\"1\"><Object id=\"2020\"/>"
        "</NumParameterEvent></Message>",
        At(lines[kClients - 1], kUpdates - 1));

    // All of them are still there.
    for (auto& client : clients)
        ASSERT_TRUE(client->Send("<Message><AlivePoll/></Message>\r\n"));
    auto acks = ReadFromAll(clients, 1, kWaitMs);
    for (int i = 0; i < kClients; ++i)
        EXPECT_EQ(kAliveAck, At(acks[i], 0)) << "client " << i;
    EXPECT_EQ("", LinesWith(DebugLog(env), "Connection slow"));
    StopGateway(*gw);
}

TEST(FanOutProcess, ClientThatStopsReadingIsClosedAtItsQueueLimitAndTheOtherGoesOn) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    World world;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());

    // The slow client reads its logon burst and then nothing more; a small
    // receive buffer lets the gateway's socket fill up soon.
    XmlClient slow(env.ClientPort(), 2048);
    ASSERT_NO_FATAL_FAILURE(ConnectPort(slow));
    ASSERT_NO_FATAL_FAILURE(LogOn(slow, "level=\"Service\" userId=\"slow\"", nullptr));
    int slowId = LoggedOnSession(env, 0);
    ASSERT_GE(slowId, 0);
    XmlClient reader(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(reader));
    ASSERT_NO_FATAL_FAILURE(LogOn(reader, "level=\"Service\" userId=\"reader\"", nullptr));
    int readerId = LoggedOnSession(env, 1);
    ASSERT_GE(readerId, 0);
    ASSERT_NE(slowId, readerId);

    // Batches of updates until the gateway gives the slow one up; the reader
    // takes each batch before the next goes out. The limit of this small
    // machine is 1000 messages.
    const std::string slowLine = "Client(" + std::to_string(slowId) +
                                 "): Connection slow, restart connection ListMax=1000!\n";
    constexpr int kBatch = 100;
    constexpr int kMaxBatches = 500;
    std::vector<std::string> expected;
    long next = 0;
    auto sendBatch = [&](std::vector<std::string>& batchEvents) {
        std::string stream;
        for (int i = 0; i < kBatch; ++i, ++next) {
            long id = World::Id(5 + next % 15);
            stream += Update(id, 10000 + next) + std::string(1, '\0');
            batchEvents.push_back(ParameterEvent(id, 10000 + next));
        }
        return ctl.Send(stream);
    };
    bool givenUp = false;
    for (int b = 0; b < kMaxBatches && !givenUp; ++b) {
        std::vector<std::string> batch;
        ASSERT_TRUE(sendBatch(batch));
        std::vector<std::string> got = Lines(reader, batch.size());
        size_t bad = FirstDifference(batch, got);
        ASSERT_EQ(batch.size(), bad) << "batch " << b << ": " << At(got, bad);
        expected.insert(expected.end(), batch.begin(), batch.end());
        givenUp = gw->Stderr().find(slowLine) != std::string::npos;
    }
    ASSERT_TRUE(givenUp) << "after " << next << " updates:\n" << gw->Stderr();
    EXPECT_TRUE(WaitForLog(env, "OxSocketSession(" + std::to_string(slowId) + ")::handle_close\n",
                           kWaitMs));
    EXPECT_EQ(1, CountOccurrences(gw->Stderr(), "Connection slow"));

    // What the slow client did get is where it stands in the order, without
    // a gap; then the connection ends.
    std::vector<std::string> got;
    std::string line;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    while (!slow.Closed() && std::chrono::steady_clock::now() < deadline)
        while (slow.ReadLine(line, 1000))
            got.push_back(line);
    EXPECT_TRUE(slow.Closed());
    EXPECT_LT(got.size(), expected.size());
    EXPECT_GT(got.size(), 0u);
    got.resize(std::min(got.size(), expected.size()));
    size_t bad = FirstDifference(
        std::vector<std::string>(expected.begin(), expected.begin() + got.size()), got);
    EXPECT_EQ(got.size(), bad) << At(got, bad);

    // The reader stays: a later update and an alive poll reach it.
    std::vector<std::string> batch;
    ASSERT_TRUE(sendBatch(batch));
    std::vector<std::string> after = Lines(reader, batch.size());
    EXPECT_EQ(batch.size(), FirstDifference(batch, after));
    EXPECT_EQ(kAliveAck, Ask(reader, "<AlivePoll/>"));
    EXPECT_EQ(std::string::npos, DebugLog(env).find("OxSocketSession(" + std::to_string(readerId) +
                                                    ")::handle_close"));
    StopGateway(*gw);
}

TEST(FanOutProcess, ClientsLeavingInTheMiddleOfTheLogonBurstHarmNobody) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    // A burst of about 6000 messages; the parameters that only RAD reads keep
    // it below the queue limit of twice the object count.
    World world;
    world.parameters = 3000;
    world.hidden = 1000;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());
    const std::string logon = "level=\"Service\" userId=\"u\" autoTypeInfo=\"true\"";

    std::vector<std::unique_ptr<XmlClient>> stayers;
    std::vector<std::string> fullBurst;
    for (int i = 0; i < 2; ++i) {
        stayers.push_back(std::make_unique<XmlClient>(env.ClientPort()));
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*stayers.back()));
        std::vector<std::string> burst;
        ASSERT_NO_FATAL_FAILURE(LogOn(*stayers.back(), logon, &burst));
        if (i == 0)
            fullBurst = burst;
        else
            EXPECT_EQ(fullBurst, burst);
    }
    // The configuration state, then type information and an event for each
    // parameter that Service reads.
    ASSERT_EQ(1u + 2 * 2999, fullBurst.size());

    const std::vector<int> stayerIds{LoggedOnSession(env, 0), LoggedOnSession(env, 1)};

    // Clients that log on and go at once, with a plain close or a reset, or
    // after a part of the burst, or with two logons in one write, whose two
    // bursts overflow the queue; between them the machine changes a
    // parameter, and the stayers see each change.
    constexpr int kLeavers = 12;
    long raw = 20000;
    for (int q = 0; q < kLeavers; ++q) {
        auto leaver = std::make_unique<XmlClient>(env.ClientPort());
        ASSERT_NO_FATAL_FAILURE(ConnectPort(*leaver));
        std::string request = "<Message><Logon " + logon + "/></Message>\r\n";
        if (q % 4 == 3)
            request += request;
        ASSERT_TRUE(leaver->Send(request));
        if (q % 4 == 2) {
            EXPECT_EQ(100u, Lines(*leaver, 100).size());
        }
        if (q % 2 == 1) {
            linger abort{1, 0};
            setsockopt(leaver->Fd(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
        }
        leaver.reset();
        ++raw;
        ASSERT_TRUE(ctl.SendFrame(Update(2006, raw)));
        auto got = ReadFromAll(stayers, 1, kWaitMs);
        for (auto& lines : got)
            EXPECT_EQ(ParameterEvent(2006, raw), At(lines, 0)) << "after leaver " << q;
    }
    // Each leaver's session ends.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    while (CountOccurrences(DebugLog(env), "::delete ") < kLeavers &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(kLeavers, CountOccurrences(DebugLog(env), "::delete "));

    // The stayers get everything that follows, in order, and answer polls.
    std::vector<std::string> expected;
    std::string stream;
    for (int k = 0; k < 200; ++k) {
        long id = World::Id(5 + k % 100);
        stream += Update(id, 30000 + k) + std::string(1, '\0');
        expected.push_back(ParameterEvent(id, 30000 + k));
    }
    ASSERT_TRUE(ctl.Send(stream));
    auto got = ReadFromAll(stayers, expected.size(), kWaitMs);
    for (auto& lines : got)
        EXPECT_EQ(expected.size(), FirstDifference(expected, lines));
    for (auto& stayer : stayers) {
        ASSERT_TRUE(stayer->Send("<Message><AlivePoll/></Message>\r\n"));
        EXPECT_EQ(kAliveAck, stayer->Line());
    }
    // And a newcomer gets the whole burst.
    XmlClient late(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(late));
    std::vector<std::string> burst;
    ASSERT_NO_FATAL_FAILURE(LogOn(late, logon, &burst));
    EXPECT_EQ(fullBurst.size(), burst.size());
    // Only the double logons were too much for their queue.
    std::string slow = LinesWith(DebugLog(env), "Connection slow");
    EXPECT_EQ(kLeavers / 4, CountOccurrences(slow, "Connection slow")) << slow;
    for (int id : stayerIds)
        EXPECT_EQ(std::string::npos, slow.find("Client(" + std::to_string(id) + ")")) << slow;
    StopGateway(*gw);
}

// Cuts the time of day out of an alarm event; "" when it is not right
// behind the opening element or has not the form of a time.
std::string CutTime(std::string& text) {
    std::smatch match;
    const std::regex time(
        "\"><Time year=\"[0-9]{4}\" month=\"[0-9]{1,2}\" day=\"[0-9]{1,2}\" hour=\"[0-9]{1,2}\" "
        "min=\"[0-9]{1,2}\" sec=\"[0-9]{1,2}\"/>");
    if (!std::regex_search(text, match, time))
        return "";
    std::string found = match.str();
    text.replace(static_cast<size_t>(match.position()), found.size(), "\">");
    return found;
}

TEST(FanOutProcess, AlarmRaisedChangedAndClearedReachEveryLoggedOnClient) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    World world;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());
    // A language that names the owner and the section, and has its own text
    // for alarms of type 9 and for the replies.
    env.Box().WriteFile("/home/service/oxgw_english.ucs",
                        UcsFile(u"p2001,Feed pump\r\np2,Developer\r\na9,%o runs dry in %s\r\n"
                                u"r1,OK\r\nr2,Restart pump\r\n"));

    // A guest, who reads no more than level 0: alarms come whatever the level.
    XmlClient guest(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(guest));
    ASSERT_NO_FATAL_FAILURE(LogOn(guest, "level=\"Guest\" userId=\"g\"", nullptr));
    XmlClient english(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(english, "english"));
    ASSERT_NO_FATAL_FAILURE(LogOn(english, "level=\"Service\" userId=\"e\"", nullptr));

    const std::string n = std::to_string(world.Count());
    const std::string more = std::to_string(world.Count() + 1);
    auto alarm = [](const std::string& event, const std::string& description,
                    const std::string& first = "Acknowledge",
                    const std::string& second = "Restart") {
        return "<Message><AlarmEvent event=\"" + event +
               "\" type=\"9\" priority=\"1\" description=\"" + description +
               "\"><Object id=\"502\"/><ReplyList><Reply id=\"1\" text=\"" + first +
               "\" object=\"0\"/><Reply id=\"2\" text=\"" + second +
               "\" object=\"2001\"/></ReplyList><Context><Object id=\"2001\" "
               "section=\"2\"/></Context></AlarmEvent></Message>";
    };
    // In the language, the texts are the language's, whatever the machine's
    // text says.
    auto translated = [&](const std::string& event) {
        return alarm(event, "Feed pump runs dry in Developer", "OK", "Restart pump");
    };
    ACE_Date_Time today;
    auto check = [&](XmlClient& client, const std::string& expected) {
        std::string line;
        ASSERT_TRUE(client.ReadLine(line, kWaitMs));
        std::string time = CutTime(line);
        EXPECT_NE("", time) << line;
        EXPECT_NE(std::string::npos, time.find(" year=\"" + std::to_string(today.year()) + "\""))
            << time;
        EXPECT_EQ(expected, line);
    };

    // Raised: read only by RAD, owned by parameter 2001 in section 2.
    ASSERT_TRUE(ctl.SendFrame("new Alarm(502, \"Pump dry\", 5, 5, " + more +
                              ", 9, 1, \"%o dry in %s\", @2001, 2, (1, 2), "
                              "(\"Acknowledge\", \"Restart\"), (0, 2001));"));
    check(guest, alarm("Activated", "Parameter 2001 dry in 2"));
    check(english, translated("Activated"));
    // Changed.
    ASSERT_TRUE(ctl.SendFrame("upd 502 (" + more + ", \"%o still dry in %s\");"));
    check(guest, alarm("Active", "Parameter 2001 still dry in 2"));
    check(english, translated("Active"));
    // A client that logs on now finds it active in its burst.
    XmlClient late(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(late));
    std::vector<std::string> burst;
    ASSERT_NO_FATAL_FAILURE(LogOn(late, "level=\"Guest\" userId=\"l\"", &burst));
    ASSERT_FALSE(burst.empty());
    std::string active = burst.back();
    CutTime(active);
    EXPECT_EQ(alarm("Active", "Parameter 2001 still dry in 2"), active);
    // Cleared.
    ASSERT_TRUE(ctl.SendFrame("del 502 (" + n + ", \"%o dry in %s\");"));
    check(guest, alarm("Deactivated", "Parameter 2001 dry in 2"));
    check(english, translated("Deactivated"));
    check(late, alarm("Deactivated", "Parameter 2001 dry in 2"));
    // The store stayed in step: nothing asked the machine for its objects again.
    std::string frame;
    EXPECT_FALSE(ctl.ReadFrame(frame, 500)) << frame;
    StopGateway(*gw);
}

TEST(FanOutProcess, ReadLevelsCutUpdatesAndKeepLastSendsOnlyWhatALevelAdds) {
    GatewayTestEnv env(Options());
    FakeController ctl(env.Ip(), 2001);
    World world;
    auto gw = StartConnected(env, ctl, world.Texts());
    ASSERT_FALSE(::testing::Test::HasFatalFailure());

    XmlClient guest(env.ClientPort()), admin(env.ClientPort()), service(env.ClientPort());
    std::vector<std::string> burst;
    ASSERT_NO_FATAL_FAILURE(ConnectPort(guest));
    ASSERT_NO_FATAL_FAILURE(LogOn(guest, "level=\"Guest\" userId=\"g\"", &burst));
    EXPECT_EQ(LogonEvents(world, 0), burst);
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(ConnectPort(admin));
    ASSERT_NO_FATAL_FAILURE(LogOn(admin, "level=\"Admin\" userId=\"a\"", &burst));
    EXPECT_EQ(LogonEvents(world, 2), burst);
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(ConnectPort(service));
    ASSERT_NO_FATAL_FAILURE(LogOn(service, "level=\"Service\" userId=\"s\"", &burst));
    EXPECT_EQ(LogonEvents(world, 4), burst);

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
    // with the values of now, and without the configuration state.
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(
        LogOn(guest, "level=\"Service\" userId=\"g\" keepLast=\"true\"", &burst));
    EXPECT_EQ(events({2002, 2003, 2004}), burst);
    // The same level again, and a lower one: nothing to add.
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(
        LogOn(guest, "level=\"Service\" userId=\"g\" keepLast=\"true\"", &burst));
    EXPECT_TRUE(burst.empty()) << At(burst, 0);
    ASSERT_NO_FATAL_FAILURE(LogOn(guest, "level=\"Guest\" userId=\"g\" keepLast=\"true\"", &burst));
    EXPECT_TRUE(burst.empty()) << At(burst, 0);
    // Back at Guest, updates are cut to Guest again.
    ASSERT_TRUE(ctl.SendFrame(Update(2002, 7002)));
    ASSERT_TRUE(ctl.SendFrame(Update(2001, 7001)));
    EXPECT_EQ(ParameterEvent(2001, 7001), guest.Line());
    for (XmlClient* client : {&admin, &service}) {
        EXPECT_EQ(ParameterEvent(2002, 7002), client->Line());
        EXPECT_EQ(ParameterEvent(2001, 7001), client->Line());
    }

    // keepLast from Admin to RAD with type information: only RAD's and
    // Service's parameters, type information first.
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(
        LogOn(admin, "level=\"RAD\" userId=\"a\" keepLast=\"true\" autoTypeInfo=\"true\"", &burst));
    auto type = [](long id, const char* level) {
        return std::string(
                   "<Message><NumParameterType min=\"0.00\" max=\"1000.00\" "
                   "default=\"10.00\" decimals=\"2\" enabled=\"1\" unit=\"bar\" "
                   "readAccess=\"") +
               level + "\" writeAccess=\"Service\"><Object id=\"" + std::to_string(id) +
               "\" name=\"p" + std::to_string(id) + "\"/></NumParameterType></Message>";
    };
    EXPECT_EQ((std::vector<std::string>{type(2004, "Service"), type(2005, "RAD"),
                                        ParameterEvent(2004, 7004), ParameterEvent(2005, 7005)}),
              burst);
    // Without keepLast, a logon sends the level's whole world again.
    burst.clear();
    ASSERT_NO_FATAL_FAILURE(LogOn(service, "level=\"Guest\" userId=\"s\"", &burst));
    std::vector<std::string> guestWorld{kConfigStateEvent, ParameterEvent(2001, 7001)};
    for (int i = 5; i < world.parameters; ++i)
        guestWorld.push_back(ParameterEvent(World::Id(i), i == 5 ? 7006 : World::InitialRaw(i)));
    EXPECT_EQ(guestWorld, burst);
    StopGateway(*gw);
}

}  // namespace
