// An XML client against the real gateway, whose machine port is connected to
// a fake controller: connect, the mode, logon, alive polls, line framing,
// errors that keep the session, and the disconnect.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <ace/Date_Time.h>

#include <arpa/inet.h>
#include <chrono>
#include <thread>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

TEST(SessionProcess, ConnectLogonAliveFramingAndDisconnect) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = StartConnected(env, ctl, MachineWorld(42));

    // The client's language: an alarm text with the owner and section marks.
    env.Box().WriteFile("/home/service/oxgw_english.ucs", UcsFile(u"a3,Tank %o low in %s\r\n"));

    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Connected());
    // Errors answer and keep the session.
    EXPECT_EQ(CommandError("CommParm port must be 1 - 8"),
              Ask(client, "<Connect><CommParm port=\"9\"/></Connect>"));
    ASSERT_TRUE(client.Send("hello\r\n"));
    EXPECT_EQ(CommandError("Unknown command: hello"), client.Line());

    EXPECT_EQ("<Message><Connected protocolVersion=\"2.02.05\"/></Message>",
              Ask(client, "<Connect><CommParm port=\"1\" name=\"english\"/></Connect>"));
    std::string mode = client.Line();
    EXPECT_EQ(0u, mode.find("<Message><OxMode mode=\"Connected\"><Time year=\"")) << mode;
    EXPECT_EQ(mode.size() - 22, mode.find("\"/></OxMode></Message>")) << mode;
    EXPECT_EQ(std::string::npos, mode.find("hour=")) << "date only";
    EXPECT_EQ(
        "<Message><Download state=\"Ready\" restoreParameters=\"false\" "
        "eraseEeprom=\"false\"></Download></Message>",
        client.Line());
    EXPECT_EQ(CommandError("Connection was already made"),
              Ask(client, "<Connect><CommParm port=\"1\"/></Connect>"));

    EXPECT_EQ(CommandError("Logon failed, unmatched level"),
              Ask(client, "<Logon level=\"Boss\"/>"));
    std::vector<std::string> visit;
    ASSERT_NO_FATAL_FAILURE(LogOn(client, "level=\"Service\" userId=\"anna\"", &visit));
    // The two active alarms of the machine, whatever the level.
    int alarms = 0;
    for (const std::string& l : visit)
        alarms += l.find("<AlarmEvent event=\"Active\"") != std::string::npos ? 1 : 0;
    EXPECT_EQ(2, alarms);

    // An alarm raised and cleared by the machine reaches the client and the log.
    ASSERT_TRUE(ctl.SendFrame("new Alarm(502, 7, 9, \"Pump dry\", 1);"));
    EXPECT_EQ(0u, client.Line().find("<Message><AlarmEvent event=\"Activated\" type=\"9\""));
    ASSERT_TRUE(ctl.SendFrame("del 502 (6, 9, \"Pump dry\", 1);"));
    EXPECT_EQ(0u, client.Line().find("<Message><AlarmEvent event=\"Deactivated\" type=\"9\""));

    // Today's alarm history: the day's log, line by line, between the list
    // start and end.
    ACE_Date_Time today;
    ASSERT_TRUE(client.Send("<Message><GetAlarmEvents year=\"" + std::to_string(today.year()) +
                            "\" month=\"" + std::to_string(today.month()) + "\" day=\"" +
                            std::to_string(today.day()) + "\"/></Message>\r\n"));
    EXPECT_EQ("<Message><List position=\"start\" name=\"HistoricAlarmEvents\"></List></Message>",
              client.Line());
    std::string line;
    std::vector<std::string> history;
    do {
        ASSERT_TRUE(client.ReadLine(line)) << "no list end";
        history.push_back(line);
    } while (line !=
             "<Message><List position=\"end\" name=\"HistoricAlarmEvents\"></List></Message>");
    ASSERT_EQ(6u, history.size());
    EXPECT_EQ(0u, history[0].find("<Message><HistoricServerState state=\"Started\">"));
    EXPECT_EQ(0u, history[1].find("<Message><HistoricAlarmEvent event=\"Activated\""));
    // The description comes from the client's language.
    EXPECT_NE(std::string::npos, history[1].find("description=\"Tank %o low in %s\""))
        << history[1];
    EXPECT_EQ(0u, history[2].find("<Message><HistoricAlarmEvent event=\"Activated\""));
    EXPECT_EQ(0u, history[3].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"9\""));
    EXPECT_EQ(0u, history[4].find("<Message><HistoricAlarmEvent event=\"Deactivated\" type=\"9\""));

    // Two commands in one write, and a third split over two writes.
    ASSERT_TRUE(
        client.Send("<Message><AlivePoll/></Message>\r\n<Message><AlivePoll/>"
                    "</Message>\r\n<Message><Alive"));
    const std::string ack = "<Message><AliveAck mode=\"Connected\"></AliveAck></Message>";
    EXPECT_EQ(ack, client.Line());
    EXPECT_EQ(ack, client.Line());
    // The cut command ran as it stood, and its tail runs as another.
    EXPECT_EQ(0u, client.Line().find("<Message><CommandError description=\"Unknown command: "));
    ASSERT_TRUE(client.Send("Poll/></Message>\r\n"));
    EXPECT_EQ(0u, client.Line().find("<Message><CommandError description=\"Unknown command: "));

    // A disconnect in the middle of a batch: the later line still runs, then
    // the session closes.
    ASSERT_TRUE(
        client.Send("<Message><Disconnect/></Message>\r\n<Message><AlivePoll/></Message>\r\n"));
    EXPECT_EQ(ack, client.Line());
    EXPECT_TRUE(client.WaitForClose(3000));
    EXPECT_TRUE(gw->WaitForStdout("::handle_close\n", 3000));
    StopGateway(*gw);
}

