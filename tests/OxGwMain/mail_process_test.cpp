// Alarm and status mail of the real gateway: alarms raised on a fake
// controller go through the omta stand-in's queue to a real SMTP server on
// loopback, routed by each account's alarm types; a status account gets the
// status report after its timer; a failed delivery keeps the queue; mail
// never holds up the clients.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <filesystem>
#include <netinet/in.h>
#include <regex>
#include <set>
#include <sys/socket.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
constexpr int kWaitMs = 20000;

// The SMTP server: tools/smtpsink.py, one file per message received.
class SmtpSink {
  public:
    SmtpSink(const Sandbox& box, const std::string& ip, int port) : dir_(box.Path("/smtp")) {
        process_ = std::make_unique<GatewayProcess>(
            box.Root(), std::vector<std::string>{ip, std::to_string(port), dir_},
            std::map<std::string, std::string>{},
            std::string(OXGW_SOURCE_DIR) + "/tools/smtpsink.py");
        EXPECT_TRUE(process_->WaitForStdout("smtpsink: listening", kWaitMs)) << process_->Stderr();
    }
    // The messages received so far, in order, once count have come.
    std::vector<std::string> Mails(size_t count) const {
        std::vector<std::string> mails;
        auto arrived = [&] {
            mails.clear();
            std::set<fs::path> names;
            for (const auto& entry : fs::directory_iterator(dir_))
                if (entry.path().extension() == ".eml")
                    names.insert(entry.path());
            for (const auto& name : names)
                mails.push_back(ReadWholeFile(name));
            return mails.size() >= count;
        };
        WaitUntil(arrived, kWaitMs, 50);
        return mails;
    }

  private:
    std::string dir_;
    std::unique_ptr<GatewayProcess> process_;
};

std::string Account(const std::string& smtp, const std::string& to, const std::string& types,
                    const std::string& more) {
    return "<Email SMTP=\"" + smtp + "\" Name=\"Line 4\" From=\"line4@plant\" To=\"" + to +
           "\" Subject=\"Alarm !ALARMTYPE on !SERNO\" Message=\"!ALARMTEXT!NL!NL!ALARMTEXT at "
           "!TIME\" MAPI=\"\" AlarmType=\"" +
           types + "\" accessLevel=\"Admin\" active=\"true\" " + more + "/>";
}

// A gateway whose mail accounts reach the sink on the test's address.
struct MailGateway {
    explicit MailGateway(int port) {
        GatewayOptions options;
        options.ports = {port};
        env = std::make_unique<GatewayTestEnv>(options);
        smtpPort = FreeTcpPort(env->Ip());
        smtp = env->Ip() + ":" + std::to_string(smtpPort);
        Sandbox& box = env->Box();
        box.WriteFile("/etc/omta.conf", "# queue of the board\nSMTPserver = localhost\n");
        box.MakeDir("/home/service");
        box.MakeDir("/usr/bin");
        fs::create_symlink(std::string(OXGW_SOURCE_DIR) + "/tools/board/repareQueue",
                           box.Path("/usr/bin/repareQueue"));
    }
    // Rewrites the configuration with the accounts, now that the sink's
    // address is known, and starts the gateway connected to the machine.
    // The machine world, and more objects behind it.
    void Start(int port, const std::string& accounts, const std::vector<std::string>& more = {}) {
        std::string config = env->ConfigText();
        config.insert(config.find("</Configuration>"), accounts);
        env->Box().WriteFile("/etc/torc2/oxgwcfg.xml", config);
        ctl = std::make_unique<FakeController>(env->Ip(), 2000 + port);
        gw = env->Start();
        std::string why;
        objects = 6 + std::count_if(more.begin(), more.end(),
                                    [](const std::string& t) { return t.rfind("new ", 0) == 0; });
        std::vector<std::string> world = MachineWorld(42, objects);
        world.insert(world.end(), more.begin(), more.end());
        ASSERT_TRUE(ctl->HandOver(world, kWaitMs, why)) << why;
        ASSERT_TRUE(
            gw->WaitForStdout(Shown("COM " + std::to_string(port) + ": Connected\n"), kWaitMs));
    }
    // A new alarm, numbered on from 502, announcing the new object total.
    std::string NewAlarm(int type, const std::string& text) {
        ++objects;
        return "new Alarm(" + std::to_string(nextAlarm++) + ", " + std::to_string(objects) + ", " +
               std::to_string(type) + ", \"" + text + "\", 1);";
    }
    std::string BoardLog() { return env->Box().ReadFile("/var/log/board.log"); }
    size_t Queued() {
        std::string dir = env->Box().Path("/var/spool/omtaqueue");
        return fs::exists(dir) ? std::distance(fs::directory_iterator(dir), {}) : 0;
    }

