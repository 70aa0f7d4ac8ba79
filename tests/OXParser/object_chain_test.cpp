// Complex objects over a class chain: attribute lookup with hidden attributes,
// functions, positional update, constraints, visiting and value ownership.
#include "store_fixtures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace storetest;

namespace {

// Records what a visitor sees.
class Recorder : public OXObjectVisitor, public OXAttributeVisitor, public OXFunctionVisitor {
  public:
    void Visit(OXComplexObject* o) override {
        seen.push_back(o != nullptr ? "complex:" + o->GetClassName() : "null");
    }
    void Visit(OXListObject* o) override { seen.push_back("list:" + o->GetElementClassName()); }
    void Visit(OXEnumObject* o) override { seen.push_back("enum:" + o->AsString()); }
    void Visit(OXNumberObject* o) override { seen.push_back("number:" + o->AsString()); }
    void Visit(OXStringObject* o) override { seen.push_back("string:" + o->AsString()); }
    void Visit(OXAttribute& a) override { seen.push_back(a.GetAttrName()); }
    void Visit(OXFunctionDeclInterface& f) override {
        seen.push_back(f.GetFunctionName() + "=" + std::to_string(f.GetFunctionId()));
    }
    std::vector<std::string> seen;
};

class CountingObserver : public Observer<OXObject> {
  public:
    void Update(OXObject*) override { ++updates; }
    int updates = 0;
};

// Object { const Id } <- Parent2 { X, P } <- Child { X, const C, Y }, number 5.
class ObjectChain : public ::testing::Test {
  protected:
    void SetUp() override {
        root = TestWorld::Complex("Object");
        TestAttrDecl& id = world.AttrDecl("Id");
        id.isConst = true;
        world.AddAttr<OXNumberObject>(root, id, "number", TestWorld::Number(5));
        ASSERT_EQ(root->AssignConstraints(), OXExecuteResult::ER_OK);

        parent = TestWorld::Complex("Parent2", root);
        baseX = world.AddAttr<OXNumberObject>(parent, "X", "number", TestWorld::Number(-1));
        world.AddAttr<OXNumberObject>(parent, "P", "number", TestWorld::Number(-2));
        ASSERT_EQ(parent->AssignConstraints(), OXExecuteResult::ER_OK);

        child = TestWorld::Complex("Child", parent);
        childX = world.AddAttr<OXNumberObject>(child, "X", "number", TestWorld::Number(-3));
        TestAttrDecl& c = world.AttrDecl("C");
        c.isConst = true;
        world.AddAttr<OXNumberObject>(child, c, "number", TestWorld::Number(-4));
        world.AddAttr<OXNumberObject>(child, "Y", "number", TestWorld::Number(-5));
        ASSERT_EQ(child->AssignConstraints(), OXExecuteResult::ER_OK);
        world.objects.Add(*child);
    }

    // Values of base X, P, child X, C, Y.
    std::vector<double> Values() const {
        return {parent->GetNumber("X"), parent->GetNumber("P"),
                static_cast<OXNumberObject*>(childX->GetAttrObject())->GetValue(1, 1),
                child->GetNumber("C"), child->GetNumber("Y")};
    }

    tagExecuteResult Update(const TestExpr& expression, int& index) {
        return child->Update(world.classes, world.objects, expression, index);
    }

