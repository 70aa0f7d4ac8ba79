// Readers of run-time objects: values by attribute name, unit scaling, number
// text and decimals.
#include "store_fixtures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace storetest;

namespace {

// A "Motor" with a scaled number, a text, an enum, a list and a reference.
class ObjectReaders : public ::testing::Test {
  protected:
    void SetUp() override {
        target = world.Numbered(7, "Sensor");
        world.objects.Add(*target);

        motor = world.Numbered(5, "Motor");
        TestAttrDecl& speed = world.AttrDecl("Speed");
        speed.mul = 3;
        speed.div = 10;
        speed.unit = "rpm";
        world.AddAttr<OXNumberObject>(motor, speed, "number", TestWorld::Number(125));
        world.AddAttr<OXStringObject>(motor, "Name", "string", TestWorld::String("Pump"));
        world.AddAttr<OXEnumObject>(motor, "State", "tagState",
                                    new OXEnumObject(new TestDecl("tagState"), 2, &stateText));
        auto* list = new OXListObject(new TestDecl("list"), "number");
        list->Add(TestWorld::Number(1));
        list->Add(nullptr);
        list->Add(TestWorld::Number(3));
        world.AddAttr<OXListObject>(motor, "Items", "list", list);
        world.AddAttr<OXComplexObject>(motor, "Target", "Sensor", target);
        world.AddAttr<OXNumberObject>(motor, "Spare", "void", TestWorld::Number(-4));
        world.AddAttr<OXNumberObject>(motor, "Empty", "number", nullptr);
        ASSERT_EQ(motor->AssignConstraints(), OXExecuteResult::ER_OK);
        world.objects.Add(*motor);
    }

    std::string stateText = "Running";
    TestWorld world;
    OXComplexObject* target = nullptr;
    OXComplexObject* motor = nullptr;
};

TEST_F(ObjectReaders, EachReaderGivesItsKindAndNeutralValuesOtherwise) {
    // Scaled by the attribute's unit: 125 * 3 / 10.
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 37.5);
    EXPECT_DOUBLE_EQ(motor->GetNumberObject("Speed")->GetValue(1, 1), 125);
    EXPECT_EQ(motor->GetNumberAttr("Speed")->GetUnitStr(), "rpm");
    EXPECT_EQ(motor->GetNumberAttr("Speed")->GetClassName(), "number");
    EXPECT_EQ(motor->GetString("Name"), "Pump");
    EXPECT_EQ(motor->GetEnum("State"), 2);
    ASSERT_NE(motor->GetEnumObject("State"), nullptr);
    EXPECT_EQ(motor->GetEnumObject("State")->GetEnumStr(), &stateText);
    // A "void" attribute holds a number.
    EXPECT_DOUBLE_EQ(motor->GetNumber("Spare"), -4);

    const std::vector<OXObject*>* items = motor->GetList("Items");
    ASSERT_NE(items, nullptr);
    ASSERT_EQ(items->size(), 3u);
    EXPECT_EQ((*items)[1], nullptr);
    EXPECT_EQ((*items)[2]->AsString(), "3");
    EXPECT_EQ(motor->GetListObject("Items")->GetElementClassName(), "number");

    ASSERT_EQ(motor->GetReference("Target"), target);
    EXPECT_EQ(motor->GetReference("Target")->GetObjectId(), 7);
    EXPECT_EQ(motor->GetAttrValue("Target"), target);

    // Missing attribute.
    EXPECT_EQ(motor->GetNumber("Nope"), 0);
    EXPECT_EQ(motor->GetString("Nope"), "");
    EXPECT_EQ(motor->GetEnum("Nope"), 0);
    EXPECT_EQ(motor->GetList("Nope"), nullptr);
    EXPECT_EQ(motor->GetReference("Nope"), nullptr);
    EXPECT_EQ(motor->GetAttrValue("Nope"), nullptr);
    // Attribute of another kind.
    EXPECT_EQ(motor->GetNumber("Name"), 0);
    EXPECT_EQ(motor->GetNumber("State"), 0);
    EXPECT_EQ(motor->GetString("Speed"), "");
    EXPECT_EQ(motor->GetEnum("Speed"), 0);
    EXPECT_EQ(motor->GetList("Speed"), nullptr);
    EXPECT_EQ(motor->GetReference("Speed"), nullptr);
    EXPECT_EQ(motor->GetNumberAttr("Name"), nullptr);
    EXPECT_EQ(motor->GetStringAttr("Speed"), nullptr);
    EXPECT_EQ(motor->GetEnumAttr("Speed"), nullptr);
    EXPECT_NE(motor->GetEnumAttr("State"), nullptr);
    // Attribute without a value.
    EXPECT_NE(motor->GetNumberAttr("Empty"), nullptr);
    EXPECT_EQ(motor->GetNumber("Empty"), 0);
    EXPECT_EQ(motor->GetNumberObject("Empty"), nullptr);
}

