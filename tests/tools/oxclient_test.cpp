// oxclient, the command-line XML client, run as the real build/oxclient
// binary: against the real gateway with the machine simulator behind it, and
// against plain TCP servers of the test that refuse, close or stop reading.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "sandbox.h"
#include "xmlclient.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

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

// A plain TCP server in the gateway's place, on a loopback address of its
// own; the one client it accepts is read and written with the support client.
class LineServer {
  public:
    // receiveBuffer > 0 makes the accepted socket's receive buffer that small.
    explicit LineServer(int receiveBuffer = 0) : ip_(UniqueLoopbackIp()), port_(FreeTcpPort(ip_)) {
        listenFd_ = socket(AF_INET, SOCK_STREAM, 0);
        if (receiveBuffer > 0)
            setsockopt(listenFd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port_));
        inet_pton(AF_INET, ip_.c_str(), &addr.sin_addr);
        EXPECT_EQ(0, bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
        EXPECT_EQ(0, listen(listenFd_, 1));
    }
    ~LineServer() { close(listenFd_); }
    std::vector<std::string> Address() const {
        return {"--host", ip_, "--port", std::to_string(port_)};
    }
    // The client once it is there, null if it does not come in time.
    std::unique_ptr<XmlClient> Accept() {
        pollfd p{listenFd_, POLLIN, 0};
        if (poll(&p, 1, kWaitMs) <= 0)
            return nullptr;
        return std::make_unique<XmlClient>(XmlClient::Adopt{accept(listenFd_, nullptr, nullptr)});
    }

  private:
    std::string ip_;
    int port_;
    int listenFd_ = -1;
};

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
    // Every line is one received line after the milliseconds since start.
    std::istringstream lines(out);
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        EXPECT_TRUE(std::regex_match(line, std::regex("[0-9]+ <Message>.*</Message>"))) << line;
        ++count;
    }
    EXPECT_GT(count, 20);
    // What the gateway got from the client.
    std::string seen = gw->Stdout();
    EXPECT_NE(std::string::npos,
              seen.find("<Message><Connect><CommParm port=\"1\" name=\"english\"/></Connect>"
                        "</Message>"));
    EXPECT_NE(std::string::npos, seen.find("<Message><Logon level=\"Service\" userId=\"anna\" "
                                           "autoTypeInfo=\"true\"/></Message>"));
    EXPECT_NE(std::string::npos, client->Stderr().find("oxclient: connected to 127.0.0.1:"));
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
        {{"--seconds", "soon"}, 2, "usage: oxclient"},
        {{"--colour", "x"}, 2, "usage: oxclient"},
        {{"--language", "a\"b"}, 2, "usage: oxclient"},
        {{"--send", "two\r\nlines"}, 2, "usage: oxclient"},
        {{"--timeout"}, 2, "usage: oxclient"},
    };
    for (const auto& c : cases) {
        auto run = StartClient(box, c.args);
        EXPECT_EQ(c.code, run->Wait(kWaitMs)) << c.args[0];
        EXPECT_NE(std::string::npos, (c.code == 0 ? run->Stdout() : run->Stderr()).find(c.text))
            << c.args[0];
    }
}

// Against servers in the gateway's place: exit 4 when it stops reading, 3
// when it closes, 0 at the end of --seconds once it has closed.
TEST(Oxclient, GatewayThatStopsReadingClosesOrOutlastsTheTimeLimit) {
    Sandbox box;
    {
        LineServer server(4096);
        // More than the socket buffers of both sides can take: twice the most
        // that the kernel gives a sending socket.
        long most = 4 << 20;
        std::istringstream(ReadWholeFile("/proc/sys/net/ipv4/tcp_wmem")) >> most >> most >> most;
        std::string lines;
        while (static_cast<long>(lines.size()) < 2 * most + (1 << 20))
            lines += "<Message>" + std::string(100000, 'x') + "</Message>\n";
        box.WriteFile("/lines.txt", lines);
        std::vector<std::string> args = server.Address();
        args.insert(args.end(), {"--timeout", "1", "--send-file", box.Path("/lines.txt")});
        auto client = StartClient(box, args);
        auto gateway = server.Accept();
        ASSERT_NE(nullptr, gateway);
        ASSERT_TRUE(gateway->Send(kConnectedLines));
        EXPECT_EQ(4, client->Wait(kWaitMs)) << "the client hangs on a full socket";
        EXPECT_NE(std::string::npos,
                  client->Stderr().find("oxclient: send timed out after 1 s: the gateway does not "
                                        "read ("))
            << client->Stderr();
        EXPECT_NE(std::string::npos,
                  client->Stdout().find(" <Message><OxMode mode=\"Connected\">"));
    }
    {
        LineServer server;
        auto client = StartClient(box, server.Address());
        auto gateway = server.Accept();
        ASSERT_NE(nullptr, gateway);
        EXPECT_EQ("<Message><Connect><CommParm port=\"1\"/></Connect></Message>", gateway->Line());
        ASSERT_TRUE(gateway->Send(kConnectedLines));
        EXPECT_EQ("<Message><Logon level=\"Service\" autoTypeInfo=\"true\"/></Message>",
                  gateway->Line());
        gateway.reset();
        EXPECT_EQ(3, client->Wait(kWaitMs));
        EXPECT_NE(std::string::npos,
                  client->Stderr().find("oxclient: the gateway closed the connection\n"));
    }
    {
        LineServer server;
        std::vector<std::string> args = server.Address();
        args.insert(args.end(), {"--seconds", "0.5", "--machine", "3", "--level", "User",
                                 "--protocol", "1", "--language", "deutsch"});
        auto client = StartClient(box, args);
        auto gateway = server.Accept();
        ASSERT_NE(nullptr, gateway);
        EXPECT_EQ("<Message><Connect><CommParm port=\"3\" name=\"deutsch\"/></Connect></Message>",
                  gateway->Line());
        ASSERT_TRUE(gateway->Send(kConnectedLines));
        // The logon goes out if the Connected lines came in time; then, when
        // the time is over, a Disconnect.
        std::string line = gateway->Line();
        if (line.find("<Logon") != std::string::npos) {
            EXPECT_EQ(
                "<Message><Logon level=\"User\" protocol=\"1\" autoTypeInfo=\"true\"/>"
                "</Message>",
                line);
            line = gateway->Line();
        }
        EXPECT_EQ("<Message><Disconnect/></Message>", line);
        gateway.reset();
        EXPECT_EQ(0, client->Wait(kWaitMs));
        EXPECT_EQ("", client->Stderr().substr(client->Stderr().find('\n') + 1));
    }
}

}  // namespace