    TestWorld world;
    OXComplexObject* root = nullptr;
    OXComplexObject* parent = nullptr;
    OXComplexObject* child = nullptr;
    OXAttribute* baseX = nullptr;
    OXAttribute* childX = nullptr;
};

TEST_F(ObjectChain, BaseAttributeHidesDerivedOneInBothLookups) {
    EXPECT_EQ(child->LookupAttribute("X"), baseX);
    EXPECT_EQ(child->GetAttribute("X"), baseX);
    EXPECT_NE(child->GetAttribute("Y"), nullptr);
    EXPECT_EQ(child->LookupAttribute("Y"), child->GetAttribute("Y"));
    EXPECT_EQ(child->LookupAttribute("Id"), root->GetAttribute("Id"));
    EXPECT_EQ(child->GetAttribute("Nope"), nullptr);
    EXPECT_EQ(child->LookupAttribute("Nope"), nullptr);
    // The hidden attribute still counts and is still visited, base first.
    EXPECT_EQ(child->GetAttributeCount(), 6);
    EXPECT_EQ(parent->GetAttributeCount(), 3);
    Recorder names;
    child->VisitAttributes(names);
    EXPECT_EQ(names.seen, (std::vector<std::string>{"Id", "X", "P", "X", "C", "Y"}));

    // Two attributes of one name at one level: the first declared answers
    // both lookups, and the name counts once.
    OXComplexObject* twice = TestWorld::Complex("Twice");
    OXAttribute* first = world.AddAttr<OXNumberObject>(twice, "Q", "number", TestWorld::Number(1));
    world.AddAttr<OXNumberObject>(twice, "Q", "number", TestWorld::Number(2));
    world.AddAttr<OXNumberObject>(twice, "A", "number", TestWorld::Number(3));
    EXPECT_EQ(twice->GetAttribute("Q"), first);
    EXPECT_EQ(twice->LookupAttribute("Q"), first);
    EXPECT_NE(twice->LookupAttribute("A"), nullptr);
    EXPECT_EQ(twice->GetAttributeCount(), 2);
    delete twice;
}

TEST_F(ObjectChain, DerivedFunctionOverridesBaseFunction) {
    parent->Add(*new TestFunctionDecl(1, "Start"));
    parent->Add(*new TestFunctionDecl(2, "Stop"));
    child->Add(*new TestFunctionDecl(1, "StartFast"));
    ASSERT_NE(child->GetFunction(1L), nullptr);
    EXPECT_EQ(child->GetFunction(1L)->GetFunctionName(), "StartFast");
    EXPECT_EQ(parent->GetFunction(1L)->GetFunctionName(), "Start");
    EXPECT_EQ(child->GetFunction(2L)->GetFunctionName(), "Stop");
    EXPECT_EQ(child->GetFunction(3L), nullptr);
    EXPECT_EQ(child->GetFunction(std::string("Start"))->GetFunctionId(), 1);
    EXPECT_EQ(child->GetFunction(std::string("Nope")), nullptr);
    OXNumberObject plain(new TestDecl("number"), 1);
    EXPECT_EQ(plain.GetFunction(1L), nullptr);
    Recorder functions;
    child->VisitFunctions(functions);
    EXPECT_EQ(functions.seen, (std::vector<std::string>{"Start=1", "Stop=2", "StartFast=1"}));
}

TEST_F(ObjectChain, PositionalUpdateRunsBaseFirstAndSkipsConstants) {
    CountingObserver onChild, onBase;
    child->Attach(&onChild);
    parent->Attach(&onBase);

    // Both X are written, base first; constants take no value.
    int index = 0;
    ASSERT_EQ(Update(TestExpr::List(
                         {TestExpr::Num(1), TestExpr::Num(2), TestExpr::Num(3), TestExpr::Num(4)}),
                     index),
              OXExecuteResult::ER_OK);
    EXPECT_EQ(index, 4);
    EXPECT_EQ(Values(), (std::vector<double>{1, 2, 3, -4, 4}));
    EXPECT_EQ(child->GetObjectId(), 5);
    EXPECT_EQ(onChild.updates, 1);
    EXPECT_EQ(onBase.updates, 1);

    // Too few values: the rest keep theirs, and observers are told.
    index = 0;
    ASSERT_EQ(Update(TestExpr::List({TestExpr::Num(10)}), index), OXExecuteResult::ER_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(Values(), (std::vector<double>{10, 2, 3, -4, 4}));
    EXPECT_EQ(onChild.updates, 2);

    // Surplus values are ignored.
    index = 0;
    std::vector<TestExpr> many;
    for (int i = 0; i < 7; ++i)
        many.push_back(TestExpr::Num(100 + i));
    ASSERT_EQ(Update(TestExpr::List(many), index), OXExecuteResult::ER_OK);
    EXPECT_EQ(index, 4);
    EXPECT_EQ(Values(), (std::vector<double>{100, 101, 102, -4, 103}));

    // A wrong kind at the derived level: base values stay written and its
    // observer was told, the derived level stops and its observer is not.
    index = 0;
    EXPECT_EQ(Update(TestExpr::List({TestExpr::Num(7), TestExpr::Num(8), TestExpr::Str("x"),
                                     TestExpr::Num(9)}),
                     index),
              OXExecuteResult::ER_INVALID_EXPRESSION_TYPE);
    EXPECT_EQ(Values(), (std::vector<double>{7, 8, 102, -4, 103}));
    EXPECT_EQ(onChild.updates, 3);
    EXPECT_EQ(onBase.updates, 4);

    // An empty list writes nothing and still tells the observers.
    index = 0;
    EXPECT_EQ(Update(TestExpr::List({}), index), OXExecuteResult::ER_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(onChild.updates, 4);
}

TEST_F(ObjectChain, ReplacedValuesDieOnlyWhenTheAttributeOwnsThem) {
    OXComplexObject* holder = world.Numbered(20, "Holder");
    TestAttrDecl& mediaDecl = world.AttrDecl("Media");
    auto* media =
        world.AddAttr<OXComplexObject>(holder, mediaDecl, "Media", nullptr, world.MediaMaker());
    auto* value = world.AddAttr<OXNumberObject>(holder, "Value", "number", TestWorld::Number(1));
    world.objects.Add(*holder);

    // A number-less value is destroyed when replaced.
    int live = LiveDecls();
    ASSERT_EQ(value->SetObjValue(TestWorld::Number(2)), OXExecuteResult::ER_OK);
    EXPECT_EQ(LiveDecls(), live);
    ASSERT_EQ(value->Update(world.classes, world.objects, TestExpr::Num(3)),
              OXExecuteResult::ER_OK);
    EXPECT_EQ(LiveDecls(), live);
    EXPECT_EQ(holder->GetNumber("Value"), 3);

    // A nested numbered value enters the table; replacing it leaves it there.
    ASSERT_EQ(media->Update(world.classes, world.objects, TestExpr::Num(42)),
              OXExecuteResult::ER_OK);
    OXObject* stored = world.objects.Lookup(42);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(holder->GetReference("Media"), stored);
    ASSERT_EQ(media->Update(world.classes, world.objects, TestExpr::Num(43)),
              OXExecuteResult::ER_OK);
    EXPECT_EQ(world.objects.Lookup(42), stored);
    EXPECT_EQ(stored->GetObjectId(), 42);
    EXPECT_EQ(holder->GetReference("Media")->GetObjectId(), 43);
    // A null reference empties the attribute without touching the object.
    ASSERT_EQ(media->Update(world.classes, world.objects, TestExpr::Ref(0)),
              OXExecuteResult::ER_OK);
    EXPECT_EQ(holder->GetReference("Media"), nullptr);
    EXPECT_EQ(world.objects.Lookup(43)->GetObjectId(), 43);
    // A reference to a missing object fails and keeps the value.
    ASSERT_EQ(media->Update(world.classes, world.objects, TestExpr::Ref(42)),
              OXExecuteResult::ER_OK);
    EXPECT_EQ(media->Update(world.classes, world.objects, TestExpr::Ref(99)),
              OXExecuteResult::ER_INVALID_OBJECT_ID);
    EXPECT_EQ(holder->GetReference("Media"), stored);

    // A reference to a complex object in a number attribute is refused, and
    // the referenced object survives the refusal.
    live = LiveDecls();
    EXPECT_EQ(value->Update(world.classes, world.objects, TestExpr::Ref(42)),
              OXExecuteResult::ER_INVALID_EXPRESSION_TYPE);
    EXPECT_EQ(value->SetObjValue(stored), OXExecuteResult::ER_INVALID_EXPRESSION_TYPE);
    EXPECT_EQ(LiveDecls(), live);
    EXPECT_EQ(holder->GetNumber("Value"), 3);
    EXPECT_EQ(world.objects.Lookup(42)->GetObjectId(), 42);

    // A value of another kind handed to a new attribute is dropped.
    live = LiveDecls();
    {
        TestAttrDecl decl("Odd");
        OXAttributeTpl<OXNumberObject> odd(decl, new TestDecl("number"), TestWorld::String("s"));
        EXPECT_EQ(odd.GetValue(), nullptr);
        EXPECT_EQ(LiveDecls(), live + 1);
    }
    EXPECT_EQ(LiveDecls(), live);
    // The table destroys holder and media objects without double frees.
    world.objects.Reset();
    EXPECT_EQ(world.objects.GetObjectCount(), 0);
}

TEST_F(ObjectChain, ConstraintsComeFromSiblingsAndStopAtFirstError) {
    OXComplexObject* base = TestWorld::Complex("Object");
    TestAttrDecl& id = world.AttrDecl("Id");
    id.isConst = true;
    world.AddAttr<OXNumberObject>(base, id, "number", TestWorld::Number(30));
    world.AddAttr<OXStringObject>(base, "Unit", "string", TestWorld::String("mm/s"));
    OXComplexObject* motor = TestWorld::Complex("Motor", base);
    TestAttrDecl& speed = world.AttrDecl("Speed");
    speed.unitFrom = "Unit";
    speed.mul = 2;
    speed.div = 100;
    speed.accessRight = 3;
    auto* speedAttr = world.AddAttr<OXNumberObject>(motor, speed, "number", TestWorld::Number(250));
    TestAttrDecl& bad = world.AttrDecl("Bad");
    bad.unitFrom = "Speed";
    world.AddAttr<OXNumberObject>(motor, bad, "number", TestWorld::Number(1));
    TestAttrDecl& late = world.AttrDecl("Late");
    late.isConst = true;
    late.div = 10;
    auto* lateAttr = world.AddAttr<OXNumberObject>(motor, late, "number", TestWorld::Number(1));

    EXPECT_EQ(motor->AssignConstraints(), OXExecuteResult::ER_UNIT_ID_NOT_A_STRING);
    EXPECT_EQ(speedAttr->GetUnitStr(), "mm/s");
    EXPECT_EQ(speedAttr->GetAccessRight(), 3);
    EXPECT_EQ(speedAttr->GetNoOfDecimals(), 2);
    EXPECT_DOUBLE_EQ(motor->GetNumber("Speed"), 5);
    // Attributes after the failing one keep their initial state.
    EXPECT_FALSE(lateAttr->IsConst());
    EXPECT_EQ(lateAttr->GetUnitDiv(), 1);
    // The base level is left to its own call.
    EXPECT_FALSE(base->GetAttribute("Id")->IsConst());
    EXPECT_EQ(base->AssignConstraints(), OXExecuteResult::ER_OK);
    EXPECT_TRUE(motor->GetAttribute("Id")->IsConst());

    OXComplexObject* empty = TestWorld::Complex("Empty");
    EXPECT_EQ(empty->AssignConstraints(), OXExecuteResult::ER_OK);
    EXPECT_EQ(empty->GetAttributeCount(), 0);
    delete empty;
    delete motor;
}

TEST_F(ObjectChain, VisitorsSeeOneObjectAndListsHandNullsOn) {
    auto* list = new OXListObject(new TestDecl("list"), "Media");
    OXComplexObject* media = world.Numbered(50, "Media");
    world.objects.Add(*media);
    list->Add(media);
    list->Add(nullptr);
    list->Add(TestWorld::Number(2.5));
    list->Add(new OXEnumObject(new TestDecl("tagState"), 1, nullptr));
    list->Add(TestWorld::String("t"));
    list->Add(new OXListObject(new TestDecl("list"), "number"));
    world.AddAttr<OXListObject>(child, "Items", "list", list);

    Recorder top;
    child->Accept(top);
    EXPECT_EQ(top.seen, (std::vector<std::string>{"complex:Child"}));
    Recorder elements;
    list->VisitElements(elements);
    EXPECT_EQ(elements.seen, (std::vector<std::string>{"complex:Media", "null", "number:2.5",
                                                       "enum:1", "string:t", "list:number"}));
    ASSERT_EQ(child->GetList("Items")->size(), 6u);

    // The list goes with its owner first; the numbered element belongs to the
    // table and outlives it.
    world.objects.Remove(*child);
    delete child;
    ASSERT_EQ(world.objects.Lookup(50), media);
    EXPECT_EQ(media->GetObjectId(), 50);
}

}  // namespace
