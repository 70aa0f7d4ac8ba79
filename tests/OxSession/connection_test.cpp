// A machine connection in this process: its states and what they trigger,
// the start conversation over a real socket, results and exceptions routed to
// their handlers, serial number, configuration state, alarm logging and mail.
#include "conn_fixture.h"
#include "eventlog.h"
#include "mdieditlink.h"
#include "oxalarmlogvisitor.h"
#include "oxconf.h"
#include "oxemailtask.h"
#include "oxservice.h"

#include <gtest/gtest.h>

#include <chrono>
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
    // The states a machine goes through up to Connected, without a
    // controller. The link empties the store when it asks for all objects, so
    // a test fills it between the two steps.
    static void Connecting(OxConnection& conn) {
        conn.LinkModeChange(OXLink::OXLM_TORC);
        ASSERT_EQ(OXCS_CONNECTING, conn.GetState());
    }
    static void Connected(OxConnection& conn) {
        conn.ResultReceived(OxConnection::EXE_DATE_TIME, *ResultValue(0));
        ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    }
    // Stores the serial number parts 124 and 125 in the connection's store.
    void AddSerial(OxConnection& conn, double high, double low) {
        conn.GetObjectManager().Add(*objects.NumberValue(124, high));
        conn.GetObjectManager().Add(*objects.NumberValue(125, low));
    }
    static void LogAlarmsOn(int port) {
        OxConfiguration::Instance()->OxConnectCfg(port, "Line", 30, true);
    }

    // Declared ahead of every connection of a test, so the declarations of
    // the objects outlive the stores that hold them.
    MachineObjects objects;
};

TEST_F(Connection, SessionsHearTheStateAtOnceAndAtEveryChange) {
    OxConnection conn(1);
    RecordingSession first, second;
    conn.Connect(&first);
    EXPECT_EQ(std::vector<tagOxConnState>{OXCS_NONE}, first.modes);

    conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
    EXPECT_EQ(OXCS_BOOTLOAD, conn.GetState());
    EXPECT_EQ(OxDownload::CS_BOOTLOAD, conn.GetDownload().GetConnectionState());
    conn.Connect(&second);
    EXPECT_EQ(std::vector<tagOxConnState>{OXCS_BOOTLOAD}, second.modes);

    // The same mode again changes nothing.
    conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
    EXPECT_EQ(2u, first.modes.size());

    conn.LinkModeChange(OXLink::OXLM_TORC);
    EXPECT_EQ(OXCS_CONNECTING, conn.GetState());
    EXPECT_EQ(OxDownload::CS_CONNECTING, conn.GetDownload().GetConnectionState());
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_NONE, OXCS_BOOTLOAD, OXCS_CONNECTING}),
              first.modes);
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_BOOTLOAD, OXCS_CONNECTING}), second.modes);

    EXPECT_EQ(&first, conn.GetSession(0));
    EXPECT_EQ(&second, conn.GetSession(1));
    EXPECT_EQ(nullptr, conn.GetSession(2));
    conn.DisConnect(&first);
    EXPECT_EQ(&second, conn.GetSession(0));
    EXPECT_EQ(nullptr, conn.GetSession(1));

    conn.LinkModeChange(OXLink::OXLM_NONE);
    EXPECT_EQ(OXCS_NONE, conn.GetState());
    EXPECT_EQ(OxDownload::CS_NONE, conn.GetDownload().GetConnectionState());
    EXPECT_EQ(3u, first.modes.size());
    EXPECT_EQ(OXCS_NONE, second.modes.back());

    conn.TestPrintReceived("motor 3 started");
    EXPECT_TRUE(first.prints.empty());
    EXPECT_EQ(std::vector<std::string>{"motor 3 started"}, second.prints);
}

TEST_F(Connection, NoAttachWhenAutoAttachIsOff) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    conn.SetAutoAttachOnConnect(false);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    conn.ResultReceived(11, *ResultValue(0));
    EXPECT_EQ(OXCS_CONNECTED, conn.GetState());
    EXPECT_TRUE(Quiet(ctl, 500));
}

