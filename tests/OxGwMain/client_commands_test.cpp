// A client drives the machine simulator through the real gateway: guards,
// range checks, the Service-mode rule, and a change that comes back as an
// event; questions that need no connection.
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "xmlclient.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace {

constexpr int kWaitMs = 8000;

std::string Error(const std::string& text) {
    return "<Message><CommandError description=\"" + text + "\"/></Message>";
}

TEST(ClientCommands, GuardsChecksAndAChangeOnTheSimulator) {
    GatewayTestEnv env;
    GatewayProcess sim(env.Box().Root(),
                       {"--address", env.Ip(), "--port", "1", "--world",
                        std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/line.oxw"},
                       {}, std::string(OXGW_BUILD_DIR) + "/torcsim");
    ASSERT_TRUE(sim.WaitForStdout("torcsim: listening", kWaitMs));
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Connected());
    // Questions that work before a connect.
    ASSERT_TRUE(client.Send("<Message><GetProcessorInfo/></Message>\r\n"));
    EXPECT_EQ(
        "<Message><ProcessorInfo><Processor name=\"\" port=\"1\" platform=\"\" "
        "server=\"oxgw\"/></ProcessorInfo></Message>",
        client.Line());
    ASSERT_TRUE(client.Send("<Message><SetupSession testPrint=\"false\"/></Message>\r\n"));
    EXPECT_EQ("<Message><SetupSession testPrint=\"false\"/></Message>", client.Line());
    ASSERT_TRUE(client.Send("<Message><GetConfiguration/></Message>\r\n"));
    EXPECT_EQ(env.ConfigText(), client.Line());

    // Before a connect, and between connect and logon.
    const std::string change =
        "<Message><ChangeNumParameter id=\"2101\" value=\"30\"/></Message>\r\n";
    ASSERT_TRUE(client.Send(change));
    EXPECT_EQ(Error("The command is not legal when a Connect has not been made!"), client.Line());
    ASSERT_TRUE(client.Send("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n"));
    client.Line();  // Connected
    EXPECT_EQ(0u, client.Line().find("<Message><OxMode mode=\"Connected\">"));
    ASSERT_TRUE(client.Send(change));
    EXPECT_EQ(Error("The command is not legal when a logon has not been made!"), client.Line());

    ASSERT_TRUE(client.Send("<Message><Logon level=\"Service\" userId=\"anna\"/></Message>\r\n"));
    std::string line;
    do {
        ASSERT_TRUE(client.ReadLine(line));
    } while (line != "<Message><List position=\"end\" name=\"TypeInfo\"></List></Message>");

    ASSERT_TRUE(
        client.Send("<Message><ChangeNumParameter id=\"9999\" value=\"1\"/></Message>\r\n"));
    EXPECT_EQ(Error("The object was not found"), client.Line());
    ASSERT_TRUE(
        client.Send("<Message><ChangeNumParameter id=\"2101\" value=\"35.1\"/></Message>\r\n"));
    EXPECT_EQ(Error("The value is out of range"), client.Line());
    ASSERT_TRUE(
        client.Send("<Message><ChangeEnumParameter id=\"2003\" value=\"7\"/></Message>\r\n"));
    EXPECT_EQ(Error("The value is not legal for this parameter"), client.Line());
    // Not in Service mode: refused before any lookup.
    ASSERT_TRUE(client.Send(
        "<Message><SetMotor id=\"424242\" start=\"true\" value=\"30\"/></Message>\r\n"));
    EXPECT_EQ(Error("<SetMotor> can only be used in Service Mode"), client.Line());

    // At the maximum the change is taken; the machine's update comes back as
    // an event of the parameter.
    ASSERT_TRUE(
        client.Send("<Message><ChangeNumParameter id=\"2101\" value=\"35\"/></Message>\r\n"));
    ASSERT_TRUE(sim.WaitForStdout("<- exe 5 $2101.201(35);", kWaitMs)) << sim.Stdout();
    bool event = false;
    while (!event && client.ReadLine(line, 3000))
        event = line.find("<NumParameterEvent") != std::string::npos &&
                line.find("id=\"2101\"") != std::string::npos;
    EXPECT_TRUE(event);

    ASSERT_TRUE(client.Send("<Message><GetUserInfo/></Message>\r\n"));
    EXPECT_EQ("<Message><UserInfo><User id=\"anna\" level=\"Service\"/></UserInfo></Message>",
              client.Line());
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(10000));
}

}  // namespace
