// The real gateway serving the board itself to an XML client: a file
// uploaded in pieces, shell commands, the telnet relay to a line-based
// service, and a configuration replaced by the client.
#include "gatewaytest.h"
#include "oxconf.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr int kStartMs = 15000;

std::unique_ptr<GatewayProcess> StartGateway(GatewayTestEnv& env, int telnetPort = 0) {
    env.Box().MakeDir("/home/service");
    auto gw = std::make_unique<GatewayProcess>(
        env.Box().Root(), std::vector<std::string>{},
        std::map<std::string, std::string>{{"OXGW_APPLICATION_IP", env.Ip()},
                                           {"OXGW_TELNET_HOST", env.Ip()},
                                           {"OXGW_TELNET_PORT", std::to_string(telnetPort)}});
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

TEST(TransferProcess, UploadInPiecesArrivesByteForByteAndStaysInItsFolder) {
    GatewayTestEnv env;
    auto gw = StartGateway(env);
    XmlClient client(env.ClientPort());
    std::string bytes;
    for (int i = 0; i < 2500; ++i)
        bytes += static_cast<char>((i * 7 + i / 256) & 0xff);

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

    // With no file in transfer a piece is ignored with a debug line.
    ExpectSilence(client);
    ASSERT_TRUE(
        client.Send("<Message>" + Piece("blob.bin", bytes, 0, 3, false, 2500) + "</Message>\r\n"));
    ExpectSilence(client);
    EXPECT_TRUE(WaitForLog(env, "::Unknown file copy message or NYI request for file copy"));

    // Names that leave the folder are files that cannot be opened.
    for (std::string name : {"../escape.bin", "a/../../escape.bin", "/home/escape.bin"}) {
        EXPECT_EQ(CopyReply(name, 0),
                  Ask(client, "<Download command=\"CopyFile\" file=\"" + name + "\"/>"));
        ASSERT_TRUE(
            client.Send("<Message>" + Piece(name, bytes, 0, 10, true, 0) + "</Message>\r\n"));
        ExpectSilence(client);
        EXPECT_TRUE(WaitForLog(env, "copy file problem, cannot open file " + name + "!"));
    }
    EXPECT_FALSE(env.Box().Exists("/home/escape.bin"));
    StopGateway(*gw);
}

TEST(TransferProcess, SystemCommandsAnswerAndOverrunsAreKilledWholly) {
    GatewayTestEnv env;
    auto gw = StartGateway(env);
    XmlClient client(env.ClientPort());
    std::string all;
    for (int i = 1; i <= 40; ++i)
        all += std::to_string(i) + ";";
    struct {
        std::string command;
        std::vector<std::string> answers;
    } rows[] = {
        {"cmd=\"seq 1 40\" timeout=\"5\" linefeed=\";\"",
         {"<Message><systemCommand reply=\"" + all + "\"></Message>"}},
        {"cmd=\"\" timeout=\"5\"", {"<Message><systemCommand reply=\"\"></Message>"}},
        {"cmd=\"echo broken >&2; exit 2\" timeout=\"5\"",
         {CommandError("SystemCommand failed!"), CommandError("broken\n")}},
        {"timeout=\"5\"", {CommandError("Empty system command!")}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.answers[0], Ask(client, "<SystemCommand " + row.command + "/>"));
        for (size_t i = 1; i < row.answers.size(); ++i)
            EXPECT_EQ(row.answers[i], client.Line());
    }
    // A command past its limit is killed with what it started.
    std::string pidFile = env.Box().Path("/sleep.pid");
    EXPECT_EQ(CommandError("Failed to run system command!"),
              Ask(client, "<SystemCommand cmd=\"sleep 60 & echo $! >" + pidFile +
                              "; wait\" timeout=\"1\"/>"));
    std::ifstream in(pidFile);
    int pid = 0;
    ASSERT_TRUE(in >> pid);
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string fields;
    std::getline(stat, fields);
    // Gone, or a zombie waiting for its new parent.
    EXPECT_TRUE(fields.empty() || fields.find(") Z ") != std::string::npos) << fields;
    ExpectSilence(client);
    StopGateway(*gw);
}

// The line-based service the relay reaches: a listening socket on ip.
struct Service {
    explicit Service(const std::string& ip) : port(FreeTcpPort(ip)) {
        fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);  // not for the gateway
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, ip.c_str(), &addr.sin_addr);
        int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
        listen(fd, 4);
    }
    ~Service() { close(fd); }
    // The relay's connection, once it comes.
    std::unique_ptr<XmlClient> Accept() {
        pollfd p{fd, POLLIN, 0};
        EXPECT_EQ(1, poll(&p, 1, 8000)) << "no relay";
        return std::make_unique<XmlClient>(XmlClient::Adopt{accept(fd, nullptr, nullptr)});
    }
    int port, fd;
};

// Reads until the relay's data, joined over its messages, holds text; the
// data keeps the service's line ends, so a message may span client lines.
void ExpectRelayed(XmlClient& client, const std::string& text) {
    const std::string head = "<Message><Telnet data=\"", tail = "\" ></Message>";
    std::string got, line;
    while (got.find(text) == std::string::npos) {
        ASSERT_TRUE(client.ReadLine(line)) << got;
        got += line + "\r\n";
        for (const std::string& wrap : {head, tail + "\r\n"})
            for (size_t at; (at = got.find(wrap)) != std::string::npos;)
                got.erase(at, wrap.size());
    }
}

const std::string kStopped = "<Message><Telnet status=\"stopped\" ></Message>";

TEST(TransferProcess, TelnetRelayCarriesBothWaysAndClosesFromEitherEnd) {
    GatewayTestEnv env;
    auto service = std::make_unique<Service>(env.Ip());
    auto gw = StartGateway(env, service->port);
    XmlClient client(env.ClientPort());
    // The service ends the first relay, the client the second.
    for (bool serviceCloses : {true, false}) {
        ASSERT_TRUE(client.Send("<Message><Telnet cmd=\"run\"/></Message>\r\n"));
        auto peer = service->Accept();
        ASSERT_TRUE(peer->Send("login: <you>\r\n"));
        ExpectRelayed(client, "login: &lt;you&gt;\r\n");
        ASSERT_TRUE(
            client.Send("<Message><Telnet cmd=\"send\" data=\"anna\"/></Message>\r\n"
                        "<Message><Telnet cmd=\"sendcr\"/></Message>\r\n"
                        "<Message><Telnet cmd=\"sendnl\"/></Message>\r\n"));
        EXPECT_EQ("anna", peer->Line());
        if (serviceCloses) {
            peer.reset();
        } else {
            ASSERT_TRUE(client.Send("<Message><Telnet cmd=\"stop\"/></Message>\r\n"));
        }
        std::string line;
        EXPECT_TRUE(SkipTo(client, kStopped, line));
        EXPECT_TRUE(serviceCloses || peer->WaitForClose(5000));
    }
    // A relay that cannot reach its service ends at once; the session lives on.
    service.reset();
    ASSERT_TRUE(client.Send("<Message><Telnet cmd=\"run\"/></Message>\r\n"));
    EXPECT_EQ(kStopped, client.Line());
    ExpectSilence(client);
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
    XmlClient again(env.ClientPort());
    ExpectSilence(again);
    StopGateway(*gw);
}

}  // namespace
