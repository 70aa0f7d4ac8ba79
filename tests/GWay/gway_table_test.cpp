// The host's parameter table built from a map file against a machine world
// made by controller text: each dataset's text against its expected file,
// the reports of bad lines, values that follow the machine, and the wire
// forms of texts and numbers.
#include "gway_fixture.h"
#include "oxcommandparser.h"
#include "oxgway_parameter.h"
#include "oxgway_table.h"

#include <gtest/gtest.h>

namespace {

// Tells the table of deleted objects, as the session does.
struct TableHandler : OXObjectHandler {
    void DeletedObject(const OXObject& object) override {
        for (auto& entry : *sets)
            entry.second->ObjectGone(object);
    }
    OxGWayTable::DataSets* sets = nullptr;
};

class GWayTableTest : public GWayLogTest {
  protected:
    void SetUp() override {
        GWayLogTest::SetUp();
        for (OxGWayDataSet* set : {&application, &staticSet, &measure, &action, &material})
            sets[set->GetName()] = set;
        handler.sets = &sets;
        ASSERT_TRUE(parser.Create(&handler));
        box_.WriteFile("/usr/torc2/gway_map.txt", Golden("gway_map.txt"));
        box_.WriteFile("/etc/torc2/gway_language.txt", "english\n");
        box_.WriteFile("/usr/torc2/locale/en/oxgw_en.ucs",
                       UcsFile(u"p3005,Oven temperature\r\ng7,Line 1\r\ntagLevel-1,High level\r\n"
                               u"d5001,Rinse line\r\nd99,Started\r\n"));
        box_.WriteFile("/usr/torc2/gway_exclude.txt", ",4711,5002,\n");
        for (const std::string& text : SourceLines("GWay/golden/world.txt"))
            ASSERT_EQ(Run(text), 0) << text;
    }
    void TearDown() override {
        for (auto& entry : sets)
            entry.second->Clear();
        OxGWayParLanguage::Release();
        GWayLogTest::TearDown();
    }
    int Run(const std::string& text) {
        std::string buffer = text;
        return parser.Parse(&buffer[0]);
    }
    static std::string Golden(const std::string& name) {
        return ReadWholeFile(std::string(OXGW_SOURCE_DIR) + "/tests/GWay/golden/" + name);
    }
    static std::string Text(const OxGWayDataSet& set) {
        std::vector<char> buffer(65536);
        unsigned length = 0;
        EXPECT_TRUE(set.Text(buffer.data(), buffer.size(), length));
        return std::string(buffer.data(), length);
    }
    OxGWayTable Table() {
        return OxGWayTable(7, sets, parser.GetObjectManager(), parser.GetClassManager(), nullptr);
    }
    // The parameter's answer to a host value, with what it wrote.
    std::string Write(OxGWayDataSet& set, unsigned id, const char* value) {
        char command[100] = "";
        char* cursor = command;
        OxGWayParameter* parameter = set.Find(id);
        if (parameter == nullptr)
            return "none";
        int result = parameter->Unserialize(value, cursor);
        return std::to_string(result) + ":" + std::string(command, cursor);
    }

