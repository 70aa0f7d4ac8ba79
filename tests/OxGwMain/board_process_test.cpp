// A client reads and changes the board's settings through the real gateway,
// the files checked byte for byte; malformed values, missing files and failing
// board programs change nothing.
#include "gatewaytest.h"
#include "oxconf.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace {

const char* const kUbEnv = "/var/lib/ubenv";
const char* const kResolv = "/etc/resolv.conf";
const char* const kBoardLog = "/var/log/board.log";

const std::string kEnv =
    "ethaddr=00:50:c2:1a:2b:3c\nipaddr=192.168.1.10\nnetmask=255.255.255.0\n"
    "gatewayip=192.168.1.1\nserverip=192.168.1.2\ndhcp=no\nautodns=no\nhostname=line1\n";
const std::string kResolvText =
    "domain plant.example\nsearch plant.example\nnameserver 192.168.1.1\nnameserver 8.8.8.8\n";

void SeedBoard(Sandbox& box) {
    box.WriteFile(kUbEnv, kEnv);
    box.WriteFile(kResolv, kResolvText);
    box.WriteFile("/etc/wvdial.conf",
                  "[Dialer Defaults]\nUsername = gwuser\nPassword = pw1\nDial Prefix = 0\n"
                  "Phone = 0401234\n");
    box.WriteFile("/etc/ppp/pap-secrets",
                  "# client server secret addresses\n* remote \"dialpw\" 10.0.0.1 10.0.0.2\n");
    box.WriteFile("/etc/dhcpc/dhcpcd-eth0.info",
                  "IPADDR=172.16.0.5\nNETMASK=255.255.0.0\nGATEWAY=172.16.0.1\n");
}

// The commands before it have run once the poll is answered.
void Sync(XmlClient& client) {
    ASSERT_TRUE(client.Send("<Message><AlivePoll/></Message>\r\n"));
    std::string line;
    ASSERT_TRUE(client.ReadLine(line, 30000));
    ASSERT_EQ(0u, line.find("<Message><AliveAck ")) << line;
}

// A gateway on a sandbox with the board's files, programs failing as named.
struct Board {
    GatewayTestEnv env;  // machine port 1 stays unconnected
    std::unique_ptr<GatewayProcess> gw;
    std::unique_ptr<XmlClient> client;
    explicit Board(const std::string& failing = "") {
        SeedBoard(env.Box());
        gw = env.Start({}, {{"OXGW_BOARD_FAIL", failing}});
        EXPECT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), 10000)) << gw->Stdout();
        client = std::make_unique<XmlClient>(env.ClientPort());
        EXPECT_TRUE(client->Connected());
    }
    ~Board() { StopGateway(*gw); }
};

