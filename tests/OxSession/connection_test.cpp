// A machine connection in this process: its states and what they trigger,
// the start conversation over a real socket, results and exceptions routed to
// their handlers, serial number, configuration state, alarm logging and mail.
#include "conn_fixture.h"
#include "eventlog.h"
#include "mdieditlink.h"
#include "oxalarmlogvisitor.h"
#include "oxconf.h"
#include "oxservice.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace conntest;

std::vector<std::string> LogLines(OxConnection& conn) {
    std::vector<std::string> lines;
    EventLog* log = conn.GetEventLog();
    if (log == nullptr)
        return lines;
    log->SeekToStart();
    std::string line;
    while (log->ReadNextLine(line))
        lines.push_back(line);
    return lines;
}

// A result of an exe command as the controller sends it.
void Res(OxConnection& conn, long exeId, long value = 0) {
    Receive(conn, {"res " + std::to_string(exeId) + " : " + std::to_string(value) + ";"});
}

class Connection : public ConnectionTest {
  protected:
    // Every test starts without event logs, whichever tests ran before it in
    // this process. Only ever below the sandbox root.
    void SetUp() override {
        ConnectionTest::SetUp();
        const std::string root = OxConfiguration::Instance()->GetAppPath();
        ASSERT_FALSE(root.empty());
        std::filesystem::remove_all(root + "/var/log/oxgw");
    }
    void TearDown() override {
        OxConnectionMan::DeleteInstance();
        OxConfiguration::Instance()->ClearConnectionCfg();
        ConnectionTest::TearDown();
    }
    // Takes the connection, without a controller, through Connecting to
    // Connected with the objects made in between: the link empties the store
    // when it asks for all objects.
    static void ConnectWith(OxConnection& conn, const std::vector<std::string>& objects) {
        conn.LinkModeChange(OXLink::OXLM_TORC);
        ASSERT_EQ(OXCS_CONNECTING, conn.GetState());
        Machine(conn, objects);
        Res(conn, OxConnection::EXE_DATE_TIME);
        ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    }
    static void LogAlarmsOn(int port) {
        OxConfiguration::Instance()->OxConnectCfg(port, "Line", 30, true);
    }
};

TEST_F(Connection, SessionsHearTheStateAtOnceAndAtEveryChange) {
    OxConnection conn(1);
    RecordingSession first, second;
    conn.Connect(&first);
    EXPECT_EQ(std::vector<tagOxConnState>{OXCS_NONE}, first.modes);

    conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
    EXPECT_EQ(OxDownload::CS_BOOTLOAD, conn.GetDownload().GetConnectionState());
    conn.Connect(&second);
    EXPECT_EQ(std::vector<tagOxConnState>{OXCS_BOOTLOAD}, second.modes);
    // The same mode again changes nothing.
    conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
    conn.LinkModeChange(OXLink::OXLM_TORC);
    EXPECT_EQ(OxDownload::CS_CONNECTING, conn.GetDownload().GetConnectionState());
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_NONE, OXCS_BOOTLOAD, OXCS_CONNECTING}),
              first.modes);
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_BOOTLOAD, OXCS_CONNECTING}), second.modes);

    conn.DisConnect(&first);
    conn.LinkModeChange(OXLink::OXLM_NONE);
    EXPECT_EQ(OxDownload::CS_NONE, conn.GetDownload().GetConnectionState());
    EXPECT_EQ(3u, first.modes.size());

    conn.TestPrintReceived("motor 3 started");
    EXPECT_TRUE(first.prints.empty());
    EXPECT_EQ(std::vector<std::string>{"motor 3 started"}, second.prints);
}

TEST_F(Connection, RestoringParametersHoldsBackTheRequestForAllObjects) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    // A download waiting for the machine's return restores at Connecting.
    conn.GetDownload().SetRestoreParameters(true);
    conn.GetDownload().SetState(OxDownload::DLS_WAITCONNECTED2);
    ASSERT_TRUE(ctl.Accept(3000));
    Pump(1500);
    EXPECT_EQ(OXCS_CONNECTING, conn.GetState());
    EXPECT_EQ(OxDownload::DLS_RESTOREPARMS, conn.GetDownload().GetState());
    EXPECT_TRUE(Quiet(ctl));
}

