// The service in this process, against fake controllers: one connection per
// active port, none for an inactive one, and the restart five seconds after a
// new configuration file changes an active flag. The client that writes the
// file comes with the client sessions; here the test writes it and calls
// RestartOxService as the session will. Which changes need a restart is
// checked in the configuration tests.
#include "conn_fixture.h"
#include "oxconf.h"
#include "oxservice.h"
#include "sandbox.h"

#include <gtest/gtest.h>

namespace {

using conntest::ConnectionTest;

std::string Config(const std::vector<int>& ports) {
    std::string text = "<Configuration version=\"1\"><Network port=\"2000\"/>";
    for (int port : ports)
        text += "<ConnectCom port=\"" + std::to_string(port) +
                "\"><EventLog maxAgeDays=\"30\" logAlarms=\"false\"/></ConnectCom>";
    return text + "</Configuration>";
}

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

TEST_F(Service, ActivePortsConnectAndAChangedActiveFlagRestartsAfterFiveSeconds) {
    FakeController one(ip_, 2001), two(ip_, 2002), three(ip_, 2003);
    WriteConfig(Config({1, 2}));
    OxService::Instance()->StartOxService();
    ASSERT_TRUE(one.Accept(2000));
    ASSERT_TRUE(two.Accept(2000));
    EXPECT_EQ(nullptr, OxService::Instance()->GetConnection(3));
    EXPECT_EQ(2u, OxConnectionMan::Instance()->Count());
    // Port 3 gets no socket.
    EXPECT_FALSE(three.Accept(0));

    // The file lies below the running program's application path.
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

}  // namespace
