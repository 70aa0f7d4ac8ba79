// The gateway's command table in the real server against a fake controller
// with the machine of the table test: every code's reply, the answer while
// the machine is away, and a dataset write from the host to the machine and
// back.
#include "gatewaytest.h"
#include "gwayhost.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace {

constexpr int kWaitMs = 15000;

struct CommandsEnv {
    CommandsEnv() : port(FreeTcpPort()), env(Options(port)), ctl(env.Ip(), 2001) {
        env.Box().WriteFile(
            "/usr/torc2/gway_map.txt",
            ReadWholeFile(std::string(OXGW_SOURCE_DIR) + "/tests/GWay/golden/gway_map.txt"));
    }
    static GatewayOptions Options(int port) {
        GatewayOptions options;
        options.gway = GWayElement(port, true);
        return options;
    }
    void HandOver() {
        std::vector<std::string> world;
        for (const std::string& line : SourceLines("GWay/golden/world.txt"))
            if (line[0] != '#')
                world.push_back(line);
        world.push_back("class SystemState : Object { number Value; };");
        world.push_back(
            "class Replied : Alarm { number Priority; list<number> ReplyIdList; "
            "list<string> ReplyStringList; };");
        world.push_back("new SystemState(130, 1);");
        world.push_back("class Flag : Object { number Value; };");
        world.push_back("class Exception { number Code; string Text; };");
        world.push_back("new Flag(2005, 0);");
        std::string why;
        ASSERT_TRUE(ctl.HandOver(world, kWaitMs, why)) << why;
        ASSERT_TRUE(WaitForLog(env, "COM 1: Connected", kWaitMs));
    }
    // The next machine text, or empty after the time.
    std::string MachineText(int ms = 5000) {
        std::string frame;
        return ctl.ReadFrame(frame, ms) ? frame : std::string();
    }

    int port;
    GatewayTestEnv env;
    FakeController ctl;
};

// Sends a command with data and reads its whole reply, pulling further
// blocks with 0x1010.
bool Ask(GWayHost& host, int code, const std::string& data, GWay::GWayMessage& reply) {
    reply = GWay::GWayMessage();
    std::string all;
    int first = 0;
    bool ok = host.Send(code, data);
    while (ok) {
        while ((ok = host.Next(reply)) && !reply.isReply) {
        }
        all += reply.data;
        // Further blocks carry the code of the pull.
        first = first == 0 ? reply.code : first;
        if (!ok || !reply.more)
            break;
        ok = host.Send(0x1010);
    }
    reply.data = all;
    return ok && first == code;
}

