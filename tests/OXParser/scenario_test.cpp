// Whole controller conversations through a parser and its store: each text
// is parsed, executed and announced, and the store and the handler calls are
// checked after each step.
#include "oxattribute.h"
#include "oxcommand.h"
#include "oxcommandparser.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectvisitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Records every announcement as one line, with what can be read of the
// object at that moment.
class RecordingHandler : public OXObjectHandler {
  public:
    void NewClassDefinition(const OXClassDefinition& d) override {
        calls.push_back("class " + d.GetClassName());
    }
    void NewEnumDefinition(const OXEnumDefinition& d) override {
        calls.push_back("enum " + d.GetClassName());
    }
    void NewObject(const OXObject& o) override { calls.push_back("new " + Describe(o)); }
    void UpdatedObject(const OXObject& o) override { calls.push_back("upd " + Describe(o)); }
    void DeletedObject(const OXObject& o) override { calls.push_back("del " + Describe(o)); }
    void ResultReceived(unsigned long id, const OXObject& o) override {
        calls.push_back("res " + std::to_string(id) + " " + o.GetClassName() + " " + o.AsString());
    }
    void ExceptionReceived(unsigned long id, const OXObject& o) override {
        calls.push_back("exc " + std::to_string(id) + " " + o.GetClassName() + " " +
                        o.GetString("Text"));
    }
    static std::string Describe(const OXObject& o) {
        return o.GetClassName() + " " + std::to_string(o.GetObjectId());
    }
    std::vector<std::string> Take() {
        std::vector<std::string> taken;
        taken.swap(calls);
        return taken;
    }
    std::vector<std::string> calls;
};

using Calls = std::vector<std::string>;

// "name=value" of every attribute of an object, base levels first.
std::string Values(OXComplexObject& object) {
    struct Collect : OXAttributeVisitor {
        void Visit(OXAttribute& attribute) override {
            OXObject* value = attribute.GetAttrObject();
            text += (text.empty() ? "" : " ") + attribute.GetAttrName() + "=" +
                    (value != nullptr ? value->AsString() : "null");
        }
        std::string text;
    } collect;
    object.VisitAttributes(collect);
    return collect.text;
}

class ScenarioTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(parser.Create(&handler)); }

    // Parses one text; "ok" or the error message.
    std::string Run(const std::string& text) {
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        int result = parser.Parse(buffer.data());
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u) << text;
        EXPECT_EQ(parser.GetCommand(), nullptr) << text;
        return result == 0 ? "ok" : parser.GetErrorStr();
    }
    void RunAll(const std::vector<std::string>& texts) {
        for (const std::string& text : texts)
            ASSERT_EQ(Run(text), "ok") << text;
    }
    OXObject* Object(long id) { return parser.GetObjectManager().Lookup(id); }
    long Count() { return parser.GetObjectManager().GetObjectCount(); }

    // The definitions that every machine world starts with.
    void Basics() {
        RunAll(
            {"enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, "
             "\"AR_RAD\"=3, \"AR_NON\"=4, };",
             "class Object { const number Id; };",
             "class Exception { number Code; string Text; };"});
        handler.Take();
    }

    RecordingHandler handler;
    OXCommandParser parser;
};