    TableHandler handler;
    OXCommandParser parser;
    OxGWayDataSet application{"application"}, staticSet{"static"}, measure{"measure"},
        action{"action"}, material{"matetial"};
    OxGWayTable::DataSets sets;
};

TEST_F(GWayTableTest, DatasetsFromTheMapFileWithBadLinesReportedAndSkipped) {
    OxGWayTable table = Table();
    ASSERT_EQ(OxGWayTable::ChooseMapFile(), box_.Path("/usr/torc2/gway_map.txt"));
    ASSERT_TRUE(table.CreateParametersFromFile(OxGWayTable::ChooseMapFile()));
    table.CreateAlarmParameters();
    EXPECT_EQ(table.CreateFunctionParameters(nullptr, "10.0.0.1"), 2);
    for (const OxGWayDataSet* set : {&application, &staticSet, &measure, &action, &material})
        EXPECT_EQ(Text(*set), Golden(set->GetName() + ".txt")) << set->GetName();
    // The absent section 2 is squeezed out: section 3 reads as section 2.
    EXPECT_EQ(table.CollectSectionIds(),
              (std::vector<unsigned>{29101, 29121, 29141, 29161, 29181, 29201, 29221}));
    EXPECT_EQ(measure.Find(29122)->GetName(), "Speed 2");
    EXPECT_EQ(staticSet.Find(29161)->GetName(), "OLP Section 4 Type");
    EXPECT_EQ(material.Find(29030)->GetName(), "Line 1: 12 at Manual");
    EXPECT_EQ(staticSet.Find(29380)->GetName(), "OLP PID Name: 29300 [Id:3005]");
    const std::string file = box_.Path("/usr/torc2/gway_map.txt");
    for (const std::string& line : std::vector<std::string>{
             "GWay(7): Error: Unknown dataset in " + file + " at line 19\n",
             "GWay(7): Error: Unknown type in " + file + " at line 20\n",
             "GWay(7): Error: Missing argument in " + file + " at line 21\n",
             "GWay(7): Error in arguments in " + file + " at line 22\n",
             "GWay(7): Error in dataset name or parameter type in " + file + " at line 24\n",
             "GWay(7): Parameter not enabled; GWayID; 29060;\n",
             "GWay(7): Parameter not enabled; GWayID; 29121;\n",
             "GWay(_): Dialog Excluded; 5002;1\n",
         })
        EXPECT_TRUE(Logged(line)) << line;

    // Values follow the machine; a deleted object leaves its last value and
    // refuses writes.
    EXPECT_EQ(Run("upd 3001 (20);"), 0);
    EXPECT_NE(Text(measure).find("+29102.0=+20.0;\r\n"), std::string::npos);
    EXPECT_EQ(Run("del 600 ();"), 0);
    EXPECT_NE(Text(measure).find("+29123.0=+0.0;\r\n"), std::string::npos);
    struct {
        OxGWayDataSet& set;
        unsigned id;
        const char* value;
        std::string result;
    } writes[] = {
        {measure, 29122, "+40.0", "0:"},
        {measure, 29122, "+55.0", "-1:"},
        {measure, 29122, "45", "1:3002, 45, "},
        {measure, 29122, "x", "-1:"},
        {application, 29011, "+4001.0", "1:4000, 0, "},
        {application, 29011, "+4003.0", "0:"},
        {application, 29011, "+4005.0", "-1:"},
        {staticSet, 29380, "x", "-1:"},
        {measure, 29703, "Retry", "-1:"},
        {material, 29031, "new", "0:"},
        {measure, 29503, "Start", "0:"},
    };
    for (const auto& w : writes)
        EXPECT_EQ(Write(w.set, w.id, w.value), w.result) << w.id << " " << w.value;
    EXPECT_EQ(Run("del 3002 ();"), 0);
    EXPECT_EQ(Write(measure, 29122, "45"), "-1:");
    EXPECT_EQ(measure.Find(29122)->GetValue(), "+40.0");
    EXPECT_EQ(material.Find(29031)->GetValue(), "new");
    EXPECT_EQ(measure.Find(29502)->GetValue(), "Started");
    // The language is saved for all sessions.
    EXPECT_EQ(Write(action, 29020, "german \r\n"), "0:");
    EXPECT_EQ(action.Find(29020)->GetValue(), "german");
    EXPECT_EQ(OxGWayParLanguage::GetLangaugeDir(), "de");
    EXPECT_EQ(box_.ReadFile("/etc/torc2/gway_language.txt"), "german");
}

TEST_F(GWayTableTest, AMissingOrEmptyMapFileBuildsNothing) {
    OxGWayTable table = Table();
    EXPECT_FALSE(table.CreateParametersFromFile(box_.Path("/nowhere/gway_map.txt")));
    box_.WriteFile("/etc/torc2/empty.txt", "");
    EXPECT_FALSE(table.CreateParametersFromFile(box_.Path("/etc/torc2/empty.txt")));
    EXPECT_EQ(staticSet.Count() + measure.Count(), 0u);
    // Versions compare as texts, and a tie goes to the earlier place.
    box_.WriteFile("/usr/torc2/gway_map.txt", "#Version 1.9\n");
    box_.WriteFile("/etc/torc2/gway_map.txt", "#Version 1.10\n");
    EXPECT_EQ(OxGWayTable::ChooseMapFile(), box_.Path("/usr/torc2/gway_map.txt"));
    box_.WriteFile("/home/service/gway_map.txt", "#Version 1.9\n");
    EXPECT_EQ(OxGWayTable::ChooseMapFile(), box_.Path("/usr/torc2/gway_map.txt"));
    box_.WriteFile("/etc/torc2/gway_map.txt", "#Version 2\n");
    EXPECT_EQ(OxGWayTable::ChooseMapFile(), box_.Path("/etc/torc2/gway_map.txt"));
    EXPECT_TRUE(Logged("GWay(7): Error: Unable to open " + box_.Path("/nowhere/gway_map.txt") +
                       " parameter map file\n"));
    EXPECT_TRUE(Logged("GWay(7): Error: Parameter map file empty; " +
                       box_.Path("/etc/torc2/empty.txt") + "\n"));

    // Without "#EndOfSections" the ids stay as written; a 31st task is
    // reported and the first 30 stay.
    box_.WriteFile("/etc/torc2/flat.txt",
                   "static : SectionType ; 29141 ; \"S\" ; -3.3 ; 2003 ; 1 ;\n"
                   "measure : NumParameter ; 29142 ; \"Speed\" ; 3002 ;\n");
    ASSERT_TRUE(table.CreateParametersFromFile(box_.Path("/etc/torc2/flat.txt")));
    EXPECT_EQ(measure.Find(29142)->GetValue(), "+40.0");
    EXPECT_EQ(table.CollectSectionIds(), std::vector<unsigned>{29141});
    for (int id = 5100; id < 5129; ++id)
        ASSERT_EQ(Run("new Function(" + std::to_string(id) + ", 1, 1, 1, 0, 100);"), 0);
    EXPECT_EQ(table.CreateFunctionParameters(nullptr, "10.0.0.1"), 30);
    EXPECT_NE(measure.Find(29648), nullptr);
    EXPECT_TRUE(Logged("GWay(_): Maximum number of tool/task definitions exceeded\n"));
}

TEST(GWayParameterText, NumbersTextsAndAccessInWireForm) {
    using P = OxGWayParameter;
    std::pair<std::string, std::string> cases[] = {
        {P::GWayNumber(0), "+0.0"},
        {P::GWayNumber(1), "+1.0"},
        {P::GWayNumber(0.25), "+0.25"},
        {P::GWayNumber(-3), "-3.0"},
        {P::GWayNumber(29100), "+29100.0"},
        {P::GWayString("(a;b)"), "[a,b]"},
        {P::GWayString("\xc3\x84"), "\\u00c4"},
        {P::GWayString("a\\nb"), "a\r\nb"},
        {P::GWayString("x\x80y"), "xy"},
        {P::GWayText("-5 mm"), "\\u002d5 mm"},
        {P::GWayText("5 mm"), "5 mm"},
        {P::GAccessToGWayAccess(4, 7), "-3.1"},
        {P::GAccessToGWayAccess(5, 9), "-2.4"},
        {P::GWayAccess(-4, 1), "-4.1"},
        {P::HMId(12.6), "13"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.first, c.second);
    EXPECT_TRUE(P::CheckAccessNumber(-4, 4));
    EXPECT_FALSE(P::CheckAccessNumber(-5, 1));
    EXPECT_FALSE(P::CheckAccessNumber(-1, 0));
}

}  // namespace