    std::unique_ptr<GatewayTestEnv> env;
    int smtpPort = 0;
    std::string smtp;
    std::unique_ptr<FakeController> ctl;
    std::unique_ptr<GatewayProcess> gw;
    long objects = 0;
    int nextAlarm = 502;
};

// Waits until the board log holds the text count times.
bool WaitForBoard(MailGateway& m, const std::string& text, int count) {
    return WaitUntil([&] { return CountOccurrences(m.BoardLog(), text) >= count; }, kWaitMs);
}

}  // namespace

// Three accounts: alarm types 3 and 5 to 7, alarm types 1 and 2, and a
// status account with a single report (interval 0) of the parameters its
// level (Admin) may read. Each alarm goes to the accounts whose types hold
// it; the status account gets its report only.
TEST(MailProcess, AlarmsAndStatusReportRoutedPerAccount) {
    MailGateway m(3);
    SmtpSink sink(m.env->Box(), m.env->Ip(), m.smtpPort);
    std::string accounts =
        Account(m.smtp, "ops@plant;chief@plant;", "3,5-7", "emailType=\"Alarm\"") +
        Account(m.smtp, "fitter@plant;", "1,2", "emailType=\"Alarm\"") +
        Account(m.smtp, "status@plant;", "1-99",
                "emailType=\"Status\" updateTime=\"0\" parameters=\"true\"");
    ASSERT_NO_FATAL_FAILURE(
        m.Start(3, accounts,
                {"class NumParameter : Object { tagAccessRight ReadAccess; number Value; };",
                 "new NumParameter(2001, 8, 1, 125);", "new NumParameter(2002, 8, 3, 70);"}));

    // The report comes 5 s after the configuration, once the serial number
    // is known, and no second one follows.
    std::vector<std::string> mails = sink.Mails(1);
    ASSERT_EQ(1u, mails.size());
    std::string dump = m.env->Box().ReadFile("/home/service/statusdump.xml");
    dump = std::regex_replace(dump, std::regex("\r\n"), "\n");  // as the sink writes it
    EXPECT_EQ(
        "<HMEmailStatus>\n<Info ver=\"1.0\" name=\"\" serial=\"4711-42\"/>\n"
        "<NumPar id=\"2001\" val=\"125\" />\n</HMEmailStatus>\n",
        dump);
    EXPECT_EQ(fs::perms(0664),
              fs::status(m.env->Box().Path("/home/service/statusdump.xml")).permissions());
    EXPECT_EQ(
        "MAIL FROM:<line4@plant>\nRCPT TO:<status@plant>\n\nFrom: line4@plant\n"
        "To: status@plant; \nSubject: Alarm !ALARMTYPE on !SERNO(S/N: 4711-42)\n\n" +
            dump + "\n",
        mails[0]);

    // A burst: three alarms and one of another account in one frame, queued
    // first and delivered by one queue run.
    int runs = CountOccurrences(m.BoardLog(), "omta -q");
    std::string burst;
    for (auto [type, text] :
         {std::pair{6, "Pump dry"}, {2, "Belt"}, {5, "Door"}, {9, "None"}, {7, "Heat"}})
        burst += m.NewAlarm(type, text) + '\0';
    ASSERT_TRUE(m.ctl->Send(burst));
    mails = sink.Mails(5);
    ASSERT_EQ(5u, mails.size());
    EXPECT_EQ(runs + 1, CountOccurrences(m.BoardLog(), "omta -q"));
    EXPECT_EQ(5, CountOccurrences(m.BoardLog(), "omta \n"));
    const std::regex first(
        "MAIL FROM:<line4@plant>\nRCPT TO:<ops@plant>\nRCPT TO:<chief@plant>\n\n"
        "From: line4@plant\nTo: ops@plant; chief@plant; \nSubject: Alarm 6 on 4711-42\n\n"
        "Pump dry\n\nPump dry at [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\n");
    EXPECT_TRUE(std::regex_match(mails[1], first)) << mails[1];
    const char* const routed[][2] = {
        {"RCPT TO:<fitter@plant>", "Subject: Alarm 2 on 4711-42"},
        {"RCPT TO:<ops@plant>", "Subject: Alarm 5 on 4711-42"},
        {"RCPT TO:<ops@plant>", "Subject: Alarm 7 on 4711-42"},
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(std::string::npos, mails[i + 2].find(routed[i][0])) << mails[i + 2];
        EXPECT_NE(std::string::npos, mails[i + 2].find(routed[i][1])) << mails[i + 2];
    }
    EXPECT_EQ(0u, m.Queued());
    EXPECT_EQ(1, CountOccurrences(DebugLog(*m.env), "OxEMailTask: Email #2 status dump"));
    // The server's line of the queue's configuration names the account's.
    EXPECT_EQ("# queue of the board\nSMTPserver = " + m.smtp + "\n",
              m.env->Box().ReadFile("/etc/omta.conf"));
    StopGateway(*m.gw);
}

