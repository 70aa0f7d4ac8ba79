// The commands a client has sent to the machine, as the controller receives
// them: number formats, and the DHCP server of a direct computer.
#include "conn_fixture.h"
#include "machineworld.h"
#include "oxconf.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace conntest;

class Commands : public ConnectionTest {
  protected:
    void TearDown() override {
        OxConfiguration::Instance()->ClearConnectionCfg();
        ConnectionTest::TearDown();
    }
};

TEST_F(Commands, NumberFormats) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));

    conn.ChangeParm(0.1, 2001);
    EXPECT_EQ("exe 5 $2001.201(0.1);", Next(ctl));
    conn.ChangeParm(-1234567.125, 2002);
    EXPECT_EQ("exe 5 $2002.201(-1234567.125);", Next(ctl));
    conn.ChangeParm(123456789012345678.0, 2003);
    EXPECT_EQ("exe 5 $2003.201(1.23456789012346e+17);", Next(ctl));

    // Release keeps its value in brackets. The other methods, as the machine
    // receives them, are in the client command process test.
    conn.SetDevice(4001, OV_RELEASE, 7);
    EXPECT_EQ("exe 8 $4001.203(7);", Next(ctl));

    std::vector<double> args{1.5, 1234567.0, -0.25};
    conn.ExecuteFunction(6001, 6002, args);
    EXPECT_EQ("exe 101 $6001.100(6002,1.5,1.23457e+06,-0.25);", Next(ctl));
}

TEST_F(Commands, DirectComputerFunctionStartsTheDhcpServerFirst) {
    Sandbox box;
    BoardOnPath board(box.Root());

    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    // The store: an action object whose device id asks for the DHCP server,
    // and one whose id does not.
    Receive(conn, {"class Object { const number Id; };", "class Action : Object { number dId; };",
                   "new Action(7, 27);", "new Action(8, 3);"});
    std::vector<double> none;
    conn.ExecuteFunction(28039, 8, none);
    EXPECT_EQ("exe 101 $28039.100(8);", Next(ctl));
    conn.ExecuteFunction(28039, 99, none);  // not found: reported, sent all the same
    EXPECT_EQ("exe 101 $28039.100(99);", Next(ctl));
    EXPECT_FALSE(box.Exists("/var/log/board.log"));
    conn.ExecuteFunction(28039, 7, none);
    EXPECT_EQ("exe 101 $28039.100(7);", Next(ctl));
    std::string log;
    for (int i = 0; i < 100 && log.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        log = box.ReadFile("/var/log/board.log");
    }
    EXPECT_EQ("start-udhcpd \n", log);
}

}  // namespace
