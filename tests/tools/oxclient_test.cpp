// oxclient, the command-line XML client, run as the real build/oxclient
// binary: against the real gateway with the machine simulator behind it, and
// against plain TCP servers of the test that refuse, close or stop reading.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <csignal>
#include <regex>
#include <sstream>

namespace {

constexpr int kWaitMs = 15000;

std::string OxclientPath() {
    return std::string(OXGW_BUILD_DIR) + "/oxclient";
}

// Runs oxclient with its output captured in files of the sandbox.
std::unique_ptr<GatewayProcess> StartClient(const Sandbox& box,
                                            const std::vector<std::string>& args) {
    return std::make_unique<GatewayProcess>(box.Root(), args, std::map<std::string, std::string>{},
                                            OxclientPath());
}

// What the gateway says to a new client of a machine in Connected mode.
const char* const kConnectedLines =
    "<Message><Connected protocolVersion=\"2.02.05\"/></Message>\r\n"
    "<Message><OxMode mode=\"Connected\"><Time year=\"2026\" month=\"1\" day=\"2\"/></OxMode>"
    "</Message>\r\n";

TEST(Oxclient, LogsOnThroughTheGatewayPrintsEventsAndSaysGoodbyeOnCtrlC) {
    GatewayTestEnv env;
    env.Box().WriteFile("/line.script", "wait recv exe 5 $2101.201(35);\nraise 9002\n");
    auto sim =
        StartSimulator(env.Box().Root(), env.Ip(), {"--script", env.Box().Path("/line.script")});
    ASSERT_NE(nullptr, sim);
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    auto client =
        StartClient(env.Box(), {"--port", std::to_string(env.ClientPort()), "--machine", "1",
                                "--language", "english", "--user", "anna", "--send",
                                "<Message><ChangeNumParameter id=\"2101\" value=\"35\"/></Message>",
                                "--send", "<Message><GetUserInfo/></Message>"});
    // The parameter change comes back from the machine as an event, and the
    // alarm that the machine raises then as an alarm event.
    ASSERT_TRUE(client->WaitForStdout("<AlarmEvent event=\"Activated\"", kWaitMs))
        << client->Stdout() << client->Stderr();
    client->Signal(SIGINT);
    EXPECT_EQ(0, client->Wait(kWaitMs));
    EXPECT_TRUE(gw->WaitForStdout("<Message><Disconnect/></Message>", kWaitMs));

    std::string out = client->Stdout();
    for (const char* text :
         {" <Message><Logon/></Message>\n",
          " <Message><List position=\"end\" name=\"TypeInfo\"></List></Message>\n",
          "<Message><NumParameterEvent value=\"35", "<Object id=\"2101\"/></NumParameterEvent>",
          " <Message><UserInfo><User id=\"anna\" level=\"Service\"/></UserInfo></Message>\n"})
        EXPECT_NE(std::string::npos, out.find(text)) << text << "\n" << out;
    // Each received line follows the milliseconds since start.
    EXPECT_TRUE(std::regex_search(out, std::regex("^[0-9]+ <Message><Connected "))) << out;

    // At the end of --seconds, a Disconnect, and 0 once the gateway has
    // closed in answer.
    auto timed =
        StartClient(env.Box(), {"--port", std::to_string(env.ClientPort()), "--seconds", "0.5",
                                "--level", "User", "--protocol", "1", "--language", "deutsch"});
    EXPECT_EQ(0, timed->Wait(kWaitMs));
    EXPECT_EQ("", timed->Stderr().substr(timed->Stderr().find('\n') + 1));
    // What the gateway got from the two clients.
    for (const char* text :
         {"<Message><Connect><CommParm port=\"1\" name=\"english\"/></Connect></Message>",
          "<Message><Logon level=\"Service\" userId=\"anna\" autoTypeInfo=\"true\"/></Message>",
          "<Message><Connect><CommParm port=\"1\" name=\"deutsch\"/></Connect></Message>",
          "<Message><Logon level=\"User\" protocol=\"1\" autoTypeInfo=\"true\"/></Message>"})
        EXPECT_NE(std::string::npos, gw->Stdout().find(text)) << text;
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(kWaitMs));
}

// Runs without a gateway: exit 1 when the connection is refused, 0 for the
// help on stdout, 2 for bad options with the usage on stderr.
TEST(Oxclient, RefusedConnectionHelpAndBadOptions) {
    Sandbox box;
    std::string ip = UniqueLoopbackIp();
    std::string port = std::to_string(FreeTcpPort(ip));
    const struct {
        std::vector<std::string> args;
        int code;
        std::string text;
    } cases[] = {
        {{"--host", ip, "--port", port},
         1,
         "oxclient: cannot connect to " + ip + ":" + port + ": Connection refused\n"},
        {{"--help"}, 0, "usage: oxclient"},
        {{"--port", "70000"}, 2, "usage: oxclient"},
        {{"--send", "two\r\nlines"}, 2, "usage: oxclient"},
    };
    for (const auto& c : cases) {
        auto run = StartClient(box, c.args);
        EXPECT_EQ(c.code, run->Wait(kWaitMs)) << c.args[0];
        EXPECT_NE(std::string::npos, (c.code == 0 ? run->Stdout() : run->Stderr()).find(c.text))
            << c.args[0];
    }
}

// Against a server in the gateway's place: exit 4 when it stops reading, 3
// when it closes.
TEST(Oxclient, GatewayThatStopsReadingOrCloses) {
    Sandbox box;
    // More than the socket buffers of both sides can take.
    long wmem = 4 << 20, rmem = 6 << 20;
    std::istringstream(ReadWholeFile("/proc/sys/net/ipv4/tcp_wmem")) >> wmem >> wmem >> wmem;
    std::istringstream(ReadWholeFile("/proc/sys/net/ipv4/tcp_rmem")) >> rmem >> rmem >> rmem;
    std::string lines;
    while (static_cast<long>(lines.size()) < 2 * wmem + rmem + (1 << 20))
        lines += "<Message>" + std::string(100000, 'x') + "</Message>\n";
    box.WriteFile("/lines.txt", lines);
    for (bool reads : {false, true}) {
        std::string ip = UniqueLoopbackIp();
        int port = FreeTcpPort(ip);
        FakeController server(ip, port);
        std::vector<std::string> args = {"--host", ip, "--port", std::to_string(port)};
        if (!reads)
            args.insert(args.end(), {"--timeout", "1", "--send-file", box.Path("/lines.txt")});
        auto client = StartClient(box, args);
        ASSERT_TRUE(server.Accept(kWaitMs));
        ASSERT_TRUE(server.Send(kConnectedLines));
        if (reads) {
            // The server takes in the Connect and the Logon, which have no
            // zero byte, so that its close is an orderly one, not a reset.
            ASSERT_TRUE(client->WaitForStdout("<OxMode", kWaitMs));
            std::string none;
            EXPECT_FALSE(server.ReadFrame(none, 1000));
            server.DropClient();
        }
        EXPECT_EQ(reads ? 3 : 4, client->Wait(kWaitMs)) << reads;
        EXPECT_NE(std::string::npos,
                  client->Stderr().find(reads ? "oxclient: the gateway closed the connection\n"
                                              : "oxclient: send timed out after 1 s: the "
                                                "gateway does not read ("))
            << client->Stderr();
    }
}

}  // namespace