// An account that dials up first, and a status account that waits for its
// machine. No server takes the mail: the queue keeps
// it, is trimmed and repaired, and the next run after the next alarm
// delivers both. Then the server stalls:
// clients still get their events while the queue run waits.
TEST(MailProcess, UndeliveredMailStaysQueuedAndNeverHoldsUpClients) {
    MailGateway m(1);
    ASSERT_NO_FATAL_FAILURE(
        m.Start(1, Account(m.smtp, "ops@plant;", "1-9", "emailType=\"Alarm\" dialUp=\"true\"") +
                       Account(m.smtp, "status@plant;", "", "emailType=\"Status\"")));
    ASSERT_TRUE(m.ctl->SendFrame(m.NewAlarm(6, "Pump dry")));
    ASSERT_TRUE(WaitForBoard(m, "repareQueue", 1)) << m.BoardLog();
    EXPECT_EQ(1u, m.Queued());
    // The queue is trimmed after the failed run (and at start, where the
    // log may not take the line yet).
    std::string log = DebugLog(*m.env);
    size_t failed = log.find("omta -q terminated, exitcode: 256");
    ASSERT_NE(std::string::npos, failed);
    EXPECT_NE(
        std::string::npos,
        log.find("less than 300 kBytes in " + m.env->Box().Path("/var/spool/omtaqueue/"), failed));

    {
        SmtpSink sink(m.env->Box(), m.env->Ip(), m.smtpPort);
        ASSERT_TRUE(m.ctl->SendFrame(m.NewAlarm(4, "Door")));
        std::vector<std::string> mails = sink.Mails(2);
        ASSERT_EQ(2u, mails.size());
        EXPECT_NE(std::string::npos, mails[0].find("Subject: Alarm 6 on 4711-42\n"));
        EXPECT_NE(std::string::npos, mails[1].find("Subject: Alarm 4 on 4711-42\n"));
        EXPECT_EQ(0u, m.Queued());
    }

    // A server that takes the connection and never answers.
    int stalled = socket(AF_INET, SOCK_STREAM, 0);
    int on = 1;  // the sink's connections may linger on the port
    setsockopt(stalled, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(m.smtpPort));
    inet_pton(AF_INET, m.env->Ip().c_str(), &addr.sin_addr);
    ASSERT_EQ(0, bind(stalled, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
    ASSERT_EQ(0, listen(stalled, 4));
    XmlClient client(m.env->ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(client));
    ASSERT_NO_FATAL_FAILURE(LogOn(client, "level=\"Service\" userId=\"u\"", nullptr));
    int runs = CountOccurrences(m.BoardLog(), "omta -q");
    ASSERT_TRUE(m.ctl->SendFrame(m.NewAlarm(3, "Stalled")));
    ASSERT_TRUE(WaitForBoard(m, "omta -q", runs + 1));
    ASSERT_TRUE(m.ctl->SendFrame(m.NewAlarm(8, "Meanwhile")));
    std::string line;
    ASSERT_TRUE(SkipTo(client, "<Message><AlarmEvent event=\"Activated\" type=\"8\"", line));
    EXPECT_EQ(1u, m.Queued()) << "the queue run is still waiting for the server";
    EXPECT_EQ(runs + 1, CountOccurrences(m.BoardLog(), "omta -q"));
    close(stalled);  // the run fails at once and the gateway can stop
    ASSERT_TRUE(WaitForBoard(m, "repareQueue", 2)) << m.BoardLog();
    StopGateway(*m.gw);
    // The account dialled up for each of its four alarms and hung up behind.
    EXPECT_EQ(4, CountOccurrences(m.BoardLog(), "wvdial hmras\nifconfig ppp0\n"));
    EXPECT_EQ(4, CountOccurrences(m.BoardLog(), "wvdial hung up\n"));
    // Without the machine on port 3 the status timer waits, every 5 s.
    EXPECT_LE(2, CountOccurrences(DebugLog(*m.env), "OxEMailTask: Email #1 wating for serialno"));
    EXPECT_EQ(std::string::npos, DebugLog(*m.env).find("status dump"));
}

// Without accounts an alarm queues nothing.
TEST(MailProcess, NoAccountsNothingQueued) {
    MailGateway m(1);
    ASSERT_NO_FATAL_FAILURE(m.Start(1, ""));
    ASSERT_TRUE(m.ctl->SendFrame(m.NewAlarm(6, "Pump dry")));
    ASSERT_TRUE(WaitForLog(*m.env, "SendMail...", kWaitMs));
    EXPECT_EQ(std::string::npos, DebugLog(*m.env).find("OxEMailTask: enqueued"));
    EXPECT_EQ(std::string::npos, m.BoardLog().find("omta"));
    EXPECT_EQ(0u, m.Queued());
    StopGateway(*m.gw);
}
