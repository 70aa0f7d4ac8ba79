// A client drives the machine simulator through the real gateway: guards,
// range checks, the Service-mode rule, a change that comes back as an event,
// broken and binary lines that leave the session standing; questions that
// need no connection.
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

TEST(ClientCommands, GuardsChecksAChangeAndBrokenLinesOnTheSimulator) {
    GatewayTestEnv env;
    auto sim = StartSimulator(env.Box().Root(), env.Ip());
    ASSERT_NE(nullptr, sim);
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Connected());
    // Questions that work before a connect.
    EXPECT_EQ(
        "<Message><ProcessorInfo><Processor name=\"\" port=\"1\" platform=\"\" "
        "server=\"oxgw\"/></ProcessorInfo></Message>",
        Ask(client, "<GetProcessorInfo/>"));
    // No board files in this sandbox: the network part, and with it the
    // configuration, cannot be sent (the board process test has both).
    EXPECT_EQ(CommandError("Cannot send Linux network configuration!"),
              Ask(client, "<GetConfiguration/>"));

    ASSERT_NO_FATAL_FAILURE(ConnectPort(client));
    ASSERT_NO_FATAL_FAILURE(LogOn(client, "level=\"Service\" userId=\"anna\"", nullptr));

    const std::pair<const char*, const char*> refused[] = {
        {"<ChangeNumParameter id=\"9999\" value=\"1\"/>", "The object was not found"},
        {"<ChangeNumParameter id=\"2101\" value=\"35.1\"/>", "The value is out of range"},
        {"<ChangeEnumParameter id=\"2003\" value=\"7\"/>",
         "The value is not legal for this parameter"},
        // Not in Service mode: refused before any lookup.
        {"<SetMotor id=\"424242\" start=\"true\" value=\"30\"/>",
         "&lt;SetMotor&gt; can only be used in Service Mode"},
    };
    for (const auto& r : refused)
        EXPECT_EQ(CommandError(r.second), Ask(client, r.first));

    // At the maximum the change is taken; the machine's update comes back as
    // an event of the parameter.
    ASSERT_TRUE(
        client.Send("<Message><ChangeNumParameter id=\"2101\" value=\"35\"/></Message>\r\n"));
    ASSERT_TRUE(sim->WaitForStdout("<- exe 5 $2101.201(35);", kWaitMs)) << sim->Stdout();
    std::string line;
    bool event = false;
    while (!event && SkipTo(client, "<Message><NumParameterEvent ", line, 3000))
        event = line.find("<Object id=\"2101\"") != std::string::npos;
    EXPECT_TRUE(event);

    // Commands cut anywhere, with odd values, reaching the handlers of a
    // logged-on session.
    const std::vector<std::string> broken = {
        "<Message><ChangeNumParameter id=\"",
        "<Message><ChangeNumParameter id=\"2101\" value=\"nan\"/></Message>",
        "<Message><ChangeEnumParameter id=\"99999999999999999999\" value=\"x\"/></Message>",
        "<Message><SetMotor id=\"4001\" speed=\"\"",
        "<Message><ExecuteFunction id=\"6101\" action=\"-1\" argument=\"1\" argument=\"",
        "<Message><ReplyAlarm id=\"2001\" replyId=\"-5\"/></Message>",
        "<Message><GetAlarmEvents year=\"99999\" month=\"13\" day=\"-4\"/></Message>",
        "\"\"\"<<<>>>",
    };
    // Each write waits for the answer to a poll behind it, so that no single
    // read fills the session's whole input buffer, which would close it.
    const std::string poll = "<Message><AlivePoll/></Message>\r\n";
    for (const std::string& text : broken) {
        ASSERT_TRUE(client.Send(text + "\r\n" + poll));
        ASSERT_TRUE(SkipTo(client, "<Message><AliveAck mode=\"Connected\">", line)) << text;
    }
    // Binary noise in writes of many sizes, with line ends and zero bytes.
    unsigned seed = 12345;
    for (int write = 0; write < 20; ++write) {
        std::string noise;
        int size = 1 + write * 97 % 900;
        for (int i = 0; i < size; ++i) {
            seed = seed * 1103515245u + 12345u;
            noise.push_back(static_cast<char>(seed >> 16));
        }
        ASSERT_TRUE(client.Send(noise + "\r\n" + poll));
        ASSERT_TRUE(SkipTo(client, "<Message><AliveAck mode=\"Connected\">", line)) << write;
    }
    // Still the same session, logged on and answering.
    ASSERT_TRUE(client.Send("<Message><GetUserInfo/></Message>\r\n"));
    ASSERT_TRUE(SkipTo(client, "<Message><UserInfo>", line)) << gw->Stderr();
    EXPECT_EQ("<Message><UserInfo><User id=\"anna\" level=\"Service\"/></UserInfo></Message>",
              line);
    ASSERT_TRUE(
        client.Send("<Message><ChangeNumParameter id=\"2002\" value=\"200\"/></Message>\r\n"));
    EXPECT_TRUE(sim->WaitForStdout("<- exe 5 $2002.201(200);", kWaitMs));
    // A broken logon is a failed logon: it takes the earlier one away.
    ASSERT_TRUE(client.Send("<Message><Logon level=\"\r\n<Message><GetUserInfo/></Message>\r\n"));
    ASSERT_TRUE(SkipTo(client, "<Message><CommandError", line));
    EXPECT_EQ(CommandError("Logon failed, unmatched level"), line);
    EXPECT_EQ(CommandError("The command is not legal when a logon has not been made!"),
              client.Line());
    StopGateway(*gw);
}