TEST_F(ScenarioTest, DefinitionsObjectsUpdatesAndDeletionsWithTheirAnnouncements) {
    Basics();
    EXPECT_EQ(Run("class Motor : Object { string Name; number Speed : \"rpm\" * 1 / 10; };"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"class Motor"});
    EXPECT_EQ(Run("class Motor { };"), "Semantic Error: ER_DUPLICATED_CLASS_NAME");
    EXPECT_EQ(handler.Take(), Calls{});
    // The table keeps the first definition.
    EXPECT_EQ(Run("new Motor(5, \"M1\", 1234);"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"new Motor 5"});
    OXObject* motor = Object(5);
    ASSERT_NE(motor, nullptr);
    EXPECT_EQ(motor->GetString("Name"), "M1");
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 123.4);
    EXPECT_EQ(motor->GetNumberAttr("Speed")->GetUnitStr(), "rpm");
    EXPECT_EQ(motor->GetNumberAttr("Speed")->GetNoOfDecimals(), 1);
    EXPECT_TRUE(motor->GetNumberAttr("Id")->IsConst());

    // Positional update: the constant Id takes no value, the rest keep theirs.
    EXPECT_EQ(Run("upd 5 (\"M2\");"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"upd Motor 5"});
    EXPECT_EQ(motor->GetString("Name"), "M2");
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 123.4);
    EXPECT_EQ(Run("upd 5 (\"M3\", 10, 99, 98);"), "ok");
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 1);
    handler.Take();
    // A failing update keeps what it wrote before the failure, and nobody is told.
    EXPECT_EQ(Run("upd 5 (\"M4\", \"fast\");"), "Semantic Error: ER_INVALID_EXPRESSION_TYPE");
    EXPECT_EQ(motor->GetString("Name"), "M4");
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 1);
    EXPECT_EQ(handler.Take(), Calls{});
    EXPECT_EQ(Run("upd 0 ();"), "Semantic Error: ER_INVALID_OBJECT_ID");
    EXPECT_EQ(Run("upd 6 ();"), "Semantic Error: ER_INVALID_OBJECT_ID");

    // A number already in use, and too few values: nothing stored.
    EXPECT_EQ(Run("new Motor(5, \"again\", 1);"), "Semantic Error: ER_OBJECT_ALREADY_EXISTS");
    EXPECT_EQ(Run("new Motor(6, \"short\");"), "Semantic Error: ER_INVALID_EXPRESSION_COUNT");
    EXPECT_EQ(Object(6), nullptr);
    EXPECT_EQ(Run("new Motor(6, \"long\", 1, 2, 3);"), "ok");
    EXPECT_EQ(Count(), 2);
    handler.Take();

    // Deletion: the last values are written, the handler sees the object whole.
    EXPECT_EQ(Run("del 6 (\"gone\");"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"del Motor 6"});
    EXPECT_EQ(Object(6), nullptr);
    // A deletion whose values do not fit removes the object all the same.
    EXPECT_EQ(Run("del 5 (7);"), "Semantic Error: ER_INVALID_EXPRESSION_TYPE");
    EXPECT_EQ(Object(5), nullptr);
    EXPECT_EQ(handler.Take(), Calls{});
    EXPECT_EQ(Run("del 5 ();"), "Semantic Error: ER_INVALID_OBJECT_ID");
    EXPECT_EQ(Count(), 0);
}

