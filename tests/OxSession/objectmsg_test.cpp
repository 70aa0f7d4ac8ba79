// The event and type information texts of machine objects, built from small
// worlds that a real parser makes out of controller texts.
#include "conn_fixture.h"
#include "oxcommandparser.h"
#include "oxeventmemo.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "oxobjectmsg.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

class ObjectMsgTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(parser.Create(nullptr));
        conntest::Receive(parser, SourceLines("OxSession/golden/objectmsg_world.txt"));
        context.accessLevel = 5;
        context.protocol = 1;
        context.classes = &parser.GetClassManager();
    }

    const OXObject& Object(long id) {
        const OXObject* object = parser.GetObjectManager().Lookup(id);
        EXPECT_NE(object, nullptr) << id;
        return *object;
    }

    // What a writer sends of an object for the context, or "-" when nothing.
    template <typename Writer>
    std::string Text(Writer write, long id) {
        std::ostringstream out;
        bool sent = write(out, context, Object(id));
        EXPECT_EQ(sent, !out.str().empty()) << id;
        return sent ? out.str() : "-";
    }
    std::string Event(long id) { return Text(OxObjectEvent_ToXml, id); }
    std::string TypeInfo(long id) { return Text(OxTypeInfo_ToXml, id); }

    OXCommandParser parser;
    OxMsgContext context;
};

// ---------------------------------------------------------------- fragments

// The golden file holds names from the language, types, contexts by owner and
// by Parent, and overrides; here the edge of the own-name range, a context
// not wanted, the test print and a motor's output event.
TEST_F(ObjectMsgTest, Fragments) {
    OxTextMap language{{"p31000", "not this"}};
    std::ostringstream out;
    // 31000 and above: the object's own name, whatever the language holds.
    OxObjectMsg_ToXml(out, &language, Object(31000), true);
    OxObjectMsg_ToXml(out, &language, Object(30999), true);
    OxContextObjectMsg_ToXml(out, Object(20), false);
    OxTestPrintMsg_ToXml(out, "boot 3");
    // The output event of a motor carries its number.
    OxOutputEvent_ToXml(out, context, Object(50));
    EXPECT_EQ(out.str(),
              "<Object id=\"31000\" name=\"Spare input\"/><Object id=\"30999\" name=\"p30999\"/>"
              "<Message><TestPrint text=\"boot 3\"/></Message>"
              "<Message><OutputEvent value=\"1200\" override=\"false\"><Object id=\"50\"/>"
              "</OutputEvent></Message>");
}

// ---------------------------------------------------------------- events and type information

