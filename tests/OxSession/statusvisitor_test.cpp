// Status report: a small object world walked with every filter setting, the
// report compared in full against hand-written text.
#include "oxstatusvisitor.h"

#include "../OXParser/store_fixtures.h"
#include "oxconf.h"
#include "sandbox.h"
#include "testprint.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

using namespace storetest;

namespace {

const std::string kHead =
    "<HMEmailStatus>\r\n"
    "<Info ver=\"1.0\" name=\"OX-Line 4\" serial=\"1234-5678\"/>\r\n";
const std::string kEnd = "</HMEmailStatus>\r\n";

// The elements of the world below, with and without definitions.
const std::string kGroupDefs = "<Group id=\"10\" parent=\"100\" name=\"Line\" />\r\n";
const std::string kGroup = "<Group id=\"10\" />\r\n";
const std::string kEnumParDefs =
    "<EnumPar id=\"2001\" val=\"1\" parent=\"10\" section=\"3\" name=\"Rinse\" valtext=\"On\" "
    "default=\"0\" defaultText=\"Off\" />\r\n";
const std::string kEnumPar = "<EnumPar id=\"2001\" val=\"1\" />\r\n";
const std::string kNumParDefs =
    "<NumPar id=\"2002\" val=\"12.5\" parent=\"10\" section=\"3\" name=\"Tank <T1>\" "
    "unit=\"EXTCHAR(194)EXTCHAR(176)C\" default=\"10\" />\r\n";
const std::string kNumPar = "<NumPar id=\"2002\" val=\"12.5\" />\r\n";
const std::string kNumParService = "<NumPar id=\"2003\" val=\"7\" />\r\n";
const std::string kTemperatureDefs =
    "<Temperature id=\"3001\" val=\"23.25\" parent=\"10\" name=\"Tank\" unit=\"C\" />\r\n";
const std::string kTemperature = "<Temperature id=\"3001\" val=\"23.25\" />\r\n";
const std::string kProbeDefs =
    "<CondProbe id=\"3002\" parent=\"10\" section=\"1\" name=\"Probe\" >"
    "<Conductivity val=\"1.5\" unit=\"mS\" /><Temperature val=\"25\"  unit=\"C\" />"
    "</CondProbe>\r\n";
const std::string kProbe =
    "<CondProbe id=\"3002\" >"
    "<Conductivity val=\"1.5\" unit=\"mS\" /><Temperature val=\"25\"  unit=\"C\" />"
    "</CondProbe>\r\n";
const std::string kSensorDefs =
    "<Sensor id=\"3003\" val=\"1\" parent=\"10\" section=\"2\" name=\"Plate in\" />\r\n";
const std::string kSensor = "<Sensor id=\"3003\" val=\"1\" />\r\n";
const std::string kDoseDefs =
    "<Dose id=\"4001\" val=\"0.5\" parent=\"10\" name=\"Pump A&B\" />\r\n";
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
const std::string kIndicatorRad = "<Indicator id=\"4005\" val=\"1\" />\r\n";
const std::string kSetterDefs =
    "<Setter id=\"4006\" val=\"-2.75\" parent=\"10\" name=\"Valve\" />\r\n";
const std::string kSetter = "<Setter id=\"4006\" val=\"-2.75\" />\r\n";

// Access levels as the controller numbers them.
enum { AR_USER = 0, AR_ADMIN = 1, AR_SERVICE = 2, AR_RAD = 3, AR_NON = 4 };

OXStatusVisitor::Filter Flags(int level, bool groups, bool parameters, bool inputs, bool outputs,
                              bool definitions) {
    OXStatusVisitor::Filter filter;
    filter.level = level;
    filter.groups = groups;
    filter.parameters = parameters;
    filter.inputDevices = inputs;
    filter.outputDevices = outputs;
    filter.definitions = definitions;
    return filter;
}

// One port's objects: each reported class once, objects above the service
// level, and classes the report does not know.
class StatusReport : public ::testing::Test {
  protected:
    void SetUp() override {
        OXComplexObject* group = Make(10, "Group", AR_USER);
        Defs(group, 100, 0, "Line");
        Store(group);

        OXComplexObject* enumPar = Make(2001, "SetParameter", AR_ADMIN);
        Enum(enumPar, "Value", 1, "On");
        Enum(enumPar, "Default", 0, "Off");
        Defs(enumPar, 10, 3, "Rinse");
        Store(enumPar);

        // 125 and 100 tenths of a degree, the unit as UTF-8 "°C".
        OXComplexObject* numPar = Make(2002, "NumParameter", AR_SERVICE);
        Number(numPar, "Value", 125,
               "\xC2\xB0"
               "C",
               10);
        Number(numPar, "Default", 100,
               "\xC2\xB0"
               "C",
               10);
        Defs(numPar, 10, 3, "Tank <T1>");
        Store(numPar);

        OXComplexObject* hidden = Make(2003, "NumParameter", AR_RAD);
        Number(hidden, "Value", 7);
        Number(hidden, "Default", 7);
        Defs(hidden, 10, 3, "Factory trim");
        Store(hidden);

        OXComplexObject* temperature = Make(3001, "Temperature", AR_USER);
        Number(temperature, "Value", 23.25, "C");
        Defs(temperature, 10, 0, "Tank");
        Store(temperature);

        OXComplexObject* probe = Make(3002, "CondProbe", AR_USER);
        Number(probe, "Cond", 1.5, "mS");
        Number(probe, "Temp", 25, "C");
        Defs(probe, 10, 1, "Probe");
        Store(probe);

        // A switching sensor: its value is an enum.
        OXComplexObject* sensor = Make(3003, "Sensor", AR_ADMIN);
        Enum(sensor, "Value", 1, "true");
        Defs(sensor, 10, 2, "Plate in");
        Store(sensor);

        OXComplexObject* alarm = Make(5001, "Alarm", AR_USER);
        Number(alarm, "Value", 1);
        Defs(alarm, 10, 0, "Tank empty");
        Store(alarm);

        OXComplexObject* dose = Make(4001, "Dose", AR_USER);
        Number(dose, "Value", 0.5);
        Defs(dose, 10, 0, "Pump A&B");
        Store(dose);

        // Parent as a reference to the group rather than a number.
        OXComplexObject* heater = Make(4002, "Heater", AR_SERVICE);
        Number(heater, "Value", 1);
        world.AddAttr<OXComplexObject>(heater, "Parent", "Group", group);
        world.AddAttr<OXStringObject>(heater, "Name", "string", TestWorld::String("Heater"));
        Store(heater);

        // The unit in Latin-1: a single byte 176 for the degree sign.
        OXComplexObject* motor = Make(4003, "Motor", AR_USER);
        Number(motor, "Value", 1234567);
        world.AddAttr<OXStringObject>(motor, "Unit", "string", TestWorld::String("\xB0/s"));
        Defs(motor, 10, 4, "Drive");
        Store(motor);

        // No definition attributes at all.
        OXComplexObject* output = Make(4004, "DigitalOutput", AR_USER);
        Number(output, "Value", 0);
        Store(output);

        OXComplexObject* indicator = Make(4005, "Indicator", AR_NON);
        Number(indicator, "Value", 1);
        Defs(indicator, 10, 0, "Lamp");
        Store(indicator);

        OXComplexObject* setter = Make(4006, "Setter", AR_USER);
        Number(setter, "Value", -2.75);
        Defs(setter, 10, 0, "Valve");
        Store(setter);

        OXComplexObject* function = Make(6001, "Function", AR_USER);
        Number(function, "Value", 3);
        Defs(function, 10, 0, "Rinse now");
        Store(function);
    }

