// The gateway service in the real server: the port follows the configuration
// a client sends, a port held by another process is tried again every five
// seconds, and a configuration without the gateway element gets it added.
#include "gatewaytest.h"
#include "gwayhost.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace {

constexpr int kWaitMs = 15000;
constexpr int kStatusCall = 0x1003;

// The configuration text with another gateway element, as a client sends it.
std::string WithGWay(GatewayTestEnv& env, const std::string& old, const std::string& element) {
    std::string text = env.ConfigText();
    text.replace(text.find(old), old.size(), element);
    return text + "\r\n";
}

// The port refuses a connection within five seconds: the listener closes in
// the same turn as the sessions, just after them.
bool Refused(int port) {
    for (int i = 0; i < 50; ++i) {
        if (!GWayHost(port).Connected())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

TEST(GWayServiceProcess, MissingElementIsAddedToTheFileButTheRunningServiceStaysDisabled) {
    GatewayOptions options;
    options.gway = "";
    GatewayTestEnv env(options);
    auto gw = env.Start();
    ASSERT_TRUE(WaitForLog(env, "Listening on socket port", kWaitMs));
    std::string expected = env.ConfigText();
    expected.insert(expected.rfind("</Configuration"), "<GWay port=\"59355\" enabled=\"true\" />");
    EXPECT_EQ(expected, env.Box().ReadFile("/etc/torc2/oxgwcfg.xml"));
    EXPECT_EQ(std::string::npos, DebugLog(env).find("GWay: Ready"));
    StopGateway(*gw);
}

TEST(GWayServiceProcess, PortOpensMovesAndClosesAsAClientChangesTheConfiguration) {
    int first = FreeTcpPort(), second = FreeTcpPort();
    while (second == first)
        second = FreeTcpPort();
    GatewayOptions options;
    options.gway = GWayElement(first, false);
    GatewayTestEnv env(options);
    auto gw = env.Start();
    ASSERT_TRUE(WaitForLog(env, "Listening on socket port", kWaitMs));
    EXPECT_FALSE(GWayHost(first).Connected());

    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Send(WithGWay(env, options.gway, GWayElement(first, true))));
    ASSERT_TRUE(WaitForLog(env, "GWay: Ready on socket port " + std::to_string(first), kWaitMs));
    GWayHost host(first);
    GWay::GWayMessage reply;
    // Without a machine: the notice at the start, and the answer to any
    // command is XMode 16.
    ASSERT_TRUE(host.Ask(kStatusCall, reply));
    EXPECT_EQ(1, host.notices);
    EXPECT_EQ(16, reply.xmode);
    EXPECT_EQ(4, reply.mstate);

    // The same port again leaves the session alone.
    ASSERT_TRUE(client.Send(WithGWay(env, options.gway, GWayElement(first, true))));
    ASSERT_TRUE(host.Ask(kStatusCall, reply));
    EXPECT_EQ(16, reply.xmode);

    // Another port closes the host and listens there.
    ASSERT_TRUE(client.Send(WithGWay(env, options.gway, GWayElement(second, true))));
    EXPECT_TRUE(host.WaitForClose(kWaitMs));
    ASSERT_TRUE(WaitForLog(env, "GWay: Ready on socket port " + std::to_string(second), kWaitMs));
    GWayHost moved(second);
    ASSERT_TRUE(moved.Ask(kStatusCall, reply));
    EXPECT_TRUE(Refused(first));

    ASSERT_TRUE(client.Send(WithGWay(env, options.gway, GWayElement(second, false))));
    EXPECT_TRUE(moved.WaitForClose(kWaitMs));
    EXPECT_TRUE(WaitForLog(env, "GWay: Disabling Service"));
    EXPECT_TRUE(Refused(second));
    StopGateway(*gw);
}

TEST(GWayServiceProcess, APortHeldByAnotherProcessIsTriedEveryFiveSecondsUntilFree) {
    int port = FreeTcpPort();
    FakeController blocker("0.0.0.0", port);  // another process's listener
    ASSERT_TRUE(blocker.Listening());
    GatewayOptions options;
    options.gway = GWayElement(port, true);
    GatewayTestEnv env(options);
    auto gw = env.Start();
    std::string refused = "GWay: Unable to open socket port " + std::to_string(port) + " (E";
    ASSERT_TRUE(WaitForLog(env, refused, kWaitMs, 2));
    // The other services go on meanwhile.
    XmlClient client(env.ClientPort());
    EXPECT_EQ(0u, Ask(client, "<GetProcessorInfo/>").find("<Message><ProcessorInfo>"));

    blocker.StopListening();
    ASSERT_TRUE(WaitForLog(env, "GWay: Ready on socket port " + std::to_string(port), 8000));
    GWayHost host(port);
    GWay::GWayMessage reply;
    EXPECT_TRUE(host.Ask(kStatusCall, reply));
    StopGateway(*gw);
}

}  // namespace