TEST_F(Connection, RestoringParametersHoldsBackTheRequestForAllObjects) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    conn.GetDownload().SetState(OxDownload::DLS_RESTOREPARMS);
    ASSERT_TRUE(ctl.Accept(3000));
    Pump(1500);
    EXPECT_EQ(OXCS_CONNECTING, conn.GetState());
    EXPECT_TRUE(Quiet(ctl));
}

TEST_F(Connection, OutOfStepResultAsksForAllObjectsAgain) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
    AddSerial(conn, 1, 2);
    conn.ResultReceived(11, *ResultValue(0));
    std::string frame;
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));  // exe 2
    ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    ASSERT_EQ("1-2", conn.GetSerialNo());

    conn.ResultReceived(4, *ResultValue(0));
    EXPECT_EQ(OXCS_CONNECTING, conn.GetState());
    EXPECT_EQ(OXCS_CONNECTING, session.modes.back());
    EXPECT_EQ("", conn.GetSerialNo());
    EXPECT_FALSE(conn.GetConfigValid());
    EXPECT_TRUE(conn.GetLink()->WaitingForSync());
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    EXPECT_TRUE(Quiet(ctl));

    // The steps that follow are those of the start.
    conn.ResultReceived(1, *ResultValue(0));
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 11 $ 100.109();", frame);
    ACE_Date_Time before;
    conn.ResultReceived(11, *ResultValue(0));
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 2  $   100 . 102 (5);", frame);
    EXPECT_EQ(OXCS_CONNECTED, conn.GetState());
    EXPECT_EQ(OxDownload::CS_CONNECTED, conn.GetDownload().GetConnectionState());
    EXPECT_GE(conn.GetConnValidFrom().second() + 60 * conn.GetConnValidFrom().minute(),
              before.second() + 60 * before.minute());
    // The result of the attach closes the conversation without a reply; a
    // second result of exe 11 when connected sends exe 2 again, no state.
    conn.ResultReceived(2, *ResultValue(0));
    EXPECT_TRUE(Quiet(ctl));
    conn.ResultReceived(11, *ResultValue(0));
    ASSERT_TRUE(PumpRead(ctl, frame, 2000));
    EXPECT_EQ("exe 2  $   100 . 102 (5);", frame);
    EXPECT_EQ((std::vector<tagOxConnState>{OXCS_NONE, OXCS_CONNECTING, OXCS_CONNECTED,
                                           OXCS_CONNECTING, OXCS_CONNECTED}),
              session.modes);
    EXPECT_TRUE(Quiet(ctl));
}

TEST_F(Connection, ConfigurationStateFromObject401) {
    {
        OxConnection conn(1);
        Connecting(conn);
        Connected(conn);  // no object 401: valid
        EXPECT_TRUE(conn.GetConfigValid());
    }
    {
        OxConnection conn(1);
        Connecting(conn);
        conn.GetObjectManager().Add(*objects.EnumValue(401, 0));
        Connected(conn);
        EXPECT_FALSE(conn.GetConfigValid());
    }
    {
        OxConnection conn(1);
        Connecting(conn);
        conn.GetObjectManager().Add(*objects.EnumValue(401, 2));
        Connected(conn);
        EXPECT_TRUE(conn.GetConfigValid());
        conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
        EXPECT_FALSE(conn.GetConfigValid());
    }
}

