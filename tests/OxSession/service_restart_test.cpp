// The service in this process, against fake controllers: one connection per
// active port, none for an inactive one, and the restart five seconds after a
// new configuration file changes an active flag. The client that writes the
// file comes with the client sessions; here the test writes it and calls
// RestartOxService as the session will.
#include "conn_fixture.h"
#include "oxconf.h"
#include "oxservice.h"
#include "sandbox.h"

#include <gtest/gtest.h>

namespace {

using conntest::ConnectionTest;

std::string Config(const std::vector<int>& ports, const std::string& extra = "") {
    std::string text = "<Configuration version=\"1\"><Network port=\"2000\"/>";
    for (int port : ports)
        text += "<ConnectCom port=\"" + std::to_string(port) +
                "\"><EventLog maxAgeDays=\"30\" logAlarms=\"false\"/></ConnectCom>";
    return text + extra + "</Configuration>";
}

const char* const kMailAccount =
    "<Email SMTP=\"smtp.plant.local\" Name=\"Line 4\" From=\"line4@plant.local\" "
    "To=\"shift@plant.local\" Subject=\"Alarm\" Message=\"Check.\" MAPI=\"\" AlarmType=\"3\" "
    "accessLevel=\"User\" dialUp=\"false\" active=\"true\" emailType=\"Alarm\" updateTime=\"0\" "
    "groups=\"false\" parameters=\"false\" inputDevices=\"false\" outputDevices=\"false\" "
    "definitions=\"false\"/>";

class Service : public ConnectionTest {
  protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        OxConfiguration::Instance()->SetAppPath(box_.Root());
    }
    void TearDown() override {
        // A restart still pending must not outlive the service.
        ACE_Reactor::instance()->cancel_timer(OxService::Instance());
        OxService::DeleteInstance();
        OxConnectionMan::DeleteInstance();
        OxConfiguration::Instance()->ClearConnectionCfg();
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
        ConnectionTest::TearDown();
    }
    void WriteConfig(const std::string& text) { box_.WriteFile("/etc/torc2/oxgwcfg.xml", text); }

    Sandbox box_;
};

TEST_F(Service, ActivePortsConnectAndInactiveOnesDoNot) {
    FakeController one(ip_, 2001), two(ip_, 2002), three(ip_, 2003), four(ip_, 2004);
    WriteConfig(Config({1, 2, 4}));
    OxService::Instance()->StartOxService();
    EXPECT_TRUE(one.Accept(2000));
    EXPECT_TRUE(two.Accept(2000));
    EXPECT_TRUE(four.Accept(2000));
    EXPECT_NE(nullptr, OxService::Instance()->GetConnection(1));
    EXPECT_EQ(nullptr, OxService::Instance()->GetConnection(3));
    EXPECT_EQ(3u, OxConnectionMan::Instance()->Count());

    // Each active port begins its own conversation; port 3 gets no socket.
    std::string frame;
    ASSERT_TRUE(PumpRead(one, frame, 3000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    ASSERT_TRUE(PumpRead(two, frame, 3000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    ASSERT_TRUE(PumpRead(four, frame, 3000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    EXPECT_FALSE(three.Accept(0));
    for (int port : {1, 2, 4})
        EXPECT_EQ(OXCS_CONNECTING, OxService::Instance()->GetConnection(port)->GetState());
}

TEST_F(Service, ChangedActiveFlagRestartsTheServiceAfterFiveSeconds) {
    FakeController one(ip_, 2001), two(ip_, 2002);
    WriteConfig(Config({1, 2}));
    OxService::Instance()->StartOxService();
    ASSERT_TRUE(one.Accept(2000));
    ASSERT_TRUE(two.Accept(2000));

    WriteConfig(Config({1}));
    auto asked = std::chrono::steady_clock::now();
    OxService::Instance()->RestartOxService();
    Pump(4000);
    // Nothing happens before the five seconds are up.
    EXPECT_NE(nullptr, OxService::Instance()->GetConnection(2));
    EXPECT_FALSE(two.WaitForClose(50));

    bool closed = false;
    while (!closed && std::chrono::steady_clock::now() - asked < std::chrono::seconds(9)) {
        Pump(50);
        closed = two.WaitForClose(20);
    }
    EXPECT_TRUE(closed);
    EXPECT_GE(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(4900));
    EXPECT_EQ(nullptr, OxService::Instance()->GetConnection(2));
    ASSERT_NE(nullptr, OxService::Instance()->GetConnection(1));
    EXPECT_EQ(1u, OxConnectionMan::Instance()->Count());
    // Port 1 stays active, but its connection was closed and opened anew.
    EXPECT_TRUE(one.Accept(3000));
    EXPECT_EQ(2, one.Accepts());
    EXPECT_EQ(1, two.Accepts());
}

TEST_F(Service, MailOnlyChangeCausesNoRestart) {
    FakeController one(ip_, 2001);
    WriteConfig(Config({1}));
    OxService::Instance()->StartOxService();
    ASSERT_TRUE(one.Accept(2000));
    OxConnection* before = OxService::Instance()->GetConnection(1);

    WriteConfig(Config({1}, kMailAccount));
    OxService::Instance()->RestartOxService();
    Pump(6500);
    EXPECT_EQ(before, OxService::Instance()->GetConnection(1));
    EXPECT_EQ(1u, OxConnectionMan::Instance()->Count());
    EXPECT_FALSE(one.WaitForClose(50));
    EXPECT_FALSE(one.Accept(0));
    EXPECT_EQ(1, one.Accepts());
}

}  // namespace