TEST_F(ScenarioTest, InheritanceTemplatesListsAndNestedObjects) {
    Basics();
    RunAll({
        "class Base : Object { number X; string Label; };",
        // Both levels declare X: the base's hides the derived one for lookups,
        // and a positional update writes both, base first.
        "class Child : Base { number X; };",
        "new Child(1, 10, \"b\", 20);",
        "class Pair<class K, class V> : Object { K Key; V Val; };",
        "new Pair<string, number>(2, \"k\", 3);",
        "new Pair<number, list<string>>(3, 4, (\"a\", \"b\"));",
        "class Holder : Object { Child Inner; list<Child> Kids; };",
        // Nested objects with numbers enter the table; null stays a null element.
        "new Holder(4, Child(5, 1, \"i\", 2), (Child(6, 3, \"k\", 4), null, @1));",
    });
    OXObject* child = Object(1);
    ASSERT_NE(child, nullptr);
    auto* complex = dynamic_cast<OXComplexObject*>(child);
    ASSERT_NE(complex, nullptr);
    EXPECT_TRUE(child->IsClass("Base"));
    EXPECT_TRUE(child->IsClass("Object"));
    EXPECT_EQ(child->GetAttributeCount(), 4);
    EXPECT_DOUBLE_EQ(child->GetNumber("X"), 10);
    EXPECT_EQ(Run("upd 1 (11, \"c\", 21);"), "ok");
    EXPECT_DOUBLE_EQ(child->GetNumber("X"), 11);
    // Base first, then this level, in declaration order.
    EXPECT_EQ(Values(*complex), "Id=1 X=11 Label=c X=21");

    OXObject* pair = Object(2);
    ASSERT_NE(pair, nullptr);
    EXPECT_EQ(pair->GetString("Key"), "k");
    EXPECT_DOUBLE_EQ(pair->GetNumber("Val"), 3);
    EXPECT_EQ(pair->GetNumberAttr("Val")->GetClassName(), "number");
    const std::vector<OXObject*>* words = Object(3)->GetList("Val");
    ASSERT_NE(words, nullptr);
    ASSERT_EQ(words->size(), 2u);
    EXPECT_EQ((*words)[1]->AsString(), "b");
    EXPECT_EQ(Object(3)->GetListObject("Val")->GetElementClassName(), "string");

    EXPECT_EQ(Count(), 6);
    ASSERT_NE(Object(5), nullptr);
    ASSERT_NE(Object(6), nullptr);
    EXPECT_EQ(Object(4)->GetReference("Inner"), Object(5));
    const std::vector<OXObject*>* kids = Object(4)->GetList("Kids");
    ASSERT_NE(kids, nullptr);
    ASSERT_EQ(kids->size(), 3u);
    EXPECT_EQ((*kids)[0], Object(6));
    EXPECT_EQ((*kids)[1], nullptr);
    EXPECT_EQ((*kids)[2], Object(1));
    // The handler hears of the outer object; the nested ones entered the
    // table before it.
    Calls calls = handler.Take();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), "upd Child 1");

    // A nested object whose number is taken fails the whole command, but the
    // nested objects entered before the failure stay.
    EXPECT_EQ(Run("new Holder(7, Child(8, 1, \"n\", 2), (Child(5, 1, \"dup\", 2)));"),
              "Semantic Error: ER_OBJECT_ALREADY_EXISTS");
    EXPECT_EQ(Object(7), nullptr);
    EXPECT_NE(Object(8), nullptr);
    EXPECT_EQ(Object(5)->GetString("Label"), "i");

    // An object of the table that is deleted leaves no dangling reference:
    // the attribute and the list element that pointed at it read null.
    EXPECT_EQ(Run("del 5 ();"), "ok");
    EXPECT_EQ(Run("del 6 ();"), "ok");
    EXPECT_EQ(Object(4)->GetReference("Inner"), nullptr);
    kids = Object(4)->GetList("Kids");
    ASSERT_EQ(kids->size(), 3u);
    EXPECT_EQ((*kids)[0], nullptr);
    EXPECT_EQ((*kids)[2], Object(1));
    EXPECT_EQ(Run("upd 4 (@1);"), "ok");
    EXPECT_EQ(Object(4)->GetReference("Inner"), Object(1));
}

