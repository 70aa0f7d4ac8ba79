// The texts and messages of a connection: state and alarm event texts, time,
// server state and alarm event elements.
#include "conn_fixture.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace {

using conntest::MachineObjects;
using storetest::TestWorld;

// The texts of states and alarm events go out in every mode and alarm message
// of the process tests; only the boot loader's is not seen there.
TEST(ConnectionTextsDeathTest, OutOfRangeValuesAreProgrammingErrors) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_STREQ("Bootload", GetOxConnStateText(OXCS_BOOTLOAD));
    EXPECT_DEATH(GetOxConnStateText(OXCS_MAX), "state>=OXCS_NONE && state<OXCS_MAX");
    EXPECT_DEATH(GetOxConnStateText(static_cast<tagOxConnState>(-1)),
                 "state>=OXCS_NONE && state<OXCS_MAX");
    EXPECT_DEATH(GetAlarmEventTypeText(static_cast<tagAlarmEventType>(3)),
                 "type>=AET_ACTIVATED && type<=AET_ACTIVE");
    std::ostringstream out;
    EXPECT_DEATH(OxHistoricServerStateMsg_ToXml(out, SS_MAXIMUM), "state < SS_MAXIMUM");
}

TEST(TimeMessage, DateAloneOrWithTimeOfDay) {
    ACE_Date_Time date(3, 2, 2026, 7, 5, 9);
    std::ostringstream dateOnly;
    OxTimeMsg_ToXml(dateOnly, &date, false);
    EXPECT_EQ("<Time year=\"2026\" month=\"2\" day=\"3\"/>", dateOnly.str());
    std::ostringstream withTime;
    OxTimeMsg_ToXml(withTime, &date, true);
    EXPECT_EQ("<Time year=\"2026\" month=\"2\" day=\"3\" hour=\"7\" min=\"5\" sec=\"9\"/>",
              withTime.str());
}

// The time element of a message with the present time, cut out of the text.
std::string CutTime(std::string& text) {
    std::smatch match;
    std::regex time(
        "<Time year=\"[0-9]{4}\" month=\"[0-9]{1,2}\" day=\"[0-9]{1,2}\" hour=\"[0-9]{1,2}\" "
        "min=\"[0-9]{1,2}\" sec=\"[0-9]{1,2}\"/>");
    if (!std::regex_search(text, match, time))
        return std::string();
    std::string found = match.str();
    text.erase(static_cast<size_t>(match.position()), found.size());
    return found;
}

TEST(ServerStateMessage, ThreeStatesWithThePresentTime) {
    const char* names[] = {"Started", "Stopped", "Log Overflow"};
    for (int state = SS_STARTED; state < SS_MAXIMUM; ++state) {
        std::ostringstream out;
        ACE_Date_Time before;
        OxHistoricServerStateMsg_ToXml(out, static_cast<tagServerState>(state));
        std::string text = out.str();
        std::string time = CutTime(text);
        ASSERT_FALSE(time.empty()) << out.str();
        EXPECT_NE(std::string::npos, time.find("year=\"" + std::to_string(before.year()) + "\""));
        EXPECT_EQ(std::string("<Message><HistoricServerState state=\"") + names[state] +
                      "\"></HistoricServerState></Message>",
                  text);
    }
}

// An alarm of a pump in a section, with two possible replies.
class AlarmMessage : public ::testing::Test {
  protected:
    void SetUp() override {
        owner = objects.NumberValue(12, 0, "Pump");
        TestWorld& w = objects.world;
        w.AddAttr<OXStringObject>(owner, "Name", "string", TestWorld::String("Dosing pump"));
        alarm = objects.Alarm(500, 17, "%o stopped in %s; check %o", 3);
        w.AddAttr<OXComplexObject>(alarm, "Owner", "Pump", owner);
        w.AddAttr<OXNumberObject>(alarm, "Section", "number", TestWorld::Number(4));
        w.AddAttr<OXListObject>(alarm, "ReplyIdList", "list", MachineObjects::NumberList({1, 2}));
        w.AddAttr<OXListObject>(alarm, "ReplyStringList", "list",
                                MachineObjects::StringList({"Retry", "Stop"}));
        w.AddAttr<OXListObject>(alarm, "ReplyObjectList", "list",
                                MachineObjects::NumberList({12, 0}));
    }
    void TearDown() override {
        delete alarm;
        delete owner;
    }

    MachineObjects objects;
    OXComplexObject* owner = nullptr;
    OXComplexObject* alarm = nullptr;
};

