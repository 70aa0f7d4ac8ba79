// oxclient, the command-line XML client, run as the real build/oxclient
// binary: against the real gateway with the machine simulator behind it, and
// against plain TCP servers of the test that refuse, close or stop reading.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
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

// A plain TCP server on a loopback address of its own, in the gateway's
// place: it accepts one client, writes lines to it, and reads only when told.
class LineServer {
  public:
    // receiveBuffer > 0 makes the socket's receive buffer that small.
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
    ~LineServer() {
        CloseClient();
        close(listenFd_);
    }
    std::vector<std::string> Address() const {
        return {"--host", ip_, "--port", std::to_string(port_)};
    }
    bool Accept() {
        pollfd p{listenFd_, POLLIN, 0};
        if (poll(&p, 1, kWaitMs) <= 0)
            return false;
        clientFd_ = accept(listenFd_, nullptr, nullptr);
        return clientFd_ >= 0;
    }
    bool Send(const std::string& text) {
        return send(clientFd_, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }
    // The next line with its CR LF; false on timeout or close.
    bool ReadLine(std::string& line) {
        for (;;) {
            size_t at = pending_.find("\r\n");
            if (at != std::string::npos) {
                line = pending_.substr(0, at + 2);
                pending_.erase(0, at + 2);
                return true;
            }
            pollfd p{clientFd_, POLLIN, 0};
            char buffer[4096];
            ssize_t n = poll(&p, 1, kWaitMs) > 0 ? recv(clientFd_, buffer, sizeof buffer, 0) : 0;
            if (n <= 0)
                return false;
            pending_.append(buffer, static_cast<size_t>(n));
        }
    }
    void CloseClient() {
        if (clientFd_ >= 0)
            close(clientFd_);
        clientFd_ = -1;
    }

  private:
    std::string ip_;
    int port_;
    int listenFd_ = -1;
    int clientFd_ = -1;
    std::string pending_;
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
         {" <Message><Connected protocolVersion=\"2.02.05\"/></Message>\n",
          " <Message><OxMode mode=\"Connected\"><Time year=", " <Message><Logon/></Message>\n",
          " <Message><List position=\"start\" name=\"TypeInfo\"></List></Message>\n",
          " <Message><List position=\"end\" name=\"TypeInfo\"></List></Message>\n",
          "<Message><NumParameterEvent value=\"35", "<Object id=\"2101\"/></NumParameterEvent>",
          " <Message><UserInfo><User id=\"anna\" level=\"Service\"/></UserInfo></Message>\n",
          "<Message><AlarmEvent event=\"Activated\" type=\"201\""})
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

TEST(Oxclient, RefusedConnectionHelpAndBadOptions) {
    Sandbox box;
    std::string ip = UniqueLoopbackIp();
    std::string port = std::to_string(FreeTcpPort(ip));
    auto refused = StartClient(box, {"--host", ip, "--port", port});
    EXPECT_EQ(1, refused->Wait(kWaitMs));
    EXPECT_NE(std::string::npos, refused->Stderr().find("oxclient: cannot connect to " + ip + ":" +
                                                        port + ": Connection refused\n"))
        << refused->Stderr();

    auto help = StartClient(box, {"--help"});
    EXPECT_EQ(0, help->Wait(kWaitMs));
    EXPECT_EQ(0u, help->Stdout().find("usage: oxclient"));
    for (std::vector<std::string> bad : {std::vector<std::string>{"--port", "70000"},
                                         {"--seconds", "soon"},
                                         {"--colour", "x"},
                                         {"--language", "a\"b"},
                                         {"--send", "two\r\nlines"},
                                         {"--timeout"}}) {
        auto run = StartClient(box, bad);
        EXPECT_EQ(2, run->Wait(kWaitMs)) << bad[0];
        EXPECT_NE(std::string::npos, run->Stderr().find("usage: oxclient")) << bad[0];
    }
}

TEST(Oxclient, GatewayThatStopsReadingEndsTheClientWithATimeout) {
    Sandbox box;
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
    ASSERT_TRUE(server.Accept());
    ASSERT_TRUE(server.Send(kConnectedLines));
    EXPECT_EQ(4, client->Wait(kWaitMs)) << "the client hangs on a full socket";
    EXPECT_NE(std::string::npos,
              client->Stderr().find("oxclient: send timed out after 1 s: the gateway does not "
                                    "read ("))
        << client->Stderr();
    EXPECT_NE(std::string::npos, client->Stdout().find(" <Message><OxMode mode=\"Connected\">"));
}

TEST(Oxclient, GatewayClosingAndTheEndOfTheTimeLimit) {
    Sandbox box;
    std::string line;
    {
        // The gateway closes: the client says so and ends with 3.
        LineServer server;
        auto client = StartClient(box, server.Address());
        ASSERT_TRUE(server.Accept());
        ASSERT_TRUE(server.ReadLine(line));
        EXPECT_EQ("<Message><Connect><CommParm port=\"1\"/></Connect></Message>\r\n", line);
        ASSERT_TRUE(server.Send(kConnectedLines));
        ASSERT_TRUE(server.ReadLine(line));
        EXPECT_EQ("<Message><Logon level=\"Service\" autoTypeInfo=\"true\"/></Message>\r\n", line);
        server.CloseClient();
        EXPECT_EQ(3, client->Wait(kWaitMs));
        EXPECT_NE(std::string::npos,
                  client->Stderr().find("oxclient: the gateway closed the connection\n"));
    }
    {
        // The time is over: a Disconnect, and 0 once the gateway has closed.
        LineServer server;
        std::vector<std::string> args = server.Address();
        args.insert(args.end(), {"--seconds", "0.5", "--machine", "3", "--level", "User",
                                 "--protocol", "1", "--language", "deutsch"});
        auto client = StartClient(box, args);
        ASSERT_TRUE(server.Accept());
        ASSERT_TRUE(server.ReadLine(line));
        EXPECT_EQ(
            "<Message><Connect><CommParm port=\"3\" name=\"deutsch\"/></Connect></Message>\r\n",
            line);
        ASSERT_TRUE(server.Send(kConnectedLines));
        std::vector<std::string> received;
        while (server.ReadLine(line) && line.find("<Disconnect") == std::string::npos)
            received.push_back(line);
        EXPECT_EQ("<Message><Disconnect/></Message>\r\n", line);
        // The logon goes out if the Connected lines came in time.
        for (const std::string& text : received)
            EXPECT_EQ(
                "<Message><Logon level=\"User\" protocol=\"1\" autoTypeInfo=\"true\"/>"
                "</Message>\r\n",
                text);
        server.CloseClient();
        EXPECT_EQ(0, client->Wait(kWaitMs));
        EXPECT_EQ("", client->Stderr().substr(client->Stderr().find('\n') + 1));
    }
}

}  // namespace