TEST(GWayCommandsProcess, EveryCodeAnswersAndADatasetWriteReachesTheMachine) {
    CommandsEnv t;
    auto gw = t.env.Start();
    ASSERT_TRUE(WaitForLog(t.env, "GWay: Ready on socket port", kWaitMs));
    GWayHost host(t.port);
    GWay::GWayMessage reply;
    ASSERT_TRUE(Ask(host, 0x4010, "", reply));
    EXPECT_EQ(16, reply.xmode);
    ASSERT_NO_FATAL_FAILURE(t.HandOver());

    // Code, data sent, XMode, a piece of the reply's data.
    const struct {
        int code;
        const char* sent;
        int xmode;
        const char* data;
    } table[] = {
        {0x3006, "", 1, "application_data {\r\n(+29011.0;Set;"},
        {0x4010, "", 1, "+1.0;\r\n+29011.0=+4003.0;\r\n"},
        {0x4056, "", 1, "+1.0;\r\n+29011.0=+4003.0;\r\n"},
        {0x4012, "", 1, "+29020.0="},
        {0x4057, "", 1, "+29020.0="},
        {0x4014, "", 1, "+29031.0="},
        {0x4058, "", 1, "+29031.0="},
        {0x4016, "", 1, "+29101.0="},
        {0x4059, "", 1, "+29101.0="},
        {0x4018, "", 1, "+29102.0=+12.0;\r\n"},
        {0x4060, "", 1, "+29122.0=+40.0;\r\n"},
        {0x4061, "", 18, ""},
        {0x7777, "", 18, ""},
        // No ";": nothing to write.
        {0x4013, "+29020.0", 1, ""},
        // Equal to the present values: done at once.
        {0x4019, "+2.0;+29102.0=+12.0;", 1, ""},
        {0x4019, "+1.0;+29102.0=+500.0;", 16, ""},
        {0x4019, "+2.0;+29102.0=+20.0;+29999.0=+1.0;", 16, ""},
    };
    for (size_t i = 0; i < sizeof table / sizeof table[0]; ++i) {
        ASSERT_TRUE(Ask(host, table[i].code, table[i].sent, reply)) << i;
        EXPECT_EQ(table[i].xmode, reply.xmode) << i;
        if (*table[i].data == '\0')
            EXPECT_TRUE(reply.data.empty()) << i;
        else
            EXPECT_NE(std::string::npos, reply.data.find(table[i].data)) << i << reply.data;
    }
    // None of the refused writes reached the machine.
    EXPECT_EQ("", t.MachineText(1000));

    // A write of two values: one machine command, XMode 2, then the result
    // and the change of the last value give the second reply.
    const std::string write = "+2.0;\r\n+29102.0=+15.0;\r\n+29122.0=+45.0;\r\n";
    ASSERT_TRUE(Ask(host, 0x4019, write, reply));
    EXPECT_EQ(2, reply.xmode);
    std::string text = t.MachineText();
    EXPECT_NE(std::string::npos, text.find("l 100.105(3001, 15, 3002, 45);")) << text;
    std::string id = text.substr(4, text.find('l') - 4);
    ASSERT_TRUE(t.ctl.SendFrame("res " + id + " : 0;"));
    EXPECT_TRUE(WaitForLog(t.env, "TORC Update Pending. Result Received."));
    ASSERT_TRUE(t.ctl.SendFrame("upd 3002 (45, 0, 50, 20, \"mm/s\", 1, 2);"));
    ASSERT_TRUE(host.Next(reply));
    EXPECT_EQ(0x4019, reply.code);
    EXPECT_EQ(1, reply.xmode);
    // The last two writes are kept in the set's two log files.
    EXPECT_EQ(write, t.env.Box().ReadFile("/var/log/debug/gway_measure.log.1"));
    EXPECT_EQ("+2.0;+29102.0=+20.0;+29999.0=+1.0;",
              t.env.Box().ReadFile("/var/log/debug/gway_measure.log"));

    // The machine refuses a write: the second reply fails. A write of the
    // application set raises the machine's flag after its command.
    ASSERT_TRUE(Ask(host, 0x4019, "+1.0;+29102.0=+16.0;", reply));
    EXPECT_EQ(2, reply.xmode);
    text = t.MachineText();
    ASSERT_TRUE(t.ctl.SendFrame("exc " + text.substr(4, text.find('l') - 4) + " : (7, \"no\");"));
    ASSERT_TRUE(host.Next(reply));
    EXPECT_EQ(16, reply.xmode);
    ASSERT_TRUE(Ask(host, 0x4011, "+1.0;+29011.0=+4002.0;", reply));
    EXPECT_EQ(2, reply.xmode);
    EXPECT_NE(std::string::npos, t.MachineText().find("l 100.105(4000, 1);"));
    EXPECT_NE(std::string::npos, t.MachineText().find("l 100.105(2005, 1);"));

    // Alarms: the one of the machine's world and a new one in another
    // section, each with its message id and slot; the host answers the new
    // one through its slot, and its deletion frees the slot.
    ASSERT_TRUE(t.ctl.SendFrame("new Replied(601, 9, @2001, 21, (3, 4), (\"Ack\", \"Retry\"));"));
    EXPECT_TRUE(WaitForLog(t.env, "Command = new Replied(601"));
    ASSERT_TRUE(Ask(host, 0x3007, "", reply));
    EXPECT_EQ(1, reply.xmode);
    EXPECT_EQ(0u, reply.data.find("userinfo{\r\n(+9009.0; :OLP:ERROR:")) << reply.data;
    EXPECT_NE(std::string::npos, reply.data.find("; 9; 2001; ; ; ;);\r\n(+9205.0; :OLP:INFO:"));
    ASSERT_TRUE(Ask(host, 0x4018, "", reply));
    for (const char* slot : {"+29700.0=+9205.0;", "+29705.0=+9009.0;", "+29706.0=Ack,Retry;"})
        EXPECT_NE(std::string::npos, reply.data.find(slot)) << slot;
    ASSERT_TRUE(Ask(host, 0x4019, "+1.0;+29708.0=Retry;", reply));
    EXPECT_EQ(1, reply.xmode);
    EXPECT_EQ("exe 102 $601.100(4);", t.MachineText());
    ASSERT_TRUE(t.ctl.SendFrame("del 601 ();"));
    EXPECT_TRUE(WaitForLog(t.env, "Command = del 601"));
    ASSERT_TRUE(Ask(host, 0x4018, "", reply));
    EXPECT_NE(std::string::npos, reply.data.find("+29705.0=+0.0;"));
    StopGateway(*gw);
}

// The machine never answers a write of "measure": a second write overrides
// the wait for the first, and only it gets its final reply, XMode 16 after 40
// seconds. Meanwhile the machine takes a write of "application" but never
// reports the change: XMode 1 after the 40 seconds of the update wait.
TEST(GWayCommandsProcess, UnansweredWritesEndAfterTheirTimeouts) {
    CommandsEnv t;
    auto gw = t.env.Start();
    ASSERT_TRUE(WaitForLog(t.env, "GWay: Ready on socket port", kWaitMs));
    GWayHost host(t.port);
    ASSERT_NO_FATAL_FAILURE(t.HandOver());
    GWay::GWayMessage reply;
    for (const char* value : {"+20.0;", "+30.0;"}) {
        ASSERT_TRUE(Ask(host, 0x4019, std::string("+1.0;+29102.0=") + value, reply));
        EXPECT_EQ(2, reply.xmode);
    }
    ASSERT_TRUE(Ask(host, 0x4011, "+1.0;+29011.0=+4002.0;", reply));
    EXPECT_EQ(2, reply.xmode);
    std::string text;
    while ((text = t.MachineText()).find("100.105(4000") == std::string::npos)
        ASSERT_FALSE(text.empty());
    ASSERT_TRUE(t.ctl.SendFrame("res " + text.substr(4, text.find('l') - 4) + " : 0;"));
    std::map<int, int> finals;
    while (finals.size() < 2 && host.Next(reply, 50000))
        finals[reply.code] = reply.xmode;
    EXPECT_EQ((std::map<int, int>{{0x4011, 1}, {0x4019, 16}}), finals);
    EXPECT_TRUE(WaitForLog(t.env, "GWay(0, data): Error: Timeout changing data on the processor"));
    EXPECT_TRUE(WaitForLog(t.env, "GWay(0, data): Error: TORC Update Timeout"));
    EXPECT_FALSE(host.Next(reply, 1000));
    StopGateway(*gw);
}

}  // namespace
