// Status report: a small world (golden/statusvisitor_world.txt) that a real
// parser makes out of controller texts, walked with every filter setting, the report compared in
// full.
#include "conn_fixture.h"
#include "oxstatusvisitor.h"

#include "oxcommandparser.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::string kHead =
    "<HMEmailStatus>\r\n<Info ver=\"1.0\" name=\"OX-Line 4\" serial=\"1234-5678\"/>\r\n";
const std::string kEnd = "</HMEmailStatus>\r\n";

// The elements of the world, with and without definitions.
const std::string kGroupDefs = "<Group id=\"10\" parent=\"100\" name=\"Line\" />\r\n";
const std::string kGroup = "<Group id=\"10\" />\r\n";
const std::string kEnumParDefs =
    "<EnumPar id=\"2001\" val=\"1\" parent=\"10\" section=\"3\" name=\"Rinse\" valtext=\"On\" "
    "default=\"0\" defaultText=\"Off\" />\r\n";
const std::string kEnumPar = "<EnumPar id=\"2001\" val=\"1\" />\r\n";
const std::string kNumParDefs =
    "<NumPar id=\"2002\" val=\"12.5\" parent=\"10\" section=\"3\" name=\"Tank &lt;T1&gt;\" "
    "unit=\"EXTCHAR(194)EXTCHAR(176)C\" default=\"10\" />\r\n";
const std::string kNumPar = "<NumPar id=\"2002\" val=\"12.5\" />\r\n";
const std::string kNumParRad = "<NumPar id=\"2003\" val=\"7\" />\r\n";
const std::string kTemperatureDefs =
    "<Temperature id=\"3001\" val=\"23.25\" parent=\"10\" name=\"Tank\" unit=\"C\" />\r\n";
const std::string kTemperature = "<Temperature id=\"3001\" val=\"23.25\" />\r\n";
const std::string kProbeValues =
    "<Conductivity val=\"1.5\" unit=\"mS\" /><Temperature val=\"25\"  unit=\"C\" />"
    "</CondProbe>\r\n";
const std::string kProbeDefs =
    "<CondProbe id=\"3002\" parent=\"10\" section=\"1\" name=\"Probe\" >" + kProbeValues;
const std::string kProbe = "<CondProbe id=\"3002\" >" + kProbeValues;
const std::string kSensorDefs =
    "<Sensor id=\"3003\" val=\"1\" parent=\"10\" section=\"2\" name=\"Plate in\" />\r\n";
const std::string kSensor = "<Sensor id=\"3003\" val=\"1\" />\r\n";
const std::string kDoseDefs =
    "<Dose id=\"4001\" val=\"0.5\" parent=\"10\" name=\"Pump A&amp;B\" />\r\n";
const std::string kDose = "<Dose id=\"4001\" val=\"0.5\" />\r\n";
const std::string kHeaterDefs =
    "<Heater id=\"4002\" val=\"1\" parent=\"10\" name=\"Heater\" />\r\n";
const std::string kHeater = "<Heater id=\"4002\" val=\"1\" />\r\n";
const std::string kMotorDefs =
    "<Motor id=\"4003\" val=\"1.23457e+06\" parent=\"10\" section=\"4\" name=\"Drive\" "
    "unit=\"EXTCHAR(176)/s\" />\r\n";
const std::string kMotor = "<Motor id=\"4003\" val=\"1.23457e+06\" />\r\n";
const std::string kOutputDefs =
    "<DigitalOutput id=\"4004\" val=\"0\" parent=\"0\" name=\"\" />\r\n";
const std::string kOutput = "<DigitalOutput id=\"4004\" val=\"0\" />\r\n";
const std::string kIndicatorNon = "<Indicator id=\"4005\" val=\"1\" />\r\n";
const std::string kSetterDefs =
    "<Setter id=\"4006\" val=\"-2.75\" parent=\"10\" name=\"Valve\" />\r\n";
const std::string kSetter = "<Setter id=\"4006\" val=\"-2.75\" />\r\n";

// Access levels as the controller numbers them.
enum { AR_USER = 0, AR_ADMIN = 1, AR_SERVICE = 2, AR_RAD = 3, AR_NON = 4 };

// Level, then groups, parameters, input devices, output devices, definitions.
using Flags = OXStatusVisitor::Filter;