TEST_F(AlarmMessage, MachineLanguageTextsAndReplies) {
    std::ostringstream out;
    OxAlarmEvent_ToXml(out, *alarm, "HistoricAlarmEvent", AET_ACTIVATED, nullptr);
    std::string text = out.str();
    ASSERT_FALSE(CutTime(text).empty()) << text;
    // The first "%o" and the first "%s" are replaced; a second "%o" stays.
    EXPECT_EQ(
        "<Message><HistoricAlarmEvent event=\"Activated\" type=\"17\" priority=\"3\" "
        "description=\"Dosing pump stopped in 4; check %o\"><Object id=\"500\"/>"
        "<ReplyList><Reply id=\"1\" text=\"Retry\" object=\"12\"/>"
        "<Reply id=\"2\" text=\"Stop\" object=\"0\"/></ReplyList>"
        "<Context><Object id=\"12\" section=\"4\"/></Context>"
        "</HistoricAlarmEvent></Message>",
        text);
    // The time stands right behind the opening element.
    EXPECT_EQ(0u, out.str().find("<Message><HistoricAlarmEvent event=\"Activated\""));
    EXPECT_NE(std::string::npos, out.str().find("check %o\"><Time year="));
}

TEST_F(AlarmMessage, LanguageGivesTextRepliesOwnerAndSection) {
    OxTextMap german{{"p12", "Dosierpumpe"},
                     {"p4", "Zone vier"},
                     {"a17",
                      "%o steht in %s; %o pr\xc3\xbc"
                      "fen"},
                     {"r1", "Nochmal"},
                     {"r2", "Halt"}};
    std::ostringstream out;
    OxAlarmEvent_ToXml(out, *alarm, "AlarmEvent", AET_DEACTIVATED, &german);
    std::string text = out.str();
    CutTime(text);
    EXPECT_EQ(
        "<Message><AlarmEvent event=\"Deactivated\" type=\"17\" priority=\"3\" "
        "description=\"Dosierpumpe steht in Zone vier; %o pr\xc3\xbc"
        "fen\"><Object id=\"500\"/>"
        "<ReplyList><Reply id=\"1\" text=\"Nochmal\" object=\"12\"/>"
        "<Reply id=\"2\" text=\"Halt\" object=\"0\"/></ReplyList>"
        "<Context><Object id=\"12\" section=\"4\"/></Context></AlarmEvent></Message>",
        text);
    // An owner given by number through Parent is named by the language too,
    // and is the one the context names.
    OXComplexObject* child = objects.Alarm(504, 17, "x");
    objects.world.AddAttr<OXNumberObject>(child, "Parent", "number", TestWorld::Number(12));
    std::ostringstream byParent;
    OxAlarmEvent_ToXml(byParent, *child, "AlarmEvent", AET_ACTIVE, &german);
    EXPECT_NE(std::string::npos,
              byParent.str().find("description=\"Dosierpumpe steht in %s; %o pr\xc3\xbc"
                                  "fen\""))
        << byParent.str();
    EXPECT_NE(std::string::npos, byParent.str().find("<Context><Object id=\"12\"/></Context>"));
    delete child;
    // An alarm of type 0 keeps the machine's text, in any language.
    OXComplexObject* plain = objects.Alarm(503, 0, "Lid %o open");
    objects.world.AddAttr<OXComplexObject>(plain, "Owner", "Pump", owner);
    std::ostringstream other;
    OxAlarmEvent_ToXml(other, *plain, "AlarmEvent", AET_ACTIVE, &german);
    EXPECT_NE(std::string::npos, other.str().find("description=\"Lid Dosierpumpe open\""))
        << other.str();
    EXPECT_NE(std::string::npos,
              other.str().find("<ReplyList></ReplyList><Context><Object id=\"12\"/></Context>"))
        << other.str();
    delete plain;
}

TEST_F(AlarmMessage, NameHoldingAMarkerIsNotReplacedAgain) {
    TestWorld& w = objects.world;
    OXComplexObject* odd = objects.NumberValue(13, 0, "Pump");
    w.AddAttr<OXStringObject>(odd, "Name", "string", TestWorld::String("pump %s"));
    OXComplexObject* other = objects.Alarm(501, 2, "%o in %s");
    w.AddAttr<OXComplexObject>(other, "Owner", "Pump", odd);
    w.AddAttr<OXNumberObject>(other, "Section", "number", TestWorld::Number(9));
    std::ostringstream out;
    OxAlarmEvent_ToXml(out, *other, "AlarmEvent", AET_ACTIVE, nullptr);
    EXPECT_NE(std::string::npos, out.str().find("event=\"Active\""));
    EXPECT_NE(std::string::npos, out.str().find("description=\"pump %s in 9\""));
    delete other;
    delete odd;
}

TEST(AlarmMessageBare, AlarmWithoutOwnerSectionOrRepliesKeepsItsText) {
    MachineObjects objects;
    OXComplexObject* alarm = objects.Alarm(502, 0, "Door %o open in %s", 0);
    std::ostringstream out;
    OxAlarmEvent_ToXml(out, *alarm, "HistoricAlarmEvent", AET_ACTIVATED, nullptr);
    std::string text = out.str();
    CutTime(text);
    EXPECT_EQ(
        "<Message><HistoricAlarmEvent event=\"Activated\" type=\"0\" priority=\"0\" "
        "description=\"Door %o open in %s\"><Object id=\"502\"/><ReplyList></ReplyList>"
        "</HistoricAlarmEvent></Message>",
        text);
    delete alarm;
}

}  // namespace