// A plain TCP server on the test's own address, standing in for a plant
// server that the gateway dials out to. The port is bound at once, so no
// other port choice takes it, and listening starts later.
class TestServer {
  public:
    explicit TestServer(const std::string& ip) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        inet_pton(AF_INET, ip.c_str(), &addr.sin_addr);
        socklen_t size = sizeof addr;
        if (bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
            getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &size) == 0)
            port_ = ntohs(addr.sin_port);
    }
    ~TestServer() { close(fd_); }
    int Port() const { return port_; }
    bool Listen() { return port_ > 0 && listen(fd_, 4) == 0; }
    // The next incoming connection, or -1 when none comes in time.
    int Accept(int ms) {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0)
            return -1;
        return accept(fd_, nullptr, nullptr);
    }

  private:
    int fd_ = -1;
    int port_ = 0;
};

TEST(SessionProcess, OutgoingSessionDialsTheServerAndDialsAgainAfterItCloses) {
    GatewayOptions options;
    std::string ip = UniqueLoopbackIp();
    TestServer server(ip);
    ASSERT_GT(server.Port(), 0);
    options.leadingConfig =
        "<ConnectServer port=\"" + std::to_string(server.Port()) + "\" ip=\"" + ip + "\"/>";
    GatewayTestEnv env(options);
    FakeController ctl(env.Ip(), 2001);
    auto gw = env.Start();

    // Nobody listens yet: the first try fails and the next comes ten seconds on.
    const std::string failed = Shown("Connection could not be made to server !\n");
    ASSERT_TRUE(gw->WaitForStdout(failed, kWaitMs)) << gw->Stdout();
    ASSERT_TRUE(server.Listen());
    std::string why;
    ASSERT_TRUE(ctl.HandOver(MachineWorld(42), kWaitMs, why)) << why;
    int fd = server.Accept(15000);
    ASSERT_GE(fd, 0) << "the gateway did not dial again";
    EXPECT_EQ(1, CountOccurrences(gw->Stdout(), failed));
    EXPECT_NE(std::string::npos, gw->Stdout().find(Shown("OxActiveSessionMan::handle_timeout\n")));

    // The session is already attached to machine port 1: no Connect needed.
    XmlClient plant(XmlClient::Adopt{fd});
    EXPECT_EQ("<Message><Connected protocolVersion=\"2.02.05\"/></Message>", plant.Line());
    EXPECT_EQ(0u, plant.Line().find("<Message><OxMode mode=\"Connected\"><Time year=\""));
    EXPECT_EQ(CommandError("Connection was already made"),
              Ask(plant, "<Connect><CommParm port=\"1\"/></Connect>"));
    ASSERT_NO_FATAL_FAILURE(LogOn(plant, "level=\"User\"", nullptr));
    // While the session lives the gateway does not dial a second one.
    EXPECT_EQ(-1, server.Accept(1500));

    // The server hangs up: polling starts again and a new session comes.
    ASSERT_TRUE(plant.Send("<Message><Disconnect/></Message>\r\n"));
    EXPECT_TRUE(plant.WaitForClose(3000));
    EXPECT_TRUE(gw->WaitForStdout(Shown("SessionTerminates, start polling for a new.\n"), 3000));
    int again = server.Accept(15000);
    ASSERT_GE(again, 0) << "no new session after the close";
    XmlClient second(XmlClient::Adopt{again});
    EXPECT_EQ("<Message><Connected protocolVersion=\"2.02.05\"/></Message>", second.Line());

    // The server writes a configuration that restarts the service: every
    // session goes without its close, and the gateway still dials again.
    std::string config = env.ConfigText();
    config.insert(config.rfind("</Configuration>"),
                  "<ConnectCom port=\"2\"><EventLog maxAgeDays=\"30\" logAlarms=\"true\"/>"
                  "</ConnectCom>");
    ASSERT_TRUE(second.Send(config + "\r\n"));
    EXPECT_TRUE(second.WaitForClose(10000));
    int afterRestart = server.Accept(20000);
    ASSERT_GE(afterRestart, 0) << "no session after the restart";
    XmlClient third(XmlClient::Adopt{afterRestart});
    EXPECT_EQ("<Message><Connected protocolVersion=\"2.02.05\"/></Message>", third.Line());
    StopGateway(*gw);
}

TEST(SessionProcess, InputBufferLimits) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kWaitMs));

    // 9998 bytes without a line end, then the line end: the session survives.
    XmlClient client(env.ClientPort());
    ASSERT_TRUE(client.Connected());
    ASSERT_TRUE(client.Send(std::string(9998, 'x')));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ASSERT_TRUE(client.Send("\r\n"));
    EXPECT_EQ(0u, client.Line().find("<Message><CommandError description=\"Unknown command: xxx"));

    // A single read of the whole capacity closes the session.
    XmlClient flood(env.ClientPort());
    ASSERT_TRUE(flood.Connected());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_TRUE(flood.Send(std::string(20000, 'y')));
    EXPECT_EQ(
        "<Message><CommandError description=\"internal! (socket input buffer size to "
        "small)\"/></Message>",
        flood.Line());
    EXPECT_TRUE(flood.WaitForClose(3000));
    StopGateway(*gw);
}

}  // namespace