TEST_F(ObjectReaders, ClassAndNumberComeFromTheChain) {
    EXPECT_EQ(motor->GetClassName(), "Motor");
    EXPECT_TRUE(motor->IsClass("Motor"));
    EXPECT_TRUE(motor->IsClass("Object"));
    EXPECT_FALSE(motor->IsClass("Sensor"));
    EXPECT_EQ(motor->GetObjectId(), 5);
    // Base "Id" plus seven own attributes.
    EXPECT_EQ(motor->GetAttributeCount(), 8);
    EXPECT_EQ(motor->AsString(), "");

    // Without "Object" in the chain an "Id" gives no number.
    OXComplexObject* loose = TestWorld::Complex("Loose");
    world.AddAttr<OXNumberObject>(loose, "Id", "number", TestWorld::Number(9));
    EXPECT_EQ(loose->GetObjectId(), 0);
    delete loose;
    // "Object" with an "Id" that is not a number, or out of range.
    OXComplexObject* odd = TestWorld::Complex("Object");
    world.AddAttr<OXStringObject>(odd, "Id", "string", TestWorld::String("9"));
    EXPECT_EQ(odd->GetObjectId(), 0);
    delete odd;
    OXComplexObject* huge = world.Numbered(1, "Huge");
    huge->GetBase()->GetNumberObject("Id")->SetValue(1e300);
    EXPECT_EQ(huge->GetObjectId(), std::numeric_limits<long>::max());
    huge->GetBase()->GetNumberObject("Id")->SetValue(std::nan(""));
    EXPECT_EQ(huge->GetObjectId(), 0);
    delete huge;
}

TEST(ObjectText, NumbersLoseTrailingZerosAndPoint) {
    auto text = [](double v) {
        OXNumberObject n(new TestDecl("number"), v);
        return n.AsString();
    };
    EXPECT_EQ(text(12.5), "12.5");
    EXPECT_EQ(text(3), "3");
    EXPECT_EQ(text(0), "0");
    EXPECT_EQ(text(-0.25), "-0.25");
    EXPECT_EQ(text(100), "100");
    EXPECT_EQ(text(1e20), "100000000000000000000");
    // "%f" keeps six decimals.
    EXPECT_EQ(text(0.0000004), "0");
    EXPECT_EQ(text(2.1234567), "2.123457");
    EXPECT_EQ(OXNumberToString(std::numeric_limits<double>::max()).size(), 309u);

    OXEnumObject unknown(new TestDecl("tagState"), 7, nullptr);
    EXPECT_EQ(unknown.AsString(), "7");
    EXPECT_EQ(unknown.GetEnumStr(), nullptr);
    OXStringObject s(new TestDecl("string"), "a b");
    EXPECT_EQ(s.AsString(), "a b");
    OXListObject l(new TestDecl("list"), "number");
    EXPECT_EQ(l.AsString(), "list");
}

TEST(ObjectUnits, DecimalsAndScalingFollowTheDivisor) {
    TestAttrDecl decl("Value");
    OXAttributeTpl<OXNumberObject> attribute(decl, new TestDecl("number"), TestWorld::Number(5));
    const long divisors[] = {1, 9, 10, 99, 100, 250, 1000, 0, -100};
    const int decimals[] = {0, 0, 1, 1, 2, 2, 3, 0, 0};
    for (size_t i = 0; i < sizeof divisors / sizeof divisors[0]; ++i) {
        attribute.SetUnitDiv(divisors[i]);
        EXPECT_EQ(attribute.GetNoOfDecimals(), decimals[i]) << "unitDiv " << divisors[i];
    }
    OXNumberObject n(new TestDecl("number"), 7);
    EXPECT_DOUBLE_EQ(n.GetValue(1, 1), 7);
    EXPECT_DOUBLE_EQ(n.GetValue(1, 4), 1.75);
    EXPECT_DOUBLE_EQ(n.GetValue(-2, 1), -14);
    // A zero divisor from the controller does not divide.
    EXPECT_DOUBLE_EQ(n.GetValue(3, 0), 21);
}

}  // namespace
