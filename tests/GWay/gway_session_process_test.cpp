// Gateway sessions in the real server against a fake controller: what a host
// sees of the machine's state, the cancel's writes to the machine, many hosts
// at once, and a host that does not wait for its replies.
#include "gatewaytest.h"
#include "gwayhost.h"
#include "machineworld.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

constexpr int kWaitMs = 15000;
constexpr int kStatusCall = 0x1003;
constexpr int kCancel = 0x1018;

struct GWayEnv {
    GWayEnv() : port(FreeTcpPort()), env(Options(port)), ctl(env.Ip(), 2001) {}
    static GatewayOptions Options(int port) {
        GatewayOptions options;
        options.gway = GWayElement(port, true);
        return options;
    }
    std::unique_ptr<GatewayProcess> Start() {
        auto gw = env.Start();
        EXPECT_TRUE(WaitForLog(env, "GWay: Ready on socket port", kWaitMs));
        return gw;
    }
    // The small machine and its two system state objects, Running (MState 2).
    void HandOver() {
        std::vector<std::string> world = MachineWorld(42, 8);
        world.insert(world.begin() + 8, {"enum tagSystemState { \"Stopped\"=0, \"Running\"=1, };",
                                         "class SystemState : Object { tagSystemState Value; };"});
        world.push_back("new SystemState(130, 8, 1);");
        world.push_back("new SystemState(134, 8, 1);");
        std::string why;
        ASSERT_TRUE(ctl.HandOver(world, kWaitMs, why)) << why;
        ASSERT_TRUE(WaitForLog(env, "COM 1: Connected", kWaitMs));
    }
    // Machine texts up to one that holds text; false if none comes in time.
    bool MachineReceives(const std::string& text, int ms = 5000) {
        std::string frame;
        while (ctl.ReadFrame(frame, ms))
            if (frame.find(text) != std::string::npos)
                return true;
        return false;
    }

    int port;
    GatewayTestEnv env;
    FakeController ctl;
};

TEST(GWaySessionProcess, HostFollowsTheMachineStateAndCancelClearsTheHostParameters) {
    GWayEnv t;
    auto gw = t.Start();
    GWayHost host(t.port);
    GWay::GWayMessage message;
    // Opened while the machine is away: the notice, and XMode 16 for a
    // command, even the status call.
    ASSERT_TRUE(host.Next(message));
    EXPECT_FALSE(message.isReply);
    EXPECT_EQ(kCancel, message.code);
    ASSERT_TRUE(host.Ask(kStatusCall, message));
    EXPECT_EQ(16, message.xmode);
    EXPECT_EQ(4, message.mstate);

    ASSERT_NO_FATAL_FAILURE(t.HandOver());
    // The same session now answers: running, and the command before. The
    // state Connecting on the way was one more notice.
    ASSERT_TRUE(host.Ask(kStatusCall, message));
    EXPECT_EQ(1, host.notices);
    host.notices = 0;
    EXPECT_EQ(1, message.xmode);
    EXPECT_EQ(2, message.mstate);
    EXPECT_EQ(std::string("\x90\x01\x10\x03", 4), message.data);
    ASSERT_TRUE(host.Ask(0x7777, message));
    EXPECT_EQ(18, message.xmode);
    ASSERT_TRUE(host.Ask(kStatusCall, message));
    EXPECT_EQ(std::string("\x90\x01\x77\x77", 4), message.data);

    ASSERT_TRUE(host.Ask(kCancel, message));
    EXPECT_EQ(1, message.xmode);
    EXPECT_TRUE(message.data.empty());
    EXPECT_TRUE(t.MachineReceives("exe 5 $3911.201(0);"));
    EXPECT_TRUE(t.MachineReceives("exe 5 $3912.201(0);"));

    // The machine stops: the next reply reads it, the observed second state
    // object is traced.
    ASSERT_TRUE(t.ctl.SendFrame("upd 130 (8, 0);"));
    ASSERT_TRUE(t.ctl.SendFrame("upd 134 (8, 0);"));
    EXPECT_TRUE(WaitForLog(t.env, "GWay(0): System State Changed: 0"));
    ASSERT_TRUE(host.Ask(kStatusCall, message));
    EXPECT_EQ(1, message.mstate);
    EXPECT_EQ(std::string("\x90\x02\x10\x18", 4), message.data);

    // Twenty hosts at once, each with a session of its own: the first
    // command of each has no command before it.
    std::vector<std::unique_ptr<GWayHost>> hosts;
    for (int i = 0; i < 20; ++i)
        hosts.push_back(std::make_unique<GWayHost>(t.port));
    for (auto& other : hosts) {
        ASSERT_TRUE(other->Ask(kStatusCall, message));
        EXPECT_EQ(std::string("\x90\x02\x00\x00", 4), message.data);
        EXPECT_EQ(0, other->notices);
    }
    // A host's close ends its session and writes nothing to the machine.
    hosts.pop_back();
    EXPECT_TRUE(WaitForLog(t.env, "~OxGWaySession()"));
    EXPECT_FALSE(t.MachineReceives("3911", 1000));

    // The link is lost: every host hears the notice once and stays
    // connected, and gets XMode 16 until the machine is back.
    t.ctl.DropClient();
    for (GWayHost* each : {&host, hosts.front().get()}) {
        ASSERT_TRUE(each->Next(message));
        EXPECT_EQ(kCancel, message.code);
        ASSERT_TRUE(each->Ask(kStatusCall, message));
        EXPECT_EQ(16, message.xmode);
        EXPECT_EQ(4, message.mstate);
        EXPECT_EQ(0, each->notices);
    }
    StopGateway(*gw);
}

TEST(GWaySessionProcess, AHostThatDoesNotWaitForItsRepliesIsClosedWhileOthersGoOn) {
    GWayEnv t;
    auto gw = t.Start();
    GWay::GWayMessage message;
    GWayHost other(t.port);
    XmlClient client(t.env.ClientPort());
    // A burst of commands in one write: their acks and replies fill the
    // writer's queue before its first turn, and the queue limit closes it.
    GWayHost burst(t.port);
    ASSERT_TRUE(burst.Send(kStatusCall, "", 100));
    EXPECT_TRUE(WaitForLog(t.env, "GWay(1): Connection slow, restart connection ListMax=100!"));
    EXPECT_TRUE(burst.WaitForClose(kWaitMs));

    // The other host and the XML client are served as before.
    ASSERT_TRUE(other.Ask(kStatusCall, message));
    EXPECT_EQ(16, message.xmode);
    EXPECT_EQ(0u, Ask(client, "<GetProcessorInfo/>").find("<Message><ProcessorInfo>"));
    StopGateway(*gw);
}

}  // namespace
