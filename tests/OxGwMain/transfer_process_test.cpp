// The real gateway serving the board itself to an XML client: a file
// uploaded in pieces and shell commands, the telnet relay to a line-based
// service, and a configuration replaced by the client.
#include "gatewaytest.h"
#include "oxconf.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr int kStartMs = 15000;

std::unique_ptr<GatewayProcess> StartGateway(GatewayTestEnv& env, int telnetPort = 0) {
    env.Box().MakeDir("/home/service");
    auto gw = env.Start(
        {}, {{"OXGW_TELNET_HOST", env.Ip()}, {"OXGW_TELNET_PORT", std::to_string(telnetPort)}});
    EXPECT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kStartMs)) << gw->Stdout();
    return gw;
}

std::string CopyReply(const std::string& file, size_t position) {
    return "<Message><CopyFile file=\"" + file + "\" position=\"" + std::to_string(position) +
           "\" length=\"1024\" eof=\"false\"/</Message>";
}

// One piece of bytes as the client sends it, encoded with the offset 0x3f.
std::string Piece(const std::string& file, const std::string& bytes, size_t at, size_t length,
                  bool eof, size_t position) {
    std::string data(B64Convert::B64EncodeGetLength(length), '\0');
    B64Convert::B64Encode(reinterpret_cast<const unsigned char*>(bytes.data() + at), data.data(),
                          length, 0x3f);
    return "<CopyFile file=\"" + file + "\" data=\"" + data + "\" position=\"" +
           std::to_string(position) + "\" length=\"" + std::to_string(length) + "\" eof=\"" +
           (eof ? "true" : "false") + "\"/>";
}

// The next answer is the alive acknowledgement: nothing was sent before it.
void ExpectSilence(XmlClient& client) {
    EXPECT_EQ(0u, Ask(client, "<AlivePoll/>").find("<Message><AliveAck mode="));
}

TEST(TransferProcess, UploadStaysInItsFolderAndSystemCommandsAnswerOrAreKilledWholly) {
    GatewayTestEnv env;
    auto gw = StartGateway(env);
    XmlClient client(env.ClientPort());
    std::string bytes;
    for (int i = 0; i < 2500; ++i)
        bytes += static_cast<char>((i * 7 + i / 256) & 0xff);

    // With no file in transfer a piece is ignored with a debug line.
    ASSERT_TRUE(
        client.Send("<Message>" + Piece("blob.bin", bytes, 0, 3, false, 0) + "</Message>\r\n"));
    EXPECT_TRUE(WaitForLog(env, "::Unknown file copy message or NYI request for file copy"));
    EXPECT_EQ(CopyReply("blob.bin", 0),
              Ask(client, "<Download command=\"CopyFile\" file=\"blob.bin\"/>"));
    EXPECT_EQ(CopyReply("blob.bin", 1024),
              Ask(client, Piece("blob.bin", bytes, 0, 1024, false, 0)));
    // Errors keep the file open for a correct piece.
    struct {
        std::string piece, error;
    } errors[] = {
        {Piece("blob.bin", bytes, 1024, 1024, false, 1025), "error in position!"},
        {Piece("other.bin", bytes, 1024, 1024, false, 1024), "error in filename!"},
        {Piece("blob.bin", bytes, 1024, 1100, false, 1024), "data size is too large!"},
    };
    for (const auto& e : errors)
        EXPECT_EQ(CommandError("Copy file error, " + e.error), Ask(client, e.piece));
    EXPECT_EQ(CopyReply("blob.bin", 2048),
              Ask(client, Piece("blob.bin", bytes, 1024, 1024, false, 1024)));
    ASSERT_TRUE(client.Send("<Message>" + Piece("blob.bin", bytes, 2048, 452, true, 2048) +
                            "</Message>\r\n"));
    ExpectSilence(client);
    EXPECT_TRUE(bytes == env.Box().ReadFile("/home/service/blob.bin")) << "not byte for byte";

    // Names that leave the folder are files that cannot be opened.
    for (std::string name : {"../escape.bin", "a/../../escape.bin", "/home/escape.bin"}) {
        EXPECT_EQ(CopyReply(name, 0),
                  Ask(client, "<Download command=\"CopyFile\" file=\"" + name + "\"/>"));
        ASSERT_TRUE(
            client.Send("<Message>" + Piece(name, bytes, 0, 10, true, 0) + "</Message>\r\n"));
        EXPECT_TRUE(WaitForLog(env, "copy file problem, cannot open file " + name + "!"));
    }
    ExpectSilence(client);
    EXPECT_FALSE(env.Box().Exists("/home/escape.bin"));

    // Shell commands: the output, or the failure with the error output.
    std::pair<std::string, std::string> rows[] = {
        {"cmd=\"printf '%090d\\n%d\\n' 0 1\" timeout=\"5\" linefeed=\";\"",
         "<Message><systemCommand reply=\"" + std::string(90, '0') + ";1;\"></Message>"},
        {"cmd=\"\" timeout=\"5\"", "<Message><systemCommand reply=\"\"></Message>"},
        {"timeout=\"5\"", CommandError("Empty system command!")},
        {"cmd=\"echo broken >&2; exit 2\" timeout=\"5\"", CommandError("SystemCommand failed!")},
    };
    for (const auto& [command, answer] : rows)
        EXPECT_EQ(answer, Ask(client, "<SystemCommand " + command + "/>"));
    EXPECT_EQ(CommandError("broken\n"), client.Line());
    // A command past its limit is killed with what it started.
    std::string pidFile = env.Box().Path("/sleep.pid");
    EXPECT_EQ(CommandError("Failed to run system command!"),
              Ask(client, "<SystemCommand cmd=\"sleep 60 & echo $! >" + pidFile +
                              "; wait\" timeout=\"1\"/>"));
    int pid = atoi(env.Box().ReadFile("/sleep.pid").c_str());
    ASSERT_GT(pid, 0);
    // Gone, or a zombie waiting for its new parent.
    std::string stat = ReadWholeFile("/proc/" + std::to_string(pid) + "/stat");
    EXPECT_TRUE(stat.empty() || stat.find(") Z ") != std::string::npos) << stat;
    ExpectSilence(client);
    StopGateway(*gw);
}