TEST_F(Connection, OutOfStepResultAsksForAllObjectsAgain) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    Machine(conn, {});
    Res(conn, 11);
    std::string frame;
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));  // exe 2

    Res(conn, 4);
    EXPECT_EQ(OXCS_CONNECTING, conn.GetState());
    EXPECT_FALSE(conn.GetConfigValid());
    EXPECT_TRUE(conn.GetLink()->WaitingForSync());
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    EXPECT_TRUE(Quiet(ctl));

    // The steps that follow are those of the start (the conversation tests
    // take them over the socket); a second result of exe 11 when connected
    // sends the attach again, and no state.
    Res(conn, 1);
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    ACE_Date_Time before;
    Res(conn, 11);
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_GE(conn.GetConnValidFrom().second() + 60 * conn.GetConnValidFrom().minute(),
              before.second() + 60 * before.minute());
    Res(conn, 11);
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 2  $   100 . 102 (5);", frame);
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_NONE, OXCS_CONNECTING, OXCS_CONNECTED,
                                           OXCS_CONNECTING, OXCS_CONNECTED}),
              session.modes);
    EXPECT_TRUE(Quiet(ctl));
}

TEST_F(Connection, ConfigurationStateFromObject401) {
    const struct {
        std::vector<std::string> objects;
        bool valid;
    } rows[] = {{{}, true}, {{"new State(401, 0);"}, false}, {{"new State(401, 1);"}, true}};
    for (const auto& row : rows) {
        OxConnection conn(1);
        ConnectWith(conn, row.objects);
        EXPECT_EQ(row.valid, conn.GetConfigValid()) << ::testing::PrintToString(row.objects);
        // Read when connecting only: a change while connected counts later.
        if (!row.objects.empty())
            Receive(conn, {row.valid ? "upd 401 (0);" : "upd 401 (1);"});
        EXPECT_EQ(row.valid, conn.GetConfigValid());
        conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
        EXPECT_FALSE(conn.GetConfigValid());
    }
}

TEST_F(Connection, SerialNumberNeedsBothPartsAndFollowsUpdatesWhenConnected) {
    OxConnection conn(1);
    ConnectWith(conn, {"new Value(124, 4711);"});
    EXPECT_EQ("", conn.GetSerialNo());
    Receive(conn, {"new Value(125, 42);", "upd 125 (42);"});
    EXPECT_EQ("4711-42", conn.GetSerialNo());
    Receive(conn, {"upd 124 (4800);"});
    EXPECT_EQ("4800-42", conn.GetSerialNo());

    // Not connected: the serial number is empty and updates leave it so.
    Res(conn, 4);
    Receive(conn, {"upd 124 (3);"});
    EXPECT_EQ("", conn.GetSerialNo());
}

// The enum form is the simulator's, whose Service mode the client commands
// process test sets; a plain number counts as well.
TEST_F(Connection, SystemStateFollowsObject134AsANumberToo) {
    OxConnection conn(1);
    Machine(conn, {"new Value(134, 3);"});
    EXPECT_EQ(0, conn.GetSystemStateRemote());  // made, not updated
    Receive(conn, {"upd 134 (3);"});
    EXPECT_EQ(3, conn.GetSystemStateRemote());
}

TEST_F(Connection, ActiveAlarmsEnterANewLogOnce) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    // Objects of other classes, and an alarm of a class derived from
    // "Alarm", are no alarms by their class name.
    ConnectWith(conn,
                {"new Value(124, 4711);", "new Value(125, 42);",
                 "new Alarm(500, 3, \"Low level\", 1);", "new Value(300, 1);",
                 "new Child(502, 5, \"derived\", 1, 0);", "new Alarm(501, 4, \"Door open\", 2);"});

    ASSERT_NE(nullptr, conn.GetEventLog());
    EXPECT_EQ("4711-42", conn.GetEventLog()->GetName());
    std::vector<std::string> lines = LogLines(conn);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[0].find("<Message><HistoricServerState state=\"Started\"><Time year="));
    EXPECT_EQ(0u, lines[1].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"3\""));
    EXPECT_EQ(0u, lines[2].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"4\""));

    // Out of step and connected again: the log is open, nothing is repeated.
    Res(conn, 4);
    Res(conn, 11);
    ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    EXPECT_EQ(3u, LogLines(conn).size());
}