TEST(ClientCommands, EveryMachineCommandInServiceModeAsTheControllerReceivesIt) {
    GatewayTestEnv env;
    // The machine goes into Service mode once the gateway has attached.
    env.Box().WriteFile("/service.oxs",
                        "wait attached\nset 134 Value 7\necho service mode\nwait recv .204;\n"
                        "set 134 Value 2\necho production\n");
    auto sim =
        StartSimulator(env.Box().Root(), env.Ip(), {"--script", env.Box().Path("/service.oxs")});
    ASSERT_NE(nullptr, sim);
    auto gw = env.Start();
    ASSERT_TRUE(sim->WaitForStdout("service mode", kWaitMs));

    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Connected());
    ASSERT_TRUE(
        client.Send("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n"
                    "<Message><Logon level=\"Service\"/></Message>\r\n"));
    std::string line;
    ASSERT_TRUE(SkipTo(client, "<Message><List position=\"end\" name=\"TypeInfo\">", line));

    struct Case {
        std::string command;
        std::string exe;  // as the simulator prints what it receives
    };
    const std::vector<Case> cases = {
        {"<ChangeEnumParameter id=\"2003\" value=\"1\"/>", "exe 5 $2003.201(1);"},
        // Motor 4001 shows its speed in tenths of the machine's steps (UnitMul
        // 10, UnitDiv 1, range 0.5 to 6): SetMotor scales to the machine's
        // steps, SetDevice the other way round.
        {"<SetMotor id=\"4001\" start=\"true\" speed=\"5\"/>", "exe 8 $4001.201(0.5);"},
        {"<SetMotor id=\"4001\" speed=\"release\"/>", "exe 8 $4001.203(0);"},
        {"<SetMotor id=\"4001\" start=\"true\" value=\"3\"/>", "exe 7 $4001.201(30);"},
        // Temperatures go in tenths of a degree.
        {"<SetTemperature id=\"3102\" temperature=\"28.5\"/>", "exe 8 $3102.201(285);"},
        {"<SetOutput id=\"4102\" output=\"off\"/>", "exe 8 $4102.202(0);"},
        {"<SetOutput id=\"4302\" value=\"true\"/>", "exe 6 $4302.201;"},
        {"<ExecuteFunction id=\"6101\" action=\"-1\" argument=\"400\" argument=\"2.5\"/>",
         "exe 101 $6101.100(-1,400,2.5);"},
        {"<ReplyAlarm id=\"9001\" replyId=\"1\"/>", "exe 102 $9001.100(1);"},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(client.Send("<Message>" + c.command + "</Message>\r\n"));
        EXPECT_TRUE(sim->WaitForStdout("<- " + c.exe, kWaitMs)) << c.command;
    }

    // A speed beyond the motor's range, in Service mode.
    ASSERT_TRUE(
        client.Send("<Message><SetMotor id=\"4001\" start=\"true\" speed=\"6.1\"/></Message>\r\n"));
    ASSERT_TRUE(SkipTo(client, "<Message><CommandError", line));
    EXPECT_EQ(CommandError("The speed is out of range"), line);

    // A forced update needs no Service mode; the machine leaves it after this one.
    ASSERT_TRUE(client.Send("<Message><ForceUpdate id=\"2001\"/></Message>\r\n"));
    EXPECT_TRUE(sim->WaitForStdout("<- exe 9 $2001.204;", kWaitMs));
    ASSERT_TRUE(sim->WaitForStdout("production", kWaitMs));
    bool refused = false;
    for (int i = 0; i < 50 && !refused; ++i) {
        ASSERT_TRUE(client.Send("<Message><SetOutput id=\"4902\" output=\"on\"/></Message>\r\n"));
        ASSERT_TRUE(client.Send("<Message><AlivePoll/></Message>\r\n"));
        std::string answer;
        while (client.ReadLine(answer) && answer.find("<AliveAck") == std::string::npos)
            refused =
                refused || answer == CommandError("Outputs/Motors can only be set in Service Mode");
    }
    EXPECT_TRUE(refused);
    // Other classes need no Service mode.
    ASSERT_TRUE(client.Send("<Message><SetSensor id=\"3001\" sensor=\"on\"/></Message>\r\n"));
    EXPECT_TRUE(sim->WaitForStdout("<- exe 8 $3001.201(0);", kWaitMs));
    StopGateway(*gw);
}

}  // namespace