TEST(BoardProcess, SettingsAreReadAndChanged) {
    Board board;
    GatewayTestEnv& env = board.env;
    XmlClient& client = *board.client;

    EXPECT_EQ(
        "<Message><IpConfig ethaddr=\"00:50:c2:1a:2b:3c\" ipaddr=\"192.168.1.10\" "
        "netmask=\"255.255.255.0\" gatewayip=\"192.168.1.1\" tftpip=\"192.168.1.2\" "
        "hostname=\"line1\" domain=\"plant.example\" DHCP=\"false\" autoDNS=\"false\" "
        "primaryDNS=\"192.168.1.1\" alternateDNS=\"8.8.8.8\" /></Message>",
        Ask(client, "<GetIpConfig/>"));
    EXPECT_EQ(
        "<Message><LinuxNetConfig domain=\"plant.example\" nameserver=\"192.168.1.1\" "
        "blackBoxUserName=\"gwuser\" blackBoxPassword=\"" +
            OxConfiguration::Encode("pw1") +
            "\" dialPrefix=\"0\" phone=\"0401234\" dialInPassword=\"" +
            OxConfiguration::Encode("dialpw") +
            "\" blackBoxPppIpAdr=\"10.0.0.1\" remotePppIpAdr=\"10.0.0.2\" /></Message>",
        Ask(client, "<GetConfiguration/>"));
    EXPECT_EQ(env.ConfigText(), client.Line());

    // Each change with the environment and resolv.conf after it ("" where
    // unchanged) and the board programs it ran.
    const struct {
        std::string command, env, resolv, programs;
    } changes[] = {
        {"<SetIpConfig ethaddr=\" \" tftpip=\"10.1.2.9\" ipaddr=\"10.1.2.3\" "
         "netmask=\"255.255.0.0\" gatewayip=\"\" DHCP=\"false\" hostname=\"line7\" "
         "domain=\"works.example\" autoDNS=\"false\" primaryDNS=\"10.1.2.1\" alternateDNS=\"\"/>",
         "ethaddr=00:50:c2:1a:2b:3c\nipaddr=10.1.2.3\nnetmask=255.255.0.0\ngatewayip=192.168.1.1\n"
         "serverip=10.1.2.9\ndhcp=no\nautodns=no\nhostname=line7\n",
         "domain works.example\nsearch works.example\nnameserver 10.1.2.1\nnameserver 8.8.8.8\n",
         "setubenv dhcp no\nsetubenv ipaddr 10.1.2.3\nsetubenv netmask 255.255.0.0\n"
         "setubenv serverip 10.1.2.9\nsetubenv hostname line7\nstop-network \n"
         "setubenv autodns no\nstart-network \n"},
        // With automatic name servers the given ones are not written.
        {"<SetIpConfig DHCP=\"true\" autoDNS=\"true\" primaryDNS=\"9.9.9.9\"/>",
         "ethaddr=00:50:c2:1a:2b:3c\nipaddr=10.1.2.3\nnetmask=255.255.0.0\ngatewayip=192.168.1.1\n"
         "serverip=10.1.2.9\ndhcp=yes\nautodns=yes\nhostname=line7\n",
         "", "setubenv dhcp yes\nstop-network \nsetubenv autodns yes\nstart-network \n"},
        {"<LinuxNetConfig domain=\"site.example\" nameserver=\"10.9.9.9\"/>", "",
         "domain site.example\nsearch site.example\nnameserver 10.9.9.9\nnameserver 8.8.8.8\n", ""},
        {"<SetServerTime timezone=\"Europe/Berlin\" year=\"2026\" month=\"2\" day=\"3\" "
         "hour=\"7\" min=\"5\" sec=\"9\"/>",
         "", "", "settime 020307052026.09 Europe/Berlin\n"},
    };
    std::string envText = kEnv, resolvText = kResolvText;
    for (const auto& c : changes) {
        std::string logBefore = env.Box().ReadFile(kBoardLog);
        ASSERT_TRUE(client.Send("<Message>" + c.command + "</Message>\r\n"));
        ASSERT_NO_FATAL_FAILURE(Sync(client));
        envText = c.env.empty() ? envText : c.env;
        resolvText = c.resolv.empty() ? resolvText : c.resolv;
        EXPECT_EQ(envText, env.Box().ReadFile(kUbEnv)) << c.command;
        EXPECT_EQ(resolvText, env.Box().ReadFile(kResolv)) << c.command;
        EXPECT_EQ(logBefore + c.programs, env.Box().ReadFile(kBoardLog)) << c.command;
    }

    // With DHCP on, the lease's values stand beside the fixed ones.
    EXPECT_EQ(
        "<Message><IpConfig ethaddr=\"00:50:c2:1a:2b:3c\" dhcpIpaddr=\"172.16.0.5\" "
        "dhcpNetmask=\"255.255.0.0\" dhcpGatewayip=\"172.16.0.1\" ipaddr=\"10.1.2.3\" "
        "netmask=\"255.255.0.0\" gatewayip=\"192.168.1.1\" tftpip=\"10.1.2.9\" "
        "hostname=\"line7\" domain=\"site.example\" DHCP=\"true\" autoDNS=\"true\" "
        "primaryDNS=\"10.9.9.9\" alternateDNS=\"8.8.8.8\" /></Message>",
        Ask(client, "<GetIpConfig/>"));
    // The clock of the board is the test machine's; the zone is what
    // settime left.
    auto shown = [](time_t t) {
        struct tm l;
        localtime_r(&t, &l);
        char text[200];
        snprintf(text, sizeof text,
                 "<Message><ServerTime timezone=\"Europe/Berlin\" year=\"%d\" month=\"%d\" "
                 "day=\"%d\" hour=\"%d\" min=\"%d\" sec=\"%d\"/></Message>",
                 l.tm_year + 1900, l.tm_mon + 1, l.tm_mday, l.tm_hour, l.tm_min, l.tm_sec);
        return std::string(text);
    };
    time_t before = time(nullptr);
    std::string reply = Ask(client, "<GetServerTime/>");
    EXPECT_TRUE(reply == shown(before) || reply == shown(time(nullptr))) << reply;
}