TEST_F(ObjectMsgTest, EventAndTypeInfoOfEachClassAsTheGoldenFileHolds) {
    // Of an enum, only the values marked NT are named from the language.
    OxTextMap language{{"p30", "Pressure"},           {"d3", "Running %s"},
                       {"d12", "Time for %s"},        {"e98-6", "Dtr+Out1"},
                       {"tagMode-2", "Service mode"}, {"tagMode-1", "not this"}};
    context.language = &language;
    std::ifstream golden(std::string(OXGW_SOURCE_DIR) + "/tests/OxSession/golden/objectmsg.txt");
    ASSERT_TRUE(golden.good());
    std::string line;
    int checked = 0;
    while (std::getline(golden, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        std::string kind, expected;
        long id = 0;
        if (line.compare(0, 4, "upd ") == 0) {  // the machine changes an object
            conntest::Receive(parser, {line});
            continue;
        }
        fields >> kind >> id >> std::ws;
        std::getline(fields, expected);
        // A kind ending in "0": for a client without protocol number.
        context.protocol = kind.back() == '0' ? 0 : 1;
        if (context.protocol == 0)
            kind.pop_back();
        ASSERT_TRUE(kind == "event" || kind == "type") << line;
        EXPECT_EQ(kind == "event" ? Event(id) : TypeInfo(id), expected) << kind << " " << id;
        ++checked;
    }
    EXPECT_EQ(checked, 46);
}

TEST_F(ObjectMsgTest, VisitsNewAndDeletedObjects) {
    context.visit = true;
    EXPECT_EQ(Event(10), "-");  // no group event in a visit
    EXPECT_EQ(Event(51),
              "<Message><OutputEvent value=\"true\"><Object id=\"51\"/></OutputEvent>"
              "</Message>");
    EXPECT_EQ(Text(OxNewObjectEvent_ToXml, 10),  // never a visit
              "<Message><GroupEvent enabled=\"1\"><Object id=\"10\"/></Group></Message>");
    EXPECT_EQ(Text(OxDeletedObjectEvent_ToXml, 30),
              "<Message><Deleted><Object id=\"30\" type=\"4\"/></Deleted></Message>");

    context.lastLevel = 0;  // a logon visit: the client holds the guest's objects
    auto visit = [&](long id, bool typeInfo) {
        return Text(
            [typeInfo](std::ostream& out, const OxMsgContext& c, const OXObject& o) {
                return OxVisitedObject_ToXml(out, c, o, typeInfo);
            },
            id);
    };
    EXPECT_EQ(visit(10, true), "-");  // a guest's group: held already
    EXPECT_EQ(visit(30, false),
              "<Message><NumParameterEvent value=\"1.50\" enabled=\"1\">"
              "<Object id=\"30\" type=\"4\"/></NumParameterEvent></Message>");
    EXPECT_EQ(visit(500, true), "-");
    EXPECT_EQ(visit(500, false).find("<Message><AlarmEvent event=\"Active\" type=\"3\""), 0u);
}

TEST_F(ObjectMsgTest, ReadRuleForUpdatesAndVisits) {
    // Object 30 is read from level 1 (User). An update: up to the access
    // level; a visit: up to the access level and above the last level.
    struct Case {
        int access, last;
        bool visit, allowed;
    };
    const Case cases[] = {{-1, -1, false, false}, {0, -1, false, false}, {1, -1, false, true},
                          {5, 5, false, true},    {1, -1, true, true},   {4, 0, true, true},
                          {4, 1, true, false},    {4, 2, true, false},   {0, -1, true, false}};
    for (const Case& c : cases) {
        EXPECT_EQ(OxReadAllowed(Object(30), c.access, c.last, c.visit), c.allowed)
            << c.access << " " << c.last << " " << c.visit;
        // The session's choice of message follows the same rule.
        context.accessLevel = c.access;
        context.lastLevel = c.last;
        context.visit = c.visit;
        EXPECT_EQ(Event(30) != "-", c.allowed);
        if (c.visit || c.last < 0) {
            EXPECT_EQ(TypeInfo(30) != "-", c.allowed) << c.access << " " << c.last;
        }
    }
}

TEST_F(ObjectMsgTest, TypeRequestAnswersParametersOnlyAndEnumsNeedTheClassTable) {
    for (long id : {10L, 50L, 20L, 500L, 30L})
        EXPECT_EQ(Text(OxParameterTypeInfo_ToXml, id).substr(0, 27),
                  id == 30 ? "<Message><NumParameterType " : "-")
            << id;
    // Without the class table the values of an enum are not known.
    context.classes = nullptr;
    std::string text = TypeInfo(31);
    EXPECT_NE(text.find("<EnumDefinition></EnumDefinition>"), std::string::npos) << text;
}

// ---------------------------------------------------------------- historic alarms

// The first %o and %s of the alarm text become the owner's name and the
// section's; a marker inside a name stays. Without context the markers stay;
// lines that are no alarm event with a number type go out untouched.
TEST(HistoricAlarmEventTest, DescriptionFromAlarmTextOwnerAndSection) {
    OxTextMap language{{"a17", "%o stopped in %s; check %o"},
                       {"p12", "Dosierpumpe %s"},
                       {"p4", "Zone vier"},
                       {"a9", "Door %o open in %s"}};
    const std::string bare =
        "<Message><HistoricAlarmEvent event=\"Active\" type=\"9\" priority=\"1\">";
    const std::string context = "<Context><Object id=\"12\" section=\"4\"/></Context>";
    const std::pair<std::string, std::string> rows[] = {
        {"<Message><HistoricAlarmEvent type=\"17\"><Object id=\"500\"/>" + context,
         "<Message><HistoricAlarmEvent type=\"17\" description=\"Dosierpumpe %s stopped in "
         "Zone vier; check %o\"><Object id=\"500\"/>" +
             context},
        {bare + "<ReplyList>",
         bare.substr(0, bare.size() - 1) + " description=\"Door %o open in %s\"><ReplyList>"},
        {"<Message><HistoricServerState state=\"Started\"></HistoricServerState></Message>", ""},
        {"<Message><HistoricAlarmEvent type=\"x\">", ""},
        {"<Message><HistoricAlarmEvent type=\"3\"", ""},
        {"", ""},
    };
    for (const auto& row : rows) {
        std::string line = row.first;
        EXPECT_EQ(!row.second.empty(), OxHistoricAlarmEvent_Fill(line, &language)) << row.first;
        EXPECT_EQ(row.second.empty() ? row.first : row.second, line);
    }
}

// ---------------------------------------------------------------- odd objects

// A controller's classes that lack what the messages read: nothing crashes,
// objects without levels are not sent, and missing values read as 0.
TEST(ObjectMsgOddTest, MissingAttributesAreHarmless) {
    OXCommandParser parser;
    ASSERT_TRUE(parser.Create(nullptr));
    const char* texts[] = {
        "enum tagLevel { \"Guest\"=0, \"User\"=1, };",
        "class Object { const number Id; };",
        "class Sensor : Object { };",
        "class NumParameter : Object { tagLevel ReadAccess; string Value; };",
        "class Temperature : Object { number ReadAccess; string Value; number Owner; };",
        "new Sensor(1);",
        "new NumParameter(2, 0, \"high\");",
        "new Temperature(3, 0, \"warm\", 0);",
    };
    conntest::Receive(parser, {std::begin(texts), std::end(texts)});
    OxMsgContext context;
    context.accessLevel = 5;
    context.protocol = 1;
    const OXObject* sensor = parser.GetObjectManager().Lookup(1);
    const OXObject* parameter = parser.GetObjectManager().Lookup(2);
    const OXObject* temperature = parser.GetObjectManager().Lookup(3);
    ASSERT_TRUE(sensor && parameter && temperature);

    std::ostringstream out;
    // No ReadAccess: neither event nor type information.
    EXPECT_FALSE(OxObjectEvent_ToXml(out, context, *sensor));
    EXPECT_FALSE(OxTypeInfo_ToXml(out, context, *sensor));
    // No WriteAccess: no type information, and no half-written message.
    EXPECT_FALSE(OxParameterTypeInfo_ToXml(out, context, *parameter));
    EXPECT_EQ(out.str(), "");
    // A text where a number is wanted reads as 0; a level given as a number
    // counts; an owner number 0 is no owner.
    EXPECT_TRUE(OxObjectEvent_ToXml(out, context, *parameter));
    EXPECT_TRUE(OxObjectEvent_ToXml(out, context, *temperature));
    OxSensorEvent_ToXml(out, context, *sensor);
    EXPECT_EQ(out.str(),
              "<Message><NumParameterEvent value=\"0\" enabled=\"0\">"
              "<Object id=\"2\"/></NumParameterEvent></Message>"
              "<Message><TemperatureEvent value=\"0\" unit=\"\">"
              "<Object id=\"3\"/></TemperatureEvent></Message>"
              "<Message><SensorEvent value=\"false\" raw=\"0\"><Object id=\"1\"/>"
              "</SensorEvent></Message>");
}

// ---------------------------------------------------------------- shared events

// While a memo of an object's event lives, a text is found again only for
// the very context it was kept for, and only for that object; nested memos
// hide the outer one until they end.
TEST_F(ObjectMsgTest, EventMemoSharesATextOnlyWithinItsContextAndObject) {
    const OXObject& sensor = Object(20);
    const OXObject& group = Object(10);
    EXPECT_EQ(nullptr, OxEventMemo::For(sensor));
    OxTextMap german{{"p20", "Fuehler"}};
    {
        OxEventMemo memo(sensor);
        ASSERT_EQ(&memo, OxEventMemo::For(sensor));
        EXPECT_EQ(nullptr, OxEventMemo::For(group));
        memo.Keep(context, "kept");
        OxMsgContext other[5] = {context, context, context, context, context};
        other[0].accessLevel = 4;
        other[1].lastLevel = 2;
        other[2].protocol = 0;
        other[3].language = &german;
        other[4].visit = true;
        for (const OxMsgContext& c : other)
            EXPECT_EQ(nullptr, memo.Find(c));
        ASSERT_NE(nullptr, memo.Find(context));
        EXPECT_EQ("kept", *memo.Find(context));
        {
            OxEventMemo inner(group);
            EXPECT_EQ(nullptr, OxEventMemo::For(sensor));
            EXPECT_EQ(&inner, OxEventMemo::For(group));
        }
        EXPECT_EQ(&memo, OxEventMemo::For(sensor));
    }
    EXPECT_EQ(nullptr, OxEventMemo::For(sensor));
}

}  // namespace
