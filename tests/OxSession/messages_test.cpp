// The texts and messages of a connection: state and alarm event texts, time,
// server state and alarm event elements.
#include "conn_fixture.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace {

using conntest::MachineClasses;
using conntest::Receive;

// The texts of states, server states and alarm events go out in every mode
// and alarm message of the process tests; only the boot loader's is not seen
// there.
TEST(ConnectionTexts, BootLoader) {
    EXPECT_STREQ("Bootload", GetOxConnStateText(OXCS_BOOTLOAD));
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

// An alarm of a pump in a section, with two possible replies, made by a
// parser from the controller's texts.
class AlarmMessage : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(parser.Create(nullptr));
        Receive(parser, MachineClasses());
        Receive(parser, {"new Pump(12, 0, \"Dosing pump\");",
                         "new Replied(500, 17, \"%o stopped in %s; check %o\", 3, @12, 4, (1, 2), "
                         "(\"Retry\", \"Stop\"), (12, 0));"});
    }
    std::string Event(long id, const char* element, tagAlarmEventType type,
                      const OxTextMap* language) {
        std::ostringstream out;
        OxAlarmEvent_ToXml(out, *parser.GetObjectManager().Lookup(id), element, type, language);
        return out.str();
    }
    OXCommandParser parser;
};

TEST_F(AlarmMessage, MachineLanguageTextsAndReplies) {
    const std::string out = Event(500, "HistoricAlarmEvent", AET_ACTIVATED, nullptr);
    std::string text = out;
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
    EXPECT_NE(std::string::npos, out.find("check %o\"><Time year="));
}

// The language's alarm text, replies, owner and section names reach every
// client in the fan-out process test; here an owner given by number through
// Parent, named by the language too and the one the context names, and an
// alarm of type 0 that keeps the machine's text in any language.
TEST_F(AlarmMessage, LanguageNamesAParentOwnerAndTypeZeroKeepsTheMachineText) {
    OxTextMap german{{"p12", "Dosierpumpe"},
                     {"p4", "Zone vier"},
                     {"a17",
                      "%o steht in %s; %o pr\xc3\xbc"
                      "fen"}};
    Receive(parser,
            {"new Child(504, 17, \"x\", 1, 12);", "new Owned(503, 0, \"Lid %o open\", 1, @12);"});
    const std::string byParent = Event(504, "AlarmEvent", AET_ACTIVE, &german);
    EXPECT_NE(std::string::npos,
              byParent.find("description=\"Dosierpumpe steht in %s; %o pr\xc3\xbc"
                            "fen\""))
        << byParent;
    EXPECT_NE(std::string::npos, byParent.find("<Context><Object id=\"12\"/></Context>"));
    const std::string plain = Event(503, "AlarmEvent", AET_ACTIVE, &german);
    EXPECT_NE(std::string::npos, plain.find("description=\"Lid Dosierpumpe open\"")) << plain;
    EXPECT_NE(std::string::npos,
              plain.find("<ReplyList></ReplyList><Context><Object id=\"12\"/></Context>"))
        << plain;
}

TEST_F(AlarmMessage, NameHoldingAMarkerIsNotReplacedAgainAndBareAlarmsKeepTheirText) {
    Receive(parser, {"new Pump(13, 0, \"pump %s\");",
                     "new Replied(501, 2, \"%o in %s\", 1, @13, 9, (1), (\"a\"), (0));",
                     "new Alarm(502, 0, \"Door %o open in %s\", 0);"});
    const std::string odd = Event(501, "AlarmEvent", AET_ACTIVE, nullptr);
    EXPECT_NE(std::string::npos, odd.find("event=\"Active\""));
    EXPECT_NE(std::string::npos, odd.find("description=\"pump %s in 9\"")) << odd;
    std::string bare = Event(502, "HistoricAlarmEvent", AET_ACTIVATED, nullptr);
    CutTime(bare);
    EXPECT_EQ(
        "<Message><HistoricAlarmEvent event=\"Activated\" type=\"0\" priority=\"0\" "
        "description=\"Door %o open in %s\"><Object id=\"502\"/><ReplyList></ReplyList>"
        "</HistoricAlarmEvent></Message>",
        bare);
}

}  // namespace