TEST_F(ScenarioTest, TemplateAndClassErrors) {
    Basics();
    RunAll({"class Foo : Object { number A; number B; };", "enum Colour { \"Red\"=1, };",
            "class Bad : Colour { };", "class Box<class T> : Object { T V; };"});
    EXPECT_EQ(Run("new Foo(1, 2);"), "Semantic Error: ER_INVALID_EXPRESSION_COUNT");
    EXPECT_EQ(Run("new list<number>(1, 2);"), "Semantic Error: ER_NOT_AN_OBJECT_OBJECT");
    EXPECT_EQ(Run("new number(1);"), "Semantic Error: ER_NOT_AN_OBJECT_OBJECT");
    EXPECT_EQ(Run("new Foo<number>(1, 2, 3);"),
              "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT");
    EXPECT_EQ(Run("new Box(1, 2);"), "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT");
    EXPECT_EQ(Run("new Box<number<Foo>>(1, 2);"),
              "Semantic Error: ER_UNEXCPETED_TEMPLATE_PARAMETERS");
    EXPECT_EQ(Run("new Box<list>(1, 2);"), "Semantic Error: ER_UNEXCPETED_TEMPLATE_PARAMETERS");
    // The enum base is made of the one value, and is no class.
    EXPECT_EQ(Run("new Bad(1);"), "Semantic Error: ER_NON_COMPLEX_CLASS_BASE_CLASS");
    EXPECT_EQ(Run("new Nothing(1);"), "Semantic Error: ER_UNKNOWN_CLASS");
    EXPECT_EQ(Run("new Box<Nothing>(1, 2);"), "Semantic Error: ER_UNKNOWN_CLASS");
    EXPECT_EQ(Run("new Box<number>(1, @99);"), "Semantic Error: ER_INVALID_OBJECT_ID");
    // Classes that hold themselves or are based on each other end in an
    // error, not in endless recursion.
    RunAll({"class Chain : Object { Chain Next; };", "class Ring : Loop { };",
            "class Loop : Ring { };"});
    EXPECT_EQ(Run("new Chain(1, 5);"), "Semantic Error: ER_INVALID_EXPRESSION_COUNT");
    EXPECT_EQ(Run("new Ring(1);"), "Semantic Error: ER_INVALID_EXPRESSION_COUNT");
    EXPECT_EQ(Run("new Chain(90, Chain(91, @0));"), "ok");
    EXPECT_EQ(Object(90)->GetReference("Next"), Object(91));
    EXPECT_EQ(Run("del 90 ();"), "ok");
    EXPECT_EQ(Run("del 91 ();"), "ok");
    // An attribute of a class that does not exist, given a value that needs
    // no class (a null reference, or a value with a class tag).
    RunAll({"class Odd : Object { Undefined U; };", "class Plain { number A; };"});
    EXPECT_EQ(Run("new Odd(1, @0);"), "Semantic Error: ER_UNKNOWN_CLASS");
    EXPECT_EQ(Run("new Odd(1, Plain(5));"), "Semantic Error: ER_UNKNOWN_CLASS");
    EXPECT_EQ(Count(), 0);
    // A class tag simply overrides the declared class; the base part of a
    // tagged value is made of the same values.
    RunAll({"class Dev : Object { string Name; };", "class Pump : Dev { number Flow; };",
            "new Box<Dev>(2, Pump(3, \"p\", 7));"});
    ASSERT_NE(Object(3), nullptr);
    EXPECT_TRUE(Object(3)->IsClass("Pump"));
    EXPECT_DOUBLE_EQ(Object(3)->GetNumber("Flow"), 7);
    EXPECT_EQ(Object(3)->GetString("Name"), "p");
    // An enum value the enum does not have has no text.
    RunAll({"class Lamp : Object { Colour C; };", "new Lamp(4, 7);", "new Lamp(5, 1);"});
    EXPECT_EQ(Object(4)->GetEnumObject("C")->GetEnumStr(), nullptr);
    ASSERT_NE(Object(5)->GetEnumObject("C")->GetEnumStr(), nullptr);
    EXPECT_EQ(*Object(5)->GetEnumObject("C")->GetEnumStr(), "Red");
    // A reference to a complex object where a number is declared: made, then
    // refused by the attribute (upd) or dropped to null (new).
    RunAll({"new Box<number>(6, @3);"});
    EXPECT_EQ(Object(6)->GetAttrValue("V"), nullptr);
    EXPECT_EQ(Run("upd 6 (@3);"), "Semantic Error: ER_INVALID_EXPRESSION_TYPE");
    EXPECT_NE(Object(3), nullptr);
}

TEST_F(ScenarioTest, UnitsAndAccessRightsGivenBySymbols) {
    Basics();
    RunAll({
        "class Setter : Object { string Unit; number Mul; number Div; tagAccessRight Right; "
        "number Value : Unit * Mul / Div ! AR_SERVICE; number Plain; number Own ! AR_ADMIN; };",
        "new Setter(1, \"bar\", 3, 100, 3, 250, 4, 5);",
    });
    OXObject* setter = Object(1);
    ASSERT_NE(setter, nullptr);
    OXAttribute* value = setter->GetAttribute("Value");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->GetUnitStr(), "bar");
    EXPECT_EQ(value->GetUnitMul(), 3);
    EXPECT_EQ(value->GetUnitDiv(), 100);
    EXPECT_EQ(value->GetAccessRight(), 2);
    EXPECT_EQ(value->GetNoOfDecimals(), 2);
    EXPECT_DOUBLE_EQ(setter->GetNumber("Value"), 7.5);
    // Without a right written, AR_USER; with a symbol of the enum, its value.
    EXPECT_EQ(setter->GetAttribute("Plain")->GetAccessRight(), 0);
    EXPECT_EQ(setter->GetAttribute("Own")->GetAccessRight(), 1);

    RunAll({"class Wrong : Object { number Speed; number V : Speed; };",
            "class NoAttr : Object { number V : Missing; };",
            "class BadMul : Object { string S; number V : \"x\" * S; };",
            "class NoMul : Object { number V : \"x\" * Missing; };",
            "class BadRight : Object { number R; number V ! R; };",
            "class NoRight : Object { number V ! Missing; };"});
    EXPECT_EQ(Run("new Wrong(2, 1, 2);"), "Semantic Error: ER_UNIT_ID_NOT_A_STRING");
    EXPECT_EQ(Run("new NoAttr(2, 1);"), "Semantic Error: ER_INVALID_UNIT_ID_ATTRIBUTE_NAME");
    EXPECT_EQ(Run("new BadMul(2, \"s\", 1);"), "Semantic Error: ER_FACTOR_NOT_A_NUMBER");
    EXPECT_EQ(Run("new NoMul(2, 1);"), "Semantic Error: ER_INVALID_FACTOR_ATTRIBUTE_NAME");
    EXPECT_EQ(Run("new BadRight(2, 1, 2);"), "Semantic Error: ER_ACCESS_RIGHT_NOT_A_NUMBER");
    EXPECT_EQ(Run("new NoRight(2, 1);"), "Semantic Error: ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME");
    EXPECT_EQ(Count(), 1);
}