    std::string Report(const OXStatusVisitor::Filter& filter) {
        OXStatusVisitor visitor(filter, "OX-Line 4", "1234-5678");
        world.objects.Visit(visitor);
        visitor.SetEndTag();
        return visitor.GetStatus();
    }

    OXComplexObject* Make(long id, const std::string& className, int readAccess) {
        OXComplexObject* object = world.Numbered(id, className);
        Enum(object, "ReadAccess", readAccess, "AR");
        return object;
    }
    void Enum(OXComplexObject* object, const std::string& name, int value,
              const std::string& text) {
        texts.push_back(text);
        world.AddAttr<OXEnumObject>(
            object, name, "tagEnum",
            new OXEnumObject(new TestDecl("tagEnum"), value, &texts.back()));
    }
    void Number(OXComplexObject* object, const std::string& name, double value,
                const std::string& unit = "", long div = 1) {
        TestAttrDecl& decl = world.AttrDecl(name);
        decl.unit = unit;
        decl.div = div;
        world.AddAttr<OXNumberObject>(object, decl, "number", TestWorld::Number(value));
    }
    void Defs(OXComplexObject* object, double parent, double section, const std::string& name) {
        Number(object, "Parent", parent);
        Number(object, "Section", section);
        world.AddAttr<OXStringObject>(object, "Name", "string", TestWorld::String(name));
    }
    void Store(OXComplexObject* object) {
        ASSERT_EQ(object->AssignConstraints(), OXExecuteResult::ER_OK);
        world.objects.Add(*object);
    }

