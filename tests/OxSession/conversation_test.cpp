// A connection in this process talking to a fake controller through the
// link and its parser: test mode, a client awaiting a command's answer, and
// handlers across a lost link. The store built from texts is checked in the
// connection tests, the start conversation and the reconnect after a lost
// link in the connection and link process tests.
#include "conn_fixture.h"
#include "machineworld.h"
#include "mdieditlink.h"
#include "oxconf.h"
#include "oxobjectmanager.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace conntest;

class Conversation : public ConnectionTest {
  protected:
    void TearDown() override {
        OxConfiguration::Instance()->ClearConnectionCfg();
        ConnectionTest::TearDown();
    }
    static void Send(FakeController& ctl, const std::vector<std::string>& frames) {
        for (const std::string& frame : frames)
            ASSERT_TRUE(ctl.SendFrame(frame)) << frame;
    }
    // From the request for all objects to the result of the attach.
    static void HandOver(FakeController& ctl, long serialLow) {
        ASSERT_NO_FATAL_FAILURE(Send(ctl, MachineWorld(serialLow)));
        ASSERT_NO_FATAL_FAILURE(Send(ctl, {"res 1 : 0;"}));
        EXPECT_EQ("exe 11 $ 100.109();", Next(ctl));
        ASSERT_NO_FATAL_FAILURE(Send(ctl, {"res 11 : 0;"}));
        EXPECT_EQ("exe 2  $   100 . 102 (5);", Next(ctl));
    }
};

TEST_F(Conversation, TestModeResetsAndRestartsTheTransfer) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    conn.SetTestMode(true);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, 42));
    ASSERT_EQ(OXCS_CONNECTED, conn.GetState());

    ASSERT_NO_FATAL_FAILURE(Send(ctl, {"res 2 : 0;"}));
    EXPECT_EQ("exe 3 $ 100.100();", Next(ctl));
    EXPECT_EQ(0, conn.GetObjectManager().GetObjectCount());
    // The emptied store is not taken for one out of step: no exe 4.
    EXPECT_TRUE(Quiet(ctl, 300));

    ASSERT_NO_FATAL_FAILURE(Send(ctl, {"res 3 : 0;"}));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", Next(ctl));
    EXPECT_TRUE(Quiet(ctl));
}

// Results and exceptions reach their handlers once in the connection tests;
// here a client that waits hears of an exception as a command error.
TEST_F(Conversation, ExceptionReachesAWaitingClientAsACommandError) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, 42));

    int fds[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, fds));
    auto* client = new OxSocketSession();
    client->peer().set_handle(fds[0]);
    unsigned long c = conn.TransmitCommand(client, "$ 7.204;");
    EXPECT_EQ("exe 1000l $ 7.204;", Next(ctl));
    ASSERT_NO_FATAL_FAILURE(
        Send(ctl, {"exc " + std::to_string(c) + " : (9, \"Object unknown\");"}));
    Pump(300);
    char buffer[200] = {};
    ssize_t n = recv(fds[1], buffer, sizeof buffer - 1, MSG_DONTWAIT);
    EXPECT_EQ(
        "<Message><CommandError description=\"Unknown Command  failed! - Exception: Object "
        "unknown\"/></Message>\r\n",
        std::string(buffer, n > 0 ? static_cast<size_t>(n) : 0));
    delete client;
    close(fds[1]);
}

TEST_F(Conversation, HandlersWaitingAcrossALostLinkHearNothing) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, 42));
    ASSERT_TRUE(conn.GetConfigValid());
    RecordingHandler handler;
    conn.TransmitCommand(&handler, "$ 100.110 (1);");
    EXPECT_EQ("exe 1000l $ 100.110 (1);", Next(ctl));
    EXPECT_EQ(1u, conn.WaitingHandlers());

    ctl.DropClient();
    for (int i = 0; i < 100 && conn.GetState() != OXCS_NONE; ++i)
        Pump(20);
    // The lost link resets all: state, serial number, configuration state,
    // the store and the waiting handlers, which are told nothing.
    ASSERT_EQ(OXCS_NONE, conn.GetState());
    EXPECT_EQ(OXLink::OXLM_NONE, conn.GetLinkMode());
    EXPECT_EQ(OXCS_NONE, session.modes.back());
    EXPECT_EQ("", conn.GetSerialNo());
    EXPECT_FALSE(conn.GetConfigValid());
    EXPECT_EQ(0, conn.GetObjectManager().GetObjectCount());
    EXPECT_EQ(0u, conn.WaitingHandlers());
    EXPECT_TRUE(handler.results.empty());
    EXPECT_TRUE(handler.exceptions.empty());
}

}  // namespace