TEST_F(ScenarioTest, AccessRightMissingFromTheEnumFailsTheCreation) {
    RunAll({"enum tagAccessRight { \"AR_USER\"=0, };", "class Object { const number Id; };",
            "class Own : Object { number V ! AR_ADMIN; };"});
    EXPECT_EQ(Run("new Own(1, 2);"), "Semantic Error: ER_ACCESS_RIGHT_ENUM_NOT_DEFINED");
    EXPECT_EQ(Count(), 0);
    EXPECT_EQ(Run("class Plain : Object { number V; };"), "ok");
}

TEST_F(ScenarioTest, ResultsExceptionsAndExecutions) {
    EXPECT_EQ(Run("exc 7 : (1, \"x\");"), "Semantic Error: ER_UNKNOWN_CLASS");
    Basics();
    EXPECT_EQ(Run("res 7 : 12;"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"res 7 number 12"});
    EXPECT_EQ(Run("res 7 : \"a\";"), "Semantic Error: ER_INVALID_EXPRESSION_TYPE");
    EXPECT_EQ(Run("exc 8 : (3, \"broken\");"), "ok");
    EXPECT_EQ(handler.Take(), Calls{"exc 8 Exception broken"});
    RunAll({"class Motor : Object { number Speed; };", "new Motor(5, 1);"});
    // A result or exception that names an object of the table leaves it there.
    EXPECT_EQ(Run("res 9 : @5;"), "ok");
    EXPECT_EQ(Run("exc 9 : @5;"), "ok");
    handler.Take();
    ASSERT_NE(Object(5), nullptr);
    EXPECT_EQ(Run("upd 5 (2);"), "ok");
    EXPECT_DOUBLE_EQ(Object(5)->GetNumber("Speed"), 2);
    EXPECT_EQ(Run("exe 1 $ 5.1();"), "Semantic Error: ER_INVALID_FUNCTION_ID");
    EXPECT_EQ(Run("exe 1 $ 6.1();"), "Semantic Error: ER_INVALID_OBJECT_ID");
    // The store's objects stay; no result made it into the table.
    EXPECT_EQ(Count(), 1);
}

TEST_F(ScenarioTest, SyntaxErrorsLeaveTheStoreAloneAndObjectCountSynchronises) {
    Basics();
    RunAll({"class Root : Object { number ObjectCount; };"});
    EXPECT_EQ(parser.GetObjectManager().InSync(), 0);
    EXPECT_EQ(Run("new Root(1, 3"), "syntax error");
    EXPECT_EQ(Count(), 0);
    RunAll({"new Root(1, 2);"});
    EXPECT_EQ(parser.GetObjectManager().InSync(), 2);
    RunAll({"class Thing : Object { };", "new Thing(2);"});
    EXPECT_EQ(parser.GetObjectManager().InSync(), 1);
    // Reset empties the store; the definitions are gone too.
    parser.Reset();
    EXPECT_EQ(Count(), 0);
    EXPECT_EQ(Run("new Thing(2);"), "Semantic Error: ER_UNKNOWN_CLASS");
    EXPECT_NE(parser.GetClassManager().Lookup("number"), nullptr);
}

}  // namespace