TEST_F(Connection, SerialNumberNeedsBothPartsAndFollowsUpdatesWhenConnected) {
    OxConnection conn(1);
    Connecting(conn);
    OXComplexObject* high = objects.NumberValue(124, 4711.9);
    conn.GetObjectManager().Add(*high);
    Connected(conn);
    EXPECT_EQ("", conn.GetSerialNo());

    OXComplexObject* low = objects.NumberValue(125, 42);
    conn.GetObjectManager().Add(*low);
    conn.UpdatedObject(*low);
    EXPECT_EQ("4711-42", conn.GetSerialNo());

    high->GetNumberObject("Value")->SetValue(4800);
    conn.UpdatedObject(*high);
    EXPECT_EQ("4800-42", conn.GetSerialNo());

    // Not connected: the serial number is empty and updates leave it so.
    conn.ResultReceived(4, *ResultValue(0));
    EXPECT_EQ("", conn.GetSerialNo());
    conn.UpdatedObject(*high);
    EXPECT_EQ("", conn.GetSerialNo());
}

TEST_F(Connection, SystemStateFollowsObject134) {
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    OXComplexObject* state = objects.EnumValue(134, 5);
    // Not in the store yet: nothing to read.
    conn.UpdatedObject(*state);
    EXPECT_EQ(0, conn.GetSystemStateRemote());
    conn.GetObjectManager().Add(*state);
    conn.UpdatedObject(*state);
    EXPECT_EQ(5, conn.GetSystemStateRemote());
    EXPECT_EQ((std::vector<std::string>{"upd 134", "upd 134"}), session.events);

    OxConnection other(2);
    other.GetObjectManager().Add(*objects.NumberValue(134, 3));
    other.UpdatedObject(*other.GetObjectManager().Lookup(134));
    EXPECT_EQ(3, other.GetSystemStateRemote());
}

TEST_F(Connection, ActiveAlarmsEnterANewLogOnce) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    Connecting(conn);
    AddSerial(conn, 4711, 42);
    conn.GetObjectManager().Add(*objects.Alarm(500, 3, "Low level"));
    conn.GetObjectManager().Add(*objects.NumberValue(300, 1, "Sensor"));
    conn.GetObjectManager().Add(*objects.Alarm(501, 4, "Door open"));
    Connected(conn);

    ASSERT_NE(nullptr, conn.GetEventLog());
    EXPECT_EQ("4711-42", conn.GetEventLog()->GetName());
    std::vector<std::string> lines = LogLines(conn);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[0].find("<Message><HistoricServerState state=\"Started\"><Time year="));
    EXPECT_EQ(0u, lines[1].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"3\" "
                                "priority=\"1\" description=\"Low level\"><Time "));
    EXPECT_EQ(0u, lines[2].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"4\" "
                                "priority=\"1\" description=\"Door open\"><Time "));

    // Out of step and connected again: the log is open, nothing is repeated.
    conn.ResultReceived(4, *ResultValue(0));
    conn.ResultReceived(11, *ResultValue(0));
    ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    EXPECT_EQ(3u, LogLines(conn).size());
}

TEST_F(Connection, AlarmLogVisitorTakesOnlyAlarms) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    Connecting(conn);
    AddSerial(conn, 1, 2);
    Connected(conn);
    ASSERT_EQ(1u, LogLines(conn).size());

    OXAlarmLogVisitor visitor(conn);
    visitor.Visit(static_cast<OXComplexObject*>(nullptr));
    std::unique_ptr<OXComplexObject> sensor(objects.NumberValue(300, 1, "Sensor"));
    visitor.Visit(sensor.get());
    // An object derived from an alarm class is no "Alarm" by its class name.
    std::unique_ptr<OXComplexObject> derived(
        TestWorld::Complex("PumpAlarm", objects.Alarm(600, 1, "derived")));
    visitor.Visit(derived.get());
    std::unique_ptr<OXListObject> list(MachineObjects::NumberList({1, 2}));
    visitor.Visit(list.get());
    list->VisitElements(visitor);
    EXPECT_EQ(1u, LogLines(conn).size());

    std::unique_ptr<OXComplexObject> alarm(objects.Alarm(601, 8, "Fuse"));
    alarm->Accept(visitor);
    std::vector<std::string> lines = LogLines(conn);
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(0u, lines[1].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"8\" "
                                "priority=\"1\" description=\"Fuse\"><Time "));
}

