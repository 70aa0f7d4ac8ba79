// Class, object and execute tables of one port.
#include "oxexecutemanager.h"
#include "store_fixtures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace storetest;

namespace {

class NamedDefinition : public OXDefinitionInterface {
  public:
    explicit NamedDefinition(std::string name) : name(std::move(name)) {}
    const std::string& GetClassName() const override { return name; }

  private:
    std::string name;
};

class RecordingListObserver : public ListObserver<OXObjectManager, OXObject> {
  public:
    void NewObject(const OXObject& object) override {
        events.push_back("new " + std::to_string(object.GetObjectId()));
    }
    void DeletedObject(const OXObject& object) override {
        events.push_back("del " + std::to_string(object.GetObjectId()));
    }
    std::vector<std::string> events;
};

class VisitOrder : public OXObjectVisitor {
  public:
    void Visit(OXComplexObject* o) override { ids.push_back(o->GetObjectId()); }
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}
    std::vector<long> ids;
};

TEST(ClassManager, HoldsBuiltinsAndKeepsFirstDefinitionOfAName) {
    OXClassManager classes;
    EXPECT_EQ(classes.Lookup("number"), nullptr);
    classes.Initialize();
    EXPECT_EQ(classes.GetClassCount(), 4u);
    for (const char* name : {"list", "number", "string", "void"}) {
        ASSERT_NE(classes.Lookup(name), nullptr) << name;
        EXPECT_EQ(classes.Lookup(name)->GetClassName(), name);
    }

    auto* motor = new NamedDefinition("Motor");
    EXPECT_TRUE(classes.Add(*motor));
    EXPECT_EQ(classes.Lookup("Motor"), motor);
    NamedDefinition duplicate("Motor");
    EXPECT_FALSE(classes.Add(duplicate));
    EXPECT_EQ(classes.Lookup("Motor"), motor);
    NamedDefinition builtin("number");
    EXPECT_FALSE(classes.Add(builtin));
    EXPECT_NE(classes.Lookup("number"), &builtin);
    EXPECT_EQ(classes.Lookup("motor"), nullptr);

    // Reset destroys the controller's classes and brings the built-ins back.
    classes.Add(*new NamedDefinition("Alarm"));
    classes.Reset();
    EXPECT_EQ(classes.Lookup("Motor"), nullptr);
    EXPECT_EQ(classes.Lookup("Alarm"), nullptr);
    EXPECT_EQ(classes.GetClassCount(), 4u);
    EXPECT_NE(classes.Lookup("void"), nullptr);
}

class ObjectTable : public ::testing::Test {
  protected:
    // A numbered object that announces the object count.
    OXComplexObject* Counter(long id, double count) {
        OXComplexObject* object = world.Numbered(id, "Machine");
        world.AddAttr<OXNumberObject>(object, "ObjectCount", "number", TestWorld::Number(count));
        return object;
    }

    TestWorld world;
};

TEST_F(ObjectTable, InSyncFollowsTheAnnouncedCountOnAddAndRemove) {
    OXObjectManager& objects = world.objects;
    EXPECT_EQ(objects.InSync(), 0);
    OXComplexObject* first = world.Numbered(1, "Group");
    objects.Add(*first);
    // Objects alone never announce a count.
    EXPECT_EQ(objects.InSync(), 0);

    objects.Add(*Counter(100, 3));
    EXPECT_EQ(objects.GetExpectedObjectCount(), 3);
    EXPECT_EQ(objects.InSync(), 2);
    OXComplexObject* third = world.Numbered(3, "Group");
    objects.Add(*third);
    EXPECT_EQ(objects.GetObjectCount(), 3);
    EXPECT_EQ(objects.InSync(), 1);

    objects.Remove(*third);
    EXPECT_EQ(objects.Lookup(3), nullptr);
    EXPECT_EQ(objects.InSync(), 2);
    delete third;

    // An "ObjectCount" on an object being removed resets the expected count.
    OXComplexObject* announcer = Counter(200, 2);
    objects.Add(*announcer);
    EXPECT_EQ(objects.GetExpectedObjectCount(), 2);
    EXPECT_EQ(objects.InSync(), 2);
    announcer->GetNumberObject("ObjectCount")->SetValue(2);
    objects.Remove(*announcer);
    EXPECT_EQ(objects.InSync(), 1);
    delete announcer;

    // An object without a number is destroyed, but its count still counts.
    int live = LiveDecls();
    OXComplexObject* loose = TestWorld::Complex("Loose");
    world.AddAttr<OXNumberObject>(loose, "ObjectCount", "number", TestWorld::Number(5));
    objects.Add(*loose);
    EXPECT_EQ(LiveDecls(), live);
    EXPECT_EQ(objects.GetObjectCount(), 2);
    EXPECT_EQ(objects.GetExpectedObjectCount(), 5);
    EXPECT_EQ(objects.InSync(), 2);

    // Reset empties the table and keeps the announced count.
    objects.Reset();
    EXPECT_EQ(objects.GetObjectCount(), 0);
    EXPECT_EQ(objects.Lookup(1), nullptr);
    EXPECT_EQ(objects.Lookup(100), nullptr);
    EXPECT_EQ(objects.InSync(), 2);
    // Group 1 and machine 100 held four and six declarations.
    EXPECT_EQ(LiveDecls(), live - 10);
}