TEST(TransferProcess, TelnetRelayCarriesBothWaysAndClosesFromEitherEnd) {
    GatewayTestEnv env;
    int port = FreeTcpPort(env.Ip());
    auto gw = StartGateway(env, port);
    XmlClient client(env.ClientPort());
    const std::string run = "<Message><Telnet cmd=\"run\"/></Message>\r\n";
    const std::string stopped = "<Message><Telnet status=\"stopped\" ></Message>";
    // With no service to reach, the relay ends at once and the session lives on.
    ASSERT_TRUE(client.Send(run));
    EXPECT_EQ(stopped, client.Line());
    ExpectSilence(client);

    // A line-based service, opened after the gateway so that it holds no copy.
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{AF_INET, htons(static_cast<uint16_t>(port)), {}, {}};
    inet_pton(AF_INET, env.Ip().c_str(), &addr.sin_addr);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
    listen(listener, 2);
    // The service ends the first relay, the client the second.
    for (bool serviceCloses : {true, false}) {
        ASSERT_TRUE(client.Send(run));
        pollfd p{listener, POLLIN, 0};
        ASSERT_EQ(1, poll(&p, 1, 8000)) << "no relay";
        auto peer =
            std::make_unique<XmlClient>(XmlClient::Adopt{accept(listener, nullptr, nullptr)});
        // The data keeps the service's line end, so it spans two client lines.
        ASSERT_TRUE(peer->Send("login: <you>\r\n"));
        EXPECT_EQ("<Message><Telnet data=\"login: &lt;you&gt;", client.Line());
        EXPECT_EQ("\" ></Message>", client.Line());
        ASSERT_TRUE(
            client.Send("<Message><Telnet cmd=\"send\" data=\"anna\"/></Message>\r\n"
                        "<Message><Telnet cmd=\"sendcr\"/></Message>\r\n"
                        "<Message><Telnet cmd=\"sendnl\"/></Message>\r\n"));
        EXPECT_EQ("anna", peer->Line());
        if (serviceCloses)
            peer.reset();
        ASSERT_TRUE(serviceCloses || client.Send("<Message><Telnet cmd=\"stop\"/></Message>\r\n"));
        EXPECT_EQ(stopped, client.Line());
        EXPECT_TRUE(serviceCloses || peer->WaitForClose(5000));
    }
    close(listener);
    StopGateway(*gw);
}

TEST(TransferProcess, ReplacedConfigurationRestartsTheServiceInTheSameProcess) {
    GatewayTestEnv env;
    FakeController one(env.Ip(), 2001), two(env.Ip(), 2002);
    auto gw = StartGateway(env);
    ASSERT_TRUE(one.Accept(kStartMs));
    XmlClient client(env.ClientPort());
    std::string config = env.ConfigText();
    config.insert(config.find("</Configuration>"), "<ConnectCom port=\"2\"></ConnectCom>");
    ASSERT_TRUE(client.Send(config + "\r\n"));
    EXPECT_TRUE(gw->WaitForStdout(Shown("Restarting Remote Service. Pleace Wait\n"), 5000));
    EXPECT_EQ(config, env.Box().ReadFile("/etc/torc2/oxgwcfg.xml"));
    // The restart closes the sessions and opens the new port's link.
    EXPECT_TRUE(client.WaitForClose(10000));
    EXPECT_TRUE(two.Accept(10000));
    StopGateway(*gw);
}

}  // namespace