TEST_F(Connection, NoLogWithoutAlarmLogging) {
    OxConnection conn(1);
    Connecting(conn);
    AddSerial(conn, 4711, 42);
    conn.GetObjectManager().Add(*objects.Alarm(500, 3, "Low level"));
    Connected(conn);
    EXPECT_EQ("4711-42", conn.GetSerialNo());
    EXPECT_EQ(nullptr, conn.GetEventLog());
    conn.LogAlarm(*conn.GetObjectManager().Lookup(500), AET_ACTIVE);
    EXPECT_FALSE(conn.RequestHistoricAlarms(nullptr));  // no session is asked
}

TEST_F(Connection, NoLogWithoutSerialNumber) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    Connecting(conn);
    conn.GetObjectManager().Add(*objects.NumberValue(124, 1));
    Connected(conn);
    EXPECT_EQ(nullptr, conn.GetEventLog());
}

TEST_F(Connection, AlarmsAreLoggedMailedAndPassedOn) {
    LogAlarmsOn(1);
    OxConnection conn(1);
    RecordingSession session;
    conn.Connect(&session);
    Connecting(conn);
    AddSerial(conn, 4711, 42);
    Connected(conn);
    ASSERT_EQ(1u, LogLines(conn).size());
    int mails = OxEMailTask::Instance()->JobsReceived();

    OXComplexObject* alarm = objects.Alarm(502, 9, "Overheat");
    conn.GetObjectManager().Add(*alarm);
    conn.NewObject(*alarm);
    EXPECT_EQ(mails + 1, OxEMailTask::Instance()->JobsReceived());
    auto* mail = dynamic_cast<const OxEMailAlarm*>(OxEMailTask::Instance()->LastJob());
    ASSERT_NE(nullptr, mail);
    EXPECT_EQ(9, mail->GetAlarmType());
    EXPECT_EQ("Overheat", mail->GetAlarmText());
    EXPECT_EQ("4711-42", mail->GetSerialNo());

    OXComplexObject* sensor = objects.NumberValue(301, 1, "Sensor");
    conn.GetObjectManager().Add(*sensor);
    conn.NewObject(*sensor);
    conn.UpdatedObject(*sensor);
    EXPECT_EQ(mails + 1, OxEMailTask::Instance()->JobsReceived());

    conn.GetObjectManager().Remove(*alarm);
    conn.DeletedObject(*alarm);
    delete alarm;
    conn.GetObjectManager().Remove(*sensor);
    conn.DeletedObject(*sensor);
    delete sensor;

    std::vector<std::string> lines = LogLines(conn);
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[1].find("<Message><HistoricAlarmEvent event=\"Activated\" type=\"9\""));
    EXPECT_EQ(0u, lines[2].find("<Message><HistoricAlarmEvent event=\"Deactivated\" type=\"9\""));
    EXPECT_EQ((std::vector<std::string>{"new 502", "new 301", "upd 301", "del 502", "del 301"}),
              session.events);

    // While connecting, an alarm is logged but not mailed.
    conn.ResultReceived(4, *ResultValue(0));
    OXComplexObject* late = objects.Alarm(503, 1, "Late");
    conn.GetObjectManager().Add(*late);
    conn.NewObject(*late);
    EXPECT_EQ(mails + 1, OxEMailTask::Instance()->JobsReceived());
    EXPECT_EQ(4u, LogLines(conn).size());
}

TEST_F(Connection, ExeIdsRunFrom1000To2000AndRoundAgain) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_TRUE(ctl.Accept(3000));
    Pump(100);
    std::string frame;
    EXPECT_EQ(1000u, conn.TransmitCommand(nullptr, "$ 100.110 (1);"));
    ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
    EXPECT_EQ("exe 1000l $ 100.110 (1);", frame);
    unsigned long id = 0;
    for (int i = 0; i < 1000; ++i) {
        id = conn.TransmitCommand(nullptr, "$ 7.204;");
        ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
    }
    EXPECT_EQ(2000u, id);
    EXPECT_EQ("exe 2000l $ 7.204;", frame);
    EXPECT_EQ(1000u, conn.TransmitCommand(nullptr, "$ 7.204;"));
    ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
    EXPECT_EQ("exe 1000l $ 7.204;", frame);
    // Nobody waits for any of these.
    EXPECT_EQ(0u, conn.WaitingHandlers());
}