class StatusReport : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(parser.Create(nullptr));
        conntest::Receive(parser, SourceLines("OxSession/golden/statusvisitor_world.txt"));
    }

    std::string Report(const OXStatusVisitor::Filter& filter) {
        OXStatusVisitor visitor(filter, "OX-Line 4", "1234-5678");
        parser.GetObjectManager().Visit(visitor);
        visitor.SetEndTag();
        return visitor.GetStatus();
    }

    OXCommandParser parser;
};

TEST_F(StatusReport, FlagsAndLevelSelectTheElements) {
    struct Case {
        OXStatusVisitor::Filter filter;
        std::string body;
    };
    const Case cases[] = {
        {Flags{AR_SERVICE, true, true, true, true, true},
         kGroupDefs + kEnumParDefs + kNumParDefs + kTemperatureDefs + kProbeDefs + kSensorDefs +
             kDoseDefs + kHeaterDefs + kMotorDefs + kOutputDefs + kSetterDefs},
        {Flags{AR_SERVICE, true, true, true, true, false},
         kGroup + kEnumPar + kNumPar + kTemperature + kProbe + kSensor + kDose + kHeater + kMotor +
             kOutput + kSetter},
        // Each flag selects its classes only.
        {Flags{AR_SERVICE, true, false, false, false, true}, kGroupDefs},
        {Flags{AR_SERVICE, false, true, false, false, true}, kEnumParDefs + kNumParDefs},
        {Flags{AR_SERVICE, false, false, true, false, true},
         kTemperatureDefs + kProbeDefs + kSensorDefs},
        {Flags{AR_SERVICE, false, false, false, true, false},
         kDose + kHeater + kMotor + kOutput + kSetter},
        // Definitions alone select nothing.
        {Flags{AR_NON, false, false, false, false, true}, ""},
        // A read level above the filter's leaves the object out.
        {Flags{AR_USER, true, true, true, true, false},
         kGroup + kTemperature + kProbe + kDose + kMotor + kOutput + kSetter},
        {Flags{AR_RAD, false, true, false, false, false}, kEnumPar + kNumPar + kNumParRad},
        {Flags{AR_NON, false, false, false, true, false},
         kDose + kHeater + kMotor + kOutput + kIndicatorNon + kSetter},
        {Flags{-1, true, true, true, true, true}, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Report(c.filter), kHead + c.body + kEnd);
}

TEST_F(StatusReport, NullsListsSimpleValuesAndMissingTextsAreHarmless) {
    OXStatusVisitor visitor(Flags{AR_NON, true, true, true, true, true}, "", "");
    const std::string head = "<HMEmailStatus>\r\n<Info ver=\"1.0\" name=\"\" serial=\"\"/>\r\n";
    visitor.SetEndTag();
    EXPECT_EQ(visitor.GetStatus(), head + kEnd);

    // A parameter whose enum value has no text, and one that lacks its
    // definitions: neutral values.
    const char* texts[] = {
        "enum tagOnOff { \"Off\"=0, \"On\"=1, };",
        "class Object { const number Id; };",
        "class SetParameter : Object { tagOnOff Value; };",
        "class NumParameter : Object { number Value : \"\" * 1 / 8000; };",
        "new SetParameter(2010, 9);",
        "new NumParameter(2011, 1);",
    };
    OXCommandParser odd;
    ASSERT_TRUE(odd.Create(nullptr));
    conntest::Receive(odd, {std::begin(texts), std::end(texts)});
    OXStatusVisitor oddVisitor(Flags{AR_USER, false, true, false, false, true}, "n", "s");
    odd.GetObjectManager().Visit(oddVisitor);
    EXPECT_EQ(oddVisitor.GetStatus(),
              "<HMEmailStatus>\r\n<Info ver=\"1.0\" name=\"n\" serial=\"s\"/>\r\n"
              "<EnumPar id=\"2010\" val=\"9\" parent=\"0\" name=\"\" valtext=\"\" default=\"0\" "
              "defaultText=\"\" />\r\n"
              "<NumPar id=\"2011\" val=\"0.000125\" parent=\"0\" name=\"\" unit=\"\" "
              "default=\"0\" />\r\n");
}

}  // namespace