    // Ahead of the world: the enum values point into it.
    std::deque<std::string> texts;
    TestWorld world;
};

TEST_F(StatusReport, AllClassesWithDefinitions) {
    EXPECT_EQ(Report(Flags(AR_SERVICE, true, true, true, true, true)),
              kHead + kGroupDefs + kEnumParDefs + kNumParDefs + kTemperatureDefs + kProbeDefs +
                  kSensorDefs + kDoseDefs + kHeaterDefs + kMotorDefs + kOutputDefs + kSetterDefs +
                  kEnd);
}

TEST_F(StatusReport, AllClassesWithoutDefinitions) {
    EXPECT_EQ(Report(Flags(AR_SERVICE, true, true, true, true, false)),
              kHead + kGroup + kEnumPar + kNumPar + kTemperature + kProbe + kSensor + kDose +
                  kHeater + kMotor + kOutput + kSetter + kEnd);
}

TEST_F(StatusReport, EachFlagSelectsItsClassesOnly) {
    EXPECT_EQ(Report(Flags(AR_SERVICE, true, false, false, false, true)),
              kHead + kGroupDefs + kEnd);
    EXPECT_EQ(Report(Flags(AR_SERVICE, false, true, false, false, true)),
              kHead + kEnumParDefs + kNumParDefs + kEnd);
    EXPECT_EQ(Report(Flags(AR_SERVICE, false, false, true, false, true)),
              kHead + kTemperatureDefs + kProbeDefs + kSensorDefs + kEnd);
    EXPECT_EQ(Report(Flags(AR_SERVICE, false, false, false, true, false)),
              kHead + kDose + kHeater + kMotor + kOutput + kSetter + kEnd);
    // Definitions alone select nothing.
    EXPECT_EQ(Report(Flags(AR_NON, false, false, false, false, true)), kHead + kEnd);
    EXPECT_EQ(Report(Flags(AR_NON, false, false, false, false, false)), kHead + kEnd);
}

TEST_F(StatusReport, ReadAccessAboveTheLevelIsLeftOut) {
    EXPECT_EQ(Report(Flags(AR_USER, true, true, true, true, false)),
              kHead + kGroup + kTemperature + kProbe + kDose + kMotor + kOutput + kSetter + kEnd);
    EXPECT_EQ(Report(Flags(AR_RAD, false, true, false, false, false)),
              kHead + kEnumPar + kNumPar + kNumParService + kEnd);
    EXPECT_EQ(Report(Flags(AR_NON, false, false, false, true, false)),
              kHead + kDose + kHeater + kMotor + kOutput + kIndicatorRad + kSetter + kEnd);
    // Below every object's level.
    EXPECT_EQ(Report(Flags(-1, true, true, true, true, true)), kHead + kEnd);
}

TEST_F(StatusReport, NullsListsAndSimpleValuesAddNothing) {
    OXStatusVisitor visitor(Flags(AR_NON, true, true, true, true, true), "", "");
    const std::string head = "<HMEmailStatus>\r\n<Info ver=\"1.0\" name=\"\" serial=\"\"/>\r\n";
    EXPECT_EQ(visitor.GetStatus(), head);

    visitor.Visit(static_cast<OXComplexObject*>(nullptr));
    OXListObject list(new TestDecl("list"), "Group");
    list.Add(nullptr);
    list.Add(TestWorld::Number(3));
    list.VisitElements(visitor);
    list.Accept(visitor);
    OXStringObject text(new TestDecl("string"), "Group");
    text.Accept(visitor);
    OXEnumObject value(new TestDecl("tagEnum"), 1, nullptr);
    value.Accept(visitor);
    EXPECT_EQ(visitor.GetStatus(), head);

    visitor.SetEndTag();
    EXPECT_EQ(visitor.GetStatus(), head + kEnd);
}

TEST_F(StatusReport, EnumWithoutTextAndMissingAttributesGiveNeutralValues) {
    OXComplexObject* enumPar = Make(2010, "SetParameter", AR_USER);
    world.AddAttr<OXEnumObject>(enumPar, "Value", "tagEnum",
                                new OXEnumObject(new TestDecl("tagEnum"), 9, nullptr));
    Store(enumPar);
    OXComplexObject* numPar = Make(2011, "NumParameter", AR_USER);
    Number(numPar, "Value", 0.000125);
    Store(numPar);

    OXStatusVisitor visitor(Flags(AR_USER, false, true, false, false, true), "n", "s");
    enumPar->Accept(visitor);
    numPar->Accept(visitor);
    EXPECT_EQ(visitor.GetStatus(),
              "<HMEmailStatus>\r\n<Info ver=\"1.0\" name=\"n\" serial=\"s\"/>\r\n"
              "<EnumPar id=\"2010\" val=\"9\" parent=\"0\" name=\"\" valtext=\"\" default=\"0\" "
              "defaultText=\"\" />\r\n"
              "<NumPar id=\"2011\" val=\"0.000125\" parent=\"0\" name=\"\" unit=\"\" "
              "default=\"0\" />\r\n");
}

// Both lines go out with mask 0, which reaches the log file even when every
// configured mask is 0.
TEST(StatusVisitorLog, ConstructionAndDestructionAreLogged) {
    Sandbox box;
    unsigned long oldOut = testPrint_stdOutMask, oldFile = testPrint_logFileMask;
    bool oldConsole = logToConsole;
    OxConfiguration::Instance()->SetAppPath(box.Root());
    logToConsole = false;
    TestPrintSetMask(0, 0);
    TestPrintTask* task = TestPrintTask::Instance();
    { OXStatusVisitor visitor(OXStatusVisitor::Filter(), "n", "s"); }
    task->end_event_loop();
    task->wait();
    delete task;
    std::string log = box.ReadFile("/var/log/debug/oxgw.log");
    OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    TestPrintSetMask(oldOut, oldFile);
    logToConsole = oldConsole;

    size_t made = log.find(" OXStatusVisitor\n");
    size_t gone = log.find(" ~OXStatusVisitor()\n");
    ASSERT_NE(made, std::string::npos) << log;
    ASSERT_NE(gone, std::string::npos) << log;
    EXPECT_LT(made, gone);
}

}  // namespace