TEST_F(Connection, NoLogWithoutAlarmLoggingOrSerialNumber) {
    {
        OxConnection conn(1);
        ConnectWith(conn, {"new Value(124, 4711);", "new Value(125, 42);",
                           "new Alarm(500, 3, \"Low level\", 1);"});
        EXPECT_EQ(nullptr, conn.GetEventLog());
        conn.LogAlarm(*conn.GetObjectManager().Lookup(500), AET_ACTIVE);
        EXPECT_FALSE(conn.RequestHistoricAlarms(nullptr));  // no session is asked
    }
    LogAlarmsOn(1);
    OxConnection conn(1);
    ConnectWith(conn, {"new Value(124, 1);"});
    EXPECT_EQ(nullptr, conn.GetEventLog());
}

TEST_F(Connection, AlarmsAreLoggedAndPassedOn) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    ConnectWith(conn, {"new Value(124, 4711);", "new Value(125, 42);"});
    session.events.clear();

    Receive(conn, {"new Alarm(502, 9, \"Overheat\", 1);"});
    Receive(conn, {"new Value(301, 1);", "upd 301 (2);", "del 502 ();", "del 301 ();"});
    std::vector<std::string> lines = LogLines(conn);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[1].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"9\""));
    EXPECT_EQ(0u, lines[2].find("<Message><HistoricAlarmEvent event=\"Deactivated\" type=\"9\""));
    EXPECT_EQ((std::vector<std::string>{"new 502", "new 301", "upd 301", "del 502", "del 301"}),
              session.events);

    // While connecting, an alarm is logged too.
    Res(conn, 4);
    Receive(conn, {"new Alarm(503, 1, \"Late\", 1);"});
    EXPECT_EQ(4u, LogLines(conn).size());
}

TEST_F(Connection, ExeIdsRunFrom1000To2000AndRoundAgain) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_TRUE(ctl.Accept(3000));
    Pump(100);
    std::string frame;
    // The first id is 1000, the 1001st 2000, then 1000 again.
    for (unsigned long expected = 1000; expected <= 2000; ++expected) {
        ASSERT_EQ(expected, conn.TransmitCommand(nullptr, "$ 7.204;"));
        ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
    }
    EXPECT_EQ("exe 2000l $ 7.204;", frame);
    EXPECT_EQ(1000u, conn.TransmitCommand(nullptr, "$ 7.204;"));
    // Nobody waits for any of these.
    EXPECT_EQ(0u, conn.WaitingHandlers());
}

TEST_F(Connection, ResultsAndExceptionsReachTheirHandlersOnce) {
    OxConnection conn(1);
    Receive(conn, MachineClasses());
    RecordingHandler first, second;
    unsigned long a = conn.TransmitCommand(&first, "$ 100.107 (\"x\");");
    unsigned long b = conn.TransmitCommand(&second, "$ 100.110 (1);");
    conn.TransmitCommand(&first, "$ 7.204;");  // 1002
    EXPECT_EQ(3u, conn.WaitingHandlers());

    Res(conn, b, 7);
    Res(conn, b, 8);
    EXPECT_TRUE(first.results.empty());
    EXPECT_EQ(std::vector<std::string>{"1001=7"}, second.results);

    conn.TransmitCommandRemoveHandler(a);
    Res(conn, a, 1);
    EXPECT_TRUE(first.results.empty());

    Receive(conn, {"exc 1002 : (7, \"no such function\");", "exc 1002 : (7, \"again\");"});
    EXPECT_EQ(std::vector<std::string>{"1002:no such function"}, first.exceptions);
    EXPECT_EQ(0u, conn.WaitingHandlers());
}

TEST_F(Connection, DuplicatedSerialNumbers) {
    OxConnectionMan* manager = OxConnectionMan::Instance();
    OxConnection* one = manager->OxGetConnection(1, true);
    OxConnection* two = manager->OxGetConnection(2, true);
    const std::vector<std::string> serial = {"new Value(124, 4711);", "new Value(125, 42);"};
    ConnectWith(*one, serial);
    EXPECT_FALSE(one->DuplicatedSerialNo());
    ConnectWith(*two, serial);
    EXPECT_TRUE(one->DuplicatedSerialNo());
    EXPECT_TRUE(two->DuplicatedSerialNo());

    Receive(*two, {"upd 125 (43);"});
    EXPECT_FALSE(one->DuplicatedSerialNo());

    // A connection that nobody holds goes in the walk.
    OxConnection* three = manager->OxGetConnection(3, true);
    three->DecRefCount();
    EXPECT_EQ(3u, manager->Count());
    EXPECT_FALSE(one->DuplicatedSerialNo());
    EXPECT_EQ(2u, manager->Count());
    EXPECT_EQ(nullptr, manager->OxGetConnection(3));
}

}  // namespace