TEST_F(ObjectTable, VisitFollowsArrivalOrderAndLateObserversSeeEverything) {
    OXObjectManager& objects = world.objects;
    for (long id : {30, 10, 20})
        objects.Add(*world.Numbered(id, "Sensor"));
    EXPECT_EQ(objects.Lookup(10)->GetObjectId(), 10);
    EXPECT_EQ(objects.Lookup(11), nullptr);
    EXPECT_EQ(objects.Lookup(0), nullptr);

    VisitOrder order;
    objects.Visit(order);
    EXPECT_EQ(order.ids, (std::vector<long>{30, 10, 20}));

    RecordingListObserver late;
    objects.Attach(late, -1);
    EXPECT_EQ(late.events, (std::vector<std::string>{"new 30", "new 10", "new 20"}));

    auto* gone = dynamic_cast<OXComplexObject*>(objects.Lookup(10));
    ASSERT_NE(gone, nullptr);
    objects.Remove(*gone);
    objects.Add(*world.Numbered(40, "Sensor"));
    EXPECT_EQ(late.events,
              (std::vector<std::string>{"new 30", "new 10", "new 20", "del 10", "new 40"}));
    // The removed object is the caller's: still whole after the observers.
    EXPECT_EQ(gone->GetObjectId(), 10);
    delete gone;

    VisitOrder after;
    objects.Visit(after);
    EXPECT_EQ(after.ids, (std::vector<long>{30, 20, 40}));

    EXPECT_TRUE(objects.Detach(late));
    objects.Add(*world.Numbered(50, "Sensor"));
    EXPECT_EQ(late.events.size(), 5u);
}

TEST_F(ObjectTable, ResetDestroysNestedObjectsOnce) {
    OXObjectManager& objects = world.objects;
    // A list of numbered objects inside a numbered object, all in the table,
    // and an earlier object that refers to a later one: Reset destroys the
    // later one first, and neither the list nor the reference may touch
    // their targets again.
    OXComplexObject* early = world.Numbered(59, "Link");
    auto* target = world.AddAttr<OXComplexObject>(early, "Target", "Alarm", nullptr);
    objects.Add(*early);
    auto* list = new OXListObject(new TestDecl("list"), "Media");
    for (long id : {61, 62}) {
        OXComplexObject* media = world.Numbered(id, "Media");
        objects.Add(*media);
        list->Add(media);
    }
    list->Add(TestWorld::Number(1));
    OXComplexObject* owner = world.Numbered(60, "Alarm");
    world.AddAttr<OXListObject>(owner, "ReplyObjectList", "list", list);
    objects.Add(*owner);
    ASSERT_EQ(target->SetObjValue(owner), OXExecuteResult::ER_OK);
    EXPECT_EQ(early->GetReference("Target"), owner);
    EXPECT_EQ(objects.GetObjectCount(), 4);

    int before = LiveDecls();
    objects.Reset();
    EXPECT_EQ(objects.GetObjectCount(), 0);
    // Link 5, two media 4 each, alarm 7 with its list and number element.
    EXPECT_EQ(LiveDecls(), before - 20);
    objects.Add(*world.Numbered(61, "Media"));
    EXPECT_EQ(objects.Lookup(61)->GetObjectId(), 61);
}

TEST(ExecuteManager, KeepsCopiesAndHandsThemBack) {
    OXExecuteManager executions;
    int live = LiveDecls();
    {
        TestDecl number("number");
        executions.Add(0, number);
        EXPECT_EQ(executions.GetCount(), 0u);
        executions.Add(7, number);
        TestDecl text("string");
        executions.Add(7, text);
        executions.Add(8, text);
    }
    // Copies live on after the originals.
    ASSERT_NE(executions.Lookup(7), nullptr);
    EXPECT_EQ(executions.Lookup(7)->GetClassName(), "number");
    EXPECT_EQ(executions.Lookup(8)->GetClassName(), "string");
    EXPECT_EQ(executions.Lookup(9), nullptr);
    EXPECT_EQ(LiveDecls(), live + 2);

    std::unique_ptr<const OXClassDeclInterface> taken = executions.Remove(7);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->GetClassName(), "number");
    EXPECT_EQ(executions.Lookup(7), nullptr);
    EXPECT_EQ(executions.Remove(7), nullptr);
    EXPECT_EQ(LiveDecls(), live + 2);
    taken.reset();

    executions.Reset();
    EXPECT_EQ(executions.GetCount(), 0u);
    EXPECT_EQ(LiveDecls(), live);
}

}  // namespace