TEST_F(Connection, ResultsAndExceptionsReachTheirHandlersOnce) {
    OxConnection conn(1);
    RecordingHandler first, second;
    unsigned long a = conn.TransmitCommand(&first, "$ 100.107 (\"x\");");
    unsigned long b = conn.TransmitCommand(&second, "$ 100.110 (1);");
    unsigned long c = conn.TransmitCommand(&first, "$ 7.204;");
    EXPECT_EQ(1000u, a);
    EXPECT_EQ(1001u, b);
    EXPECT_EQ(3u, conn.WaitingHandlers());

    conn.ResultReceived(b, *ResultValue(7));
    conn.ResultReceived(b, *ResultValue(8));
    EXPECT_TRUE(first.results.empty());
    EXPECT_EQ(std::vector<std::string>{"1001=7"}, second.results);

    conn.TransmitCommandRemoveHandler(a);
    conn.ResultReceived(a, *ResultValue(1));
    EXPECT_TRUE(first.results.empty());

    std::unique_ptr<OXComplexObject> failure(objects.Exception("no such function"));
    conn.ExceptionReceived(c, *failure);
    conn.ExceptionReceived(c, *failure);
    EXPECT_EQ(std::vector<std::string>{"1002:no such function"}, first.exceptions);
    EXPECT_TRUE(first.results.empty());
    EXPECT_EQ(0u, conn.WaitingHandlers());

    // A result nobody waits for, and one with a fixed id, reach no handler.
    conn.ResultReceived(1500, *ResultValue(1));
    EXPECT_EQ(1u, second.results.size());
}

TEST_F(Connection, DuplicatedSerialNumbers) {
    OxConnectionMan* manager = OxConnectionMan::Instance();
    OxConnection* one = manager->OxGetConnection(1, true);
    OxConnection* two = manager->OxGetConnection(2, true);
    Connecting(*one);
    Connecting(*two);
    AddSerial(*one, 4711, 42);
    AddSerial(*two, 4711, 42);
    EXPECT_FALSE(one->DuplicatedSerialNo());  // no serial number yet
    Connected(*one);
    EXPECT_FALSE(one->DuplicatedSerialNo());
    Connected(*two);
    EXPECT_TRUE(one->DuplicatedSerialNo());
    EXPECT_TRUE(two->DuplicatedSerialNo());
    EXPECT_EQ(1, one->GetRefCount());
    EXPECT_EQ(1, two->GetRefCount());

    OXObject* low = two->GetObjectManager().Lookup(125);
    low->GetNumberObject("Value")->SetValue(43);
    two->UpdatedObject(*low);
    EXPECT_FALSE(one->DuplicatedSerialNo());

    // A connection that nobody holds goes in the walk.
    OxConnection* three = manager->OxGetConnection(3, true);
    three->DecRefCount();
    EXPECT_EQ(0, three->DecRefCount());  // never below 0
    EXPECT_EQ(3u, manager->Count());
    EXPECT_FALSE(one->DuplicatedSerialNo());
    EXPECT_EQ(2u, manager->Count());
    EXPECT_EQ(nullptr, manager->OxGetConnection(3));
}

TEST(ConnectionDeathTest, UnknownLinkModeIsAProgrammingError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv("OXGW_APPLICATION_IP", UniqueLoopbackIp().c_str(), 1);
    EXPECT_DEATH(
        {
            OxConnection conn(1);
            conn.LinkModeChange(static_cast<OXLink::tagLinkMode>(7));
        },
        "false");
}

}  // namespace