TEST(BoardProcess, BadValuesAndMissingFilesChangeNothing) {
    Board board;
    GatewayTestEnv& env = board.env;
    XmlClient& client = *board.client;

    const std::string longName(64, 'h');
    const std::pair<std::string, std::string> refused[] = {
        {"<SetIpConfig ipaddr=\"10.1.2\" DHCP=\"true\"/>", "Refused ipaddr: 10.1.2\n"},
        {"<SetIpConfig ethaddr=\"00:50:c2:1a:2b\"/>", "Refused ethaddr: 00:50:c2:1a:2b\n"},
        {"<SetIpConfig hostname=\"" + longName + "\"/>", "Refused hostname: " + longName + "\n"},
        {"<SetIpConfig hostname=\"a;reboot\"/>", "Refused hostname: a;reboot\n"},
        {"<LinuxNetConfig domain=\"x.example\" nameserver=\"1.2.3.4 5.6.7.8\"/>",
         "Refused nameserver: 1.2.3.4 5.6.7.8\n"},
        {"<SetServerTime timezone=\"UTC\" year=\"2026\" month=\"2\" day=\"29\" hour=\"7\"/>",
         "Refused time: 2026-02-29 07:00:00\n"},
        {"<SetServerTime timezone=\"UTC';reboot;'\" year=\"2026\" month=\"2\" day=\"3\"/>",
         "Refused timezone: UTC';reboot;'\n"},
    };
    for (const auto& r : refused) {
        ASSERT_TRUE(client.Send("<Message>" + r.first + "</Message>\r\n"));
        ASSERT_NO_FATAL_FAILURE(Sync(client));
        EXPECT_TRUE(WaitForLog(env, r.second)) << r.first;
    }
    EXPECT_EQ(kEnv, env.Box().ReadFile(kUbEnv));
    EXPECT_EQ(kResolvText, env.Box().ReadFile(kResolv));
    EXPECT_FALSE(env.Box().Exists(kBoardLog));

    // A missing file or variable: the failure text, and nothing else.
    const char* const missing[][3] = {
        {"/etc/ppp/pap-secrets", "<GetConfiguration/>", "Cannot send Linux network configuration!"},
        {kResolv, "<GetIpConfig/>", "Get ip configuration failed!"}};
    for (const auto& m : missing) {
        ASSERT_EQ(0, unlink(env.Box().Path(m[0]).c_str()));
        EXPECT_EQ(CommandError(m[2]), Ask(client, m[1]));
        ASSERT_NO_FATAL_FAILURE(Sync(client));
        EXPECT_TRUE(WaitForLog(env, "File open error: " + env.Box().Path(m[0])));
    }
    env.Box().WriteFile(kResolv, kResolvText);
    env.Box().WriteFile(kUbEnv, "ethaddr=00:50:c2:1a:2b:3c\n");
    EXPECT_EQ(CommandError("Get ip configuration failed!"), Ask(client, "<GetIpConfig/>"));
    EXPECT_TRUE(WaitForLog(env, "GetUbVar failed: ipaddr\n"));
}

TEST(BoardProcess, FailingProgramsAreReportedAndKeepTheSettings) {
    Board board("setubenv settime");
    GatewayTestEnv& env = board.env;
    XmlClient& client = *board.client;

    ASSERT_TRUE(
        client.Send("<Message><SetIpConfig ipaddr=\"10.1.2.3\" DHCP=\"false\"/></Message>\r\n"
                    "<Message><SetServerTime timezone=\"UTC\" year=\"2026\" month=\"2\" "
                    "day=\"3\" hour=\"7\" min=\"5\" sec=\"9\"/></Message>\r\n"));
    ASSERT_NO_FATAL_FAILURE(Sync(client));
    EXPECT_TRUE(WaitForLog(env, "SetUbVar failed: dhcp, no\n"));
    EXPECT_TRUE(WaitForLog(env, "settime 020307052026.09 'UTC' failed"));
    // The first failed write ends the change before the network goes down.
    EXPECT_EQ("setubenv dhcp no\nsettime 020307052026.09 UTC\n", env.Box().ReadFile(kBoardLog));
    EXPECT_EQ(kEnv, env.Box().ReadFile(kUbEnv));
    EXPECT_EQ(kResolvText, env.Box().ReadFile(kResolv));
    EXPECT_FALSE(env.Box().Exists("/etc/timezone"));
}

}  // namespace
