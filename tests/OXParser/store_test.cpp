// The object store driven by controller text: each text is parsed, executed
// and announced, and the store, its readers and the handler calls are checked
// after each step. Every world is built from the command language.
#include "oxattribute.h"
#include "oxcommand.h"
#include "oxcommandparser.h"
#include "oxcommandnodes.h"
#include "oxdefinition.h"
#include "oxexecutemanager.h"
#include "oxobject.h"
#include "oxobjectvisitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

// Records every announcement as one line, with what can be read of the
// object at that moment.
class RecordingHandler : public OXObjectHandler {
  public:
    void NewClassDefinition(const OXClassDefinition& d) override {
        calls.push_back("class " + d.GetClassName());
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
    Calls Take() {
        Calls taken;
        taken.swap(calls);
        return taken;
    }
    Calls calls;
};

// Records what the visitors see, and the table's announcements.
struct Recorder : OXObjectVisitor, OXAttributeVisitor, ListObserver<OXObjectManager, OXObject> {
    void Visit(OXComplexObject* o) override {
        seen.push_back(o != nullptr ? o->GetClassName() + std::to_string(o->GetObjectId())
                                    : "null");
    }
    void Visit(OXListObject* o) override { seen.push_back("list:" + o->GetElementClassName()); }
    void Visit(OXEnumObject* o) override { seen.push_back("enum:" + o->AsString()); }
    void Visit(OXNumberObject* o) override { seen.push_back(o->AsString()); }
    void Visit(OXStringObject* o) override { seen.push_back("\"" + o->AsString() + "\""); }
    // "name=value" of every attribute.
    void Visit(OXAttribute& a) override {
        OXObject* value = a.GetAttrObject();
        seen.push_back(a.GetAttrName() + "=" + (value != nullptr ? value->AsString() : "null"));
    }
    void NewObject(const OXObject& o) override {
        seen.push_back("new " + std::to_string(o.GetObjectId()));
    }
    void DeletedObject(const OXObject& o) override {
        seen.push_back("del " + std::to_string(o.GetObjectId()));
    }
    Calls seen;
};

// A function declaration as only a test adds one to an object.
struct Function : OXFunctionDeclInterface {
    Function(long id, std::string name) : id(id), name(std::move(name)) {}
    long GetFunctionId() const override { return id; }
    const std::string& GetFunctionName() const override { return name; }
    long id;
    std::string name;
};

struct FunctionNames : OXFunctionVisitor {
    void Visit(OXFunctionDeclInterface& f) override { names += f.GetFunctionName() + " "; }
    std::string names;
};

struct CountingObserver : Observer<OXObject> {
    void Update(OXObject*) override { ++updates; }
    int updates = 0;
};

class StoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(parser.Create(&handler));
        // The definitions that every machine world starts with.
        RunAll(
            {"enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, "
             "\"AR_RAD\"=3, \"AR_NON\"=4, };",
             "class Object { const number Id; };",
             "class Exception { number Code; string Text; };"});
        handler.Take();
    }

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
    // Each text with the error message it must give ("ok" for none).
    void Expect(const std::vector<std::pair<std::string, std::string>>& cases) {
        for (const auto& c : cases)
            EXPECT_EQ(Run(c.first), c.second) << c.first;
    }
    OXComplexObject* Object(long id) {
        return dynamic_cast<OXComplexObject*>(parser.GetObjectManager().Lookup(id));
    }
    long Count() { return parser.GetObjectManager().GetObjectCount(); }
    // "name=value" of every attribute of an object, base levels first; ""
    // when the object is not in the table.
    std::string Attributes(long id) {
        Recorder r;
        if (Object(id) != nullptr)
            Object(id)->VisitAttributes(r);
        std::string text;
        for (const std::string& value : r.seen)
            text += (text.empty() ? "" : " ") + value;
        return text;
    }

    RecordingHandler handler;
    OXCommandParser parser;
};

TEST_F(StoreTest, DefinitionsObjectsUpdatesAndDeletionsWithTheirAnnouncements) {
    // Each step: the text, its outcome, the announcements, and then the
    // attributes of object 5 ("" when it is not in the table).
    const std::string m4 = "Id=5 Name=M4 Speed=10";
    struct Step {
        std::string text, result;
        Calls calls;
        std::string motor;
    } steps[] = {
        {"class Motor : Object { string Name; number Speed; };", "ok", {"class Motor"}, ""},
        // The table keeps the first definition.
        {"class Motor { };", "Semantic Error: ER_DUPLICATED_CLASS_NAME", {}, ""},
        {"new Motor(5, \"M1\", 1234);", "ok", {"new Motor 5"}, "Id=5 Name=M1 Speed=1234"},
        // Positional update: the constant Id takes no value, surplus values
        // are ignored.
        {"upd 5 (\"M3\", 10, 99, 98);", "ok", {"upd Motor 5"}, "Id=5 Name=M3 Speed=10"},
        // A failing update keeps what it wrote before the failure, untold.
        {"upd 5 (\"M4\", \"fast\");", "Semantic Error: ER_INVALID_EXPRESSION_TYPE", {}, m4},
        // A number already in use, and too few values: nothing stored.
        {"new Motor(5, \"again\", 1);", "Semantic Error: ER_OBJECT_ALREADY_EXISTS", {}, m4},
        {"new Motor(6, \"long\", 1, 2, 3);", "ok", {"new Motor 6"}, m4},
        // Deletion: the last values are written, the handler sees the object whole.
        {"del 6 (\"gone\");", "ok", {"del Motor 6"}, m4},
        // A deletion whose values do not fit removes the object all the same.
        {"del 5 (7);", "Semantic Error: ER_INVALID_EXPRESSION_TYPE", {}, ""},
    };
    for (const Step& s : steps) {
        EXPECT_EQ(Run(s.text), s.result) << s.text;
        EXPECT_EQ(handler.Take(), s.calls) << s.text;
        EXPECT_EQ(Attributes(5), s.motor) << s.text;
    }
    EXPECT_EQ(Count(), 0);
}

TEST_F(StoreTest, ClassChainLookupsAndPositionalUpdate) {
    RunAll({"class Base : Object { number X; number P; };",
            // Both levels declare X: the base's hides the derived one for
            // lookups, and a positional update writes both, base first.
            "class Child : Base { number X; const number C; number Y; };",
            "new Child(5, -1, -2, -3, -4, -5);"});
    OXComplexObject* child = Object(5);
    ASSERT_NE(child, nullptr);
    OXComplexObject* base = child->GetBase();
    EXPECT_EQ(child->GetAttribute("X"), base->GetAttribute("X"));
    EXPECT_EQ(child->LookupAttribute("X"), base->GetAttribute("X"));
    EXPECT_EQ(child->LookupAttribute("Id"), base->GetBase()->GetAttribute("Id"));
    // The hidden X is still visited.
    EXPECT_EQ(Attributes(5), "Id=5 X=-1 P=-2 X=-3 C=-4 Y=-5");

    // Each level tells its observers when its part is written; a wrong kind
    // at the derived level keeps the base values and tells only the base.
    CountingObserver onChild, onBase;
    child->Attach(&onChild);
    base->Attach(&onBase);
    // An observed object still knows its class.
    EXPECT_EQ(child->GetClassName() + " " + base->GetClassName(), "Child Base");
    EXPECT_TRUE(child->IsClass("Object"));
    struct Step {
        const char *text, *result, *values;
        int childUpdates, baseUpdates;
    } steps[] = {
        {"upd 5 (1, 2, 3, 4);", "ok", "Id=5 X=1 P=2 X=3 C=-4 Y=4", 1, 1},
        {"upd 5 (7, 8, \"x\", 9);", "Semantic Error: ER_INVALID_EXPRESSION_TYPE",
         "Id=5 X=7 P=8 X=3 C=-4 Y=4", 1, 2},
        {"upd 5 ();", "ok", "Id=5 X=7 P=8 X=3 C=-4 Y=4", 2, 3},
    };
    for (const Step& s : steps) {
        EXPECT_EQ(Run(s.text), s.result) << s.text;
        EXPECT_EQ(Attributes(5), s.values) << s.text;
        EXPECT_EQ(onChild.updates, s.childUpdates) << s.text;
        EXPECT_EQ(onBase.updates, s.baseUpdates) << s.text;
    }
    child->Detach(&onChild);
    base->Detach(&onBase);
    EXPECT_EQ(child->ObserverCount() + base->ObserverCount(), 0);
    EXPECT_EQ(child->GetClassName(), "Child");

    // Functions added to an object: the derived level's first, by number or
    // by name; the visit goes base first. The attributes stay found.
    base->Add(*new Function(7, "Stop"));
    base->Add(*new Function(8, "Reset"));
    child->Add(*new Function(7, "Run"));
    EXPECT_EQ(child->GetFunction(7)->GetFunctionName(), "Run");
    EXPECT_EQ(child->GetFunction("Reset")->GetFunctionId(), 8);
    EXPECT_EQ(child->GetFunction(9), nullptr);
    FunctionNames visited;
    child->VisitFunctions(visited);
    EXPECT_EQ(visited.names, "Stop Reset Run ");
    EXPECT_EQ(child->GetAttributeCount(), 6);
    EXPECT_EQ(child->LookupAttribute("Y")->GetAttrObject()->AsString(), "4");
}

// Everything that can be read of a value: class, text, enum text, unit and
// right of each attribute, list elements, and the number of a table object
// (the attributes of a top one).
std::string Deep(const OXObject* o, bool top = false) {
    if (o == nullptr)
        return "null";
    if (o->GetObjectId() != 0 && !top)
        return "@" + std::to_string(o->GetObjectId());
    std::string text = o->GetClassName() + ":" + o->AsString();
    if (auto* e = dynamic_cast<const OXEnumObject*>(o))
        text += "/" + (e->GetEnumStr() != nullptr ? *e->GetEnumStr() : std::string("?"));
    if (auto* l = dynamic_cast<const OXListObject*>(o)) {
        text += "<" + l->GetElementClassName() + ">[";
        for (const OXObject* element : *l->GetList())
            text += Deep(element) + " ";
        text += "]";
    }
    if (auto* c = dynamic_cast<const OXComplexObject*>(o)) {
        struct Attributes : OXAttributeVisitor {
            void Visit(OXAttribute& a) override {
                text += a.GetAttrName() + "(" + a.GetClassName() + (a.IsConst() ? " const " : " ") +
                        a.GetUnitStr() + "*" + std::to_string(a.GetUnitMul()) + "/" +
                        std::to_string(a.GetUnitDiv()) + "!" + std::to_string(a.GetAccessRight()) +
                        ")=" + Deep(a.GetAttrObject()) + " ";
            }
            std::string text;
        } attributes;
        const_cast<OXComplexObject*>(c)->VisitAttributes(attributes);
        text += "{" + attributes.text + "}";
    }
    return text;
}

TEST_F(StoreTest, UpdatesGiveTheValuesAndClassesOfFreshlyMadeOnes) {
    // Values written where they are (numbers, texts, enums, references,
    // lists, nested objects of classes without number) must end exactly as
    // values made anew of the same text.
    RunAll({"enum OnOff { \"Off\"=0, \"On\"=1, };", "class Pos { number X : \"mm\" * 1 / 10; };",
            "class Point : Pos { number Y ! AR_ADMIN; OnOff F; Object R; const number C; };",
            // Units given by an attribute are worked out again on a new value.
            "class Scaled { number M; number V : \"u\" * M; };",
            "class Gauge : Object { number N; string S; list<number> L; OnOff E; Object R; "
            "list<Point> P; Point Q; list<Scaled> K; list<string> T; };",
            "new Object(7);", "new Object(8);",
            "new Gauge(5, 1, \"a\", (1, 2), 0, @7, (Point(1, 2, 0, @7, 1), Point(3, 4, 1, @0, 2)), "
            "Point(5, 6, 1, @8, 3), (Scaled(2, 3)), (\"x\", \"y\"));"});
    CountingObserver observer;
    ASSERT_NE(Object(5), nullptr);
    Object(5)->Attach(&observer);
    handler.Take();
    // Object 5 as it is, and a new object made of the given values.
    auto describe = [this](long id) {
        if (Object(id) == nullptr)
            return std::string("gone");
        std::string text = Deep(Object(id), true);
        return text.substr(text.find("N("));
    };
    auto fresh = [&](const std::string& values) {
        EXPECT_EQ(Run("new Gauge(6, " + values + ");"), "ok") << values;
        std::string text = describe(6);
        EXPECT_EQ(Run("del 6 ();"), "ok");
        handler.Take();
        return text;
    };
    const std::string before =
        "9, \"b\", (3, 4), 1, @8, (Point(7, 8, 1, @8, 5), Point(9, 10, 0, @7, 6)), "
        "Point(11, 12, 0, @0, 7), (Scaled(4, 5)), (\"p\", \"q\")";
    struct Step {
        // The values of the update; its outcome; the values of which a new
        // object must equal object 5 afterwards ("" for the update's own).
        std::string values, result, now;
        // Whether the nested values stay where they are (written in place).
        bool kept = false;
    } steps[] = {
        {before, "ok", "", true},
        // Untagged elements take the element class, surplus values are
        // ignored, an enum value without text has none.
        {"2, \"c\", (5, 6), 7, @7, ((1, 2, 1, @7, 8, 99), (3, 4, 0, @8, 9)), (5, 6, 1, @7, 1), "
         "(Scaled(4, 6)), (\"r\", \"s\")",
         "ok", "", true},
        // A tag of another class, lengths that change, null elements and
        // tagged numbers make new values; the next plain ones come back.
        {"3, \"d\", (void(5), 6, 7), 0, @0, (Pos(1), @0, Point(3, 4, 0, @7, 2)), "
         "Point(1, 2, 0, @8, 3), (Scaled(8, 5), Scaled(1, 1)), (\"t\")",
         "ok", ""},
        {"4, \"e\", (5, 6, 7), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(9, 5), Scaled(1, 2)), (\"u\")",
         "ok", ""},
        // A reference where an enum stands leaves it empty; a new value of M
        // gives V a new unit factor.
        {"5, \"f\", (1, 2, 3), 0, @7, (Point(1, 2, @7, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")",
         "ok", ""},
        {"6, \"g\", (1, 2, 4), 1, @7, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")",
         "ok", ""},
        // A failing value keeps the whole old value of its attribute and what
        // was written before it.
        {"7, \"h\", (1, 2, 5), 0, @8, (Point(1, 2, 1, @99, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5))",
         "Semantic Error: ER_INVALID_OBJECT_ID",
         "7, \"h\", (1, 2, 5), 0, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")"},
        {"8, \"i\", (1, 2, 5), 1, @8, (Point(1, \"x\", 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5))",
         "Semantic Error: ER_INVALID_EXPRESSION_TYPE",
         "8, \"i\", (1, 2, 5), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")"},
        {"9, \"j\", (1, 2, 5), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4)",
         "Semantic Error: ER_INVALID_EXPRESSION_COUNT",
         "9, \"j\", (1, 2, 5), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")"},
        {"1, \"k\", (5, \"x\"), 1", "Semantic Error: ER_INVALID_EXPRESSION_TYPE",
         "1, \"k\", (1, 2, 5), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")"},
        {"\"x\"", "Semantic Error: ER_INVALID_EXPRESSION_TYPE",
         "1, \"k\", (1, 2, 5), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"u\")"},
        // Elements like the one before them, and one that is not: texts of
        // the same length, a text where a number stands, a tagged number
        // among plain ones and plain numbers over it.
        {"3, \"m\", (4, 5, void(6)), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"v\", "
         "\"w\")",
         "ok", ""},
        {"3, \"m\", (7, 8, 9), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"x\", 3)",
         "Semantic Error: ER_INVALID_EXPRESSION_TYPE",
         "3, \"m\", (7, 8, 9), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"v\", "
         "\"w\")"},
        {"4, \"n\", (1, 2, 3), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), (\"y\", "
         "\"z\")",
         "ok", "", true},
        // Trailing attributes keep their values.
        {"2, \"l\"", "ok",
         "2, \"l\", (1, 2, 3), 1, @8, (Point(1, 2, 1, @8, 3), Point(5, 6, 0, @0, 4), "
         "Point(7, 8, 1, @7, 5)), Point(3, 4, 1, @0, 6), (Scaled(3, 5), Scaled(1, 2)), "
         "(\"y\", \"z\")"},
    };
    int told = 0;
    for (const Step& s : steps) {
        const OXObject* points = Object(5)->GetAttrValue("P");
        const OXObject* point = Object(5)->GetAttrValue("Q");
        EXPECT_EQ(Run("upd 5 (" + s.values + ");"), s.result) << s.values;
        if (s.kept) {
            EXPECT_EQ(Object(5)->GetAttrValue("P"), points) << s.values;
            EXPECT_EQ(Object(5)->GetAttrValue("Q"), point) << s.values;
        }
        bool ok = s.result == "ok";
        told += ok ? 1 : 0;
        EXPECT_EQ(handler.Take(), ok ? Calls{"upd Gauge 5"} : Calls{}) << s.values;
        EXPECT_EQ(observer.updates, told) << s.values;
        EXPECT_EQ(describe(5), fresh(s.now.empty() ? s.values : s.now)) << s.values;
    }
    // The same update twice in a row gives the same object again.
    std::string last = describe(5);
    EXPECT_EQ(Run("upd 5 (2, \"l\");"), "ok");
    EXPECT_EQ(describe(5), last);
    Object(5)->Detach(&observer);
}

TEST_F(StoreTest, TemplatesListsAndNestedObjectsWithTheirOwnership) {
    RunAll({
        "class Base : Object { number X; string Label; };",
        "class Child : Base { number X; };",
        "new Child(1, 10, \"b\", 20);",
        "class Pair<class K, class V> : Object { K Key; V Val; };",
        "new Pair<string, number>(2, \"k\", 3);",
        "class Holder : Object { Child Inner; list<Child> Kids; };",
        // Nested objects with numbers enter the table; null stays a null element.
        "new Holder(4, Child(5, 1, \"i\", 2), (Child(6, 3, \"k\", 4), null, @1));",
    });
    EXPECT_EQ(Attributes(2), "Id=2 Key=k Val=3");
    EXPECT_EQ(Count(), 5);
    EXPECT_EQ(Object(4)->GetReference("Inner"), Object(5));
    // The list hands its null element on.
    Recorder kids;
    Object(4)->GetListObject("Kids")->VisitElements(kids);
    EXPECT_EQ(kids.seen, (Calls{"Child6", "null", "Child1"}));
    // The handler hears of the outer object; the nested ones entered the
    // table before it.
    EXPECT_EQ(handler.Take().back(), "new Holder 4");

    // Replacing a nested numbered value leaves the old one in the table; a
    // null reference empties the attribute; a missing one fails and keeps it.
    Expect({{"upd 4 (Child(9, 0, \"r\", 0));", "ok"},
            {"upd 4 (@99);", "Semantic Error: ER_INVALID_OBJECT_ID"}});
    EXPECT_EQ(Object(4)->GetReference("Inner"), Object(9));
    EXPECT_EQ(Object(5)->GetObjectId(), 5);
    EXPECT_EQ(Run("upd 4 (@0);"), "ok");
    EXPECT_EQ(Object(4)->GetReference("Inner"), nullptr);

    // An object of the table that is deleted leaves no dangling reference:
    // the attribute and the list element that pointed at it read null.
    RunAll({"upd 4 (@5);", "del 5 ();", "del 6 ();"});
    EXPECT_EQ(Object(4)->GetReference("Inner"), nullptr);
    const OXObjectList* list = Object(4)->GetList("Kids");
    ASSERT_EQ(list->size(), 3u);
    EXPECT_EQ((*list)[0], nullptr);
    EXPECT_EQ((*list)[2], Object(1));

    // Reset destroys every object once: a list of numbered objects inside a
    // numbered one, and an earlier object that refers to a later one.
    RunAll({"class Media : Object { };", "class Alarm : Object { list<Media> Replies; };",
            "class Link : Object { Alarm Target; };", "new Link(59, @0);",
            "new Alarm(60, (Media(61), Media(62)));", "upd 59 (@60);"});
    parser.GetObjectManager().Reset();
    EXPECT_EQ(Count(), 0);
    EXPECT_EQ(Run("new Media(61);"), "ok");
}

TEST_F(StoreTest, TemplateAndClassErrors) {
    RunAll({"class Foo : Object { number A; number B; };", "enum Colour { \"Red\"=1, };",
            "class Bad : Colour { };", "class Box<class T> : Object { T V; };",
            // Classes that hold themselves or are based on each other.
            "class Chain : Object { Chain Next; };", "class Ring : Loop { };",
            "class Loop : Ring { };", "class Odd : Object { Undefined U; };",
            "class Plain { number A; };",
            // A template based on a template of its arguments.
            "class Tagged<class T, class U> : Box<list<U>> { T Tag; };"});
    Expect({
        {"new Foo(1, 2);", "Semantic Error: ER_INVALID_EXPRESSION_COUNT"},
        {"new list<number>(1, 2);", "Semantic Error: ER_NOT_AN_OBJECT_OBJECT"},
        {"new Foo<number>(1, 2, 3);", "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT"},
        {"new Box(1, 2);", "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT"},
        {"new Box<number<Foo>>(1, 2);", "Semantic Error: ER_UNEXCPETED_TEMPLATE_PARAMETERS"},
        // The enum base is made of the one value, and is no class.
        {"new Bad(1);", "Semantic Error: ER_NON_COMPLEX_CLASS_BASE_CLASS"},
        {"new Nothing(1);", "Semantic Error: ER_UNKNOWN_CLASS"},
        // Self-holding and cyclic classes end in an error, not in endless
        // recursion.
        {"new Chain(1, 5);", "Semantic Error: ER_INVALID_EXPRESSION_COUNT"},
        {"new Ring(1);", "Semantic Error: ER_INVALID_EXPRESSION_COUNT"},
        // An attribute of a class that does not exist, given a value that
        // needs no class (a null reference, or a value with a class tag).
        {"new Odd(1, @0);", "Semantic Error: ER_UNKNOWN_CLASS"},
        {"new Odd(1, Plain(5));", "Semantic Error: ER_UNKNOWN_CLASS"},
    });
    EXPECT_EQ(Count(), 0);
    EXPECT_EQ(Run("new Chain(90, Chain(91, @0));"), "ok");
    EXPECT_EQ(Object(90)->GetReference("Next"), Object(91));
    // A class tag overrides the declared class; the base part of a tagged
    // value is made of the same values.
    RunAll({"class Dev : Object { string Name; };", "class Pump : Dev { number Flow; };",
            "new Box<Dev>(2, Pump(3, \"p\", 7));"});
    EXPECT_EQ(Attributes(3), "Id=3 Name=p Flow=7");
    RunAll({"new Tagged<string, number>(7, (1, 2), \"t\");"});
    EXPECT_EQ(Object(7)->GetBase()->GetListObject("V")->GetElementClassName(), "number");
    EXPECT_EQ(Object(7)->GetString("Tag"), "t");
    // A reference to a complex object where a number is declared: dropped to
    // null (new) or refused by the attribute (upd); the object stays.
    RunAll({"new Box<number>(6, @3);"});
    EXPECT_EQ(Object(6)->GetAttrValue("V"), nullptr);
    EXPECT_NE(Object(6)->GetNumberAttr("V"), nullptr);
    EXPECT_EQ(Run("upd 6 (@3);"), "Semantic Error: ER_INVALID_EXPRESSION_TYPE");
    EXPECT_EQ(Object(3)->GetObjectId(), 3);
}

TEST_F(StoreTest, UnitsAndAccessRightsGivenBySymbols) {
    RunAll({
        "class Setter : Object { string Unit; number Mul; number Div; tagAccessRight Right; "
        "number Value : Unit * Mul / Div ! AR_SERVICE; number Plain; number Own ! AR_ADMIN; };",
        "new Setter(1, \"bar\", 3, 100, 3, 250, 4, 5);",
    });
    OXAttribute* value = Object(1)->GetAttribute("Value");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->GetUnitStr() + " " + std::to_string(value->GetUnitMul()) + "/" +
                  std::to_string(value->GetUnitDiv()),
              "bar 3/100");
    EXPECT_DOUBLE_EQ(Object(1)->GetNumber("Value"), 7.5);
    // Without a right written, AR_USER; with a symbol of the enum, its value.
    for (auto [name, right] : {std::pair{"Value", 2}, {"Plain", 0}, {"Own", 1}})
        EXPECT_EQ(Object(1)->GetAttribute(name)->GetAccessRight(), right) << name;

    // Decimals follow the divisor; a zero divisor from the controller does
    // not divide.
    const struct {
        long div;
        int decimals;
        double value;
    } units[] = {{9, 0, 250. / 3}, {10, 1, 75}, {0, 0, 750}};
    for (const auto& u : units) {
        value->SetUnitDiv(u.div);
        EXPECT_EQ(value->GetNoOfDecimals(), u.decimals) << u.div;
        EXPECT_DOUBLE_EQ(Object(1)->GetNumber("Value"), u.value) << u.div;
    }

    RunAll({"class Wrong : Object { number Speed; number V : Speed; };",
            "class BadRight : Object { number R; number V ! R; };",
            "class NoRight : Object { number V ! Missing; };"});
    Expect({{"new Wrong(2, 1, 2);", "Semantic Error: ER_UNIT_ID_NOT_A_STRING"},
            {"new BadRight(2, 1, 2);", "Semantic Error: ER_ACCESS_RIGHT_NOT_A_NUMBER"},
            {"new NoRight(2, 1);", "Semantic Error: ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME"}});
    EXPECT_EQ(Count(), 1);

    // A right that the controller's own enum leaves out breaks the model the
    // store relies on: the assertion ends the process.
    parser.Reset();
    RunAll({"enum tagAccessRight { \"AR_USER\"=0, };", "class Object { const number Id; };"});
    EXPECT_DEATH(Run("class Own : Object { number V ! AR_ADMIN; };"), "accessRight >= 0");
}

TEST_F(StoreTest, ObjectsOfOneClassShareNothingThatDiffers) {
    // Units taken from each object's own attributes, so the attribute "V"
    // differs between objects of the class; a list longer than 64 elements
    // with numbered and unnumbered ones.
    RunAll(
        {"class Dev : Object { string U; number D; number V : U * 1 / D; number P : \"mm\"; "
         "list<Object> Refs; };",
         "class Item : Object { };"});
    std::string refs;
    for (int i = 0; i < 70; ++i)
        refs += std::string(i == 0 ? "" : ", ") + (i % 33 == 32 ? "@7" : "Object(0)");
    RunAll({"new Item(7);", "new Dev(1, \"bar\", 10, 5, 1, (" + refs + "));",
            "new Dev(2, \"rpm\", 100, 5, 1, ());", "new Dev(3, \"bar\", 10, 5, 1, ());"});
    const struct {
        long id;
        std::string unit;
        double value;
    } devices[] = {{1, "bar", 0.5}, {2, "rpm", 0.05}, {3, "bar", 0.5}};
    for (const auto& d : devices) {
        OXAttribute* v = Object(d.id)->GetAttribute("V");
        EXPECT_EQ(v->GetUnitStr(), d.unit) << d.id;
        EXPECT_DOUBLE_EQ(Object(d.id)->GetNumber("V"), d.value) << d.id;
        EXPECT_EQ(Object(d.id)->GetAttribute("P")->GetUnitStr(), "mm") << d.id;
        EXPECT_EQ(Object(d.id)->GetAttributeCount(), 6) << d.id;
    }
    // A change of one attribute's unit stays with that attribute.
    Object(3)->GetAttribute("V")->SetUnitDiv(1);
    EXPECT_DOUBLE_EQ(Object(3)->GetNumber("V"), 5);
    EXPECT_DOUBLE_EQ(Object(1)->GetNumber("V"), 0.5);
    EXPECT_EQ(Object(1)->GetListObject("Refs")->GetElementClassName(), "Object");

    // The numbered elements, past 64 too, belong to the table: deleting the
    // object empties them and the list keeps its own elements.
    RunAll({"del 7 ();"});
    const OXObjectList* list = Object(1)->GetList("Refs");
    ASSERT_EQ(list->size(), 70u);
    for (size_t i = 0; i < list->size(); ++i)
        EXPECT_EQ((*list)[i] == nullptr, i % 33 == 32) << i;
    parser.GetObjectManager().Reset();
    EXPECT_EQ(Count(), 0);
}

TEST_F(StoreTest, ReadersGiveTheirKindAndNeutralValuesOtherwise) {
    // Signed values; of two texts for one value the first stays.
    RunAll(
        {"enum tagState { \"Off\"=-2, \"Idle\"=+1, \"Running\"=2, \"Busy\"=2, "
         "\"Far\"=1000, };",
         "class Sensor : Object { };",
         "class Motor : Object { number Speed : \"rpm\" * 3 / 10; string Name; tagState State; "
         "list<number> Items; Sensor Target; void Spare; };",
         "new Sensor(7);", "new Motor(5, 125, \"Pump\", 2, (1, 3), @7, -4);"});
    OXComplexObject* motor = Object(5);
    ASSERT_NE(motor, nullptr);
    // The values themselves reach the clients' messages; a "void" attribute
    // holds a number.
    EXPECT_DOUBLE_EQ(motor->GetNumber("Spare"), -4);
    EXPECT_EQ(motor->GetAttrValue("Target"), Object(7));
    EXPECT_EQ(*motor->GetEnumObject("State")->GetEnumStr(), "Running");
    // Texts of small values, of values far off or below zero, and none for
    // a value the enum does not have.
    const std::pair<const char*, const char*> texts[] = {
        {"-2", "Off"}, {"0", "-"},      {"1", "Idle"}, {"2", "Running"},
        {"3", "-"},    {"1000", "Far"}, {"255", "-"},  {"-1", "-"}};
    for (const auto& t : texts) {
        ASSERT_EQ(Run(std::string("upd 5 (125, \"Pump\", ") + t.first + ");"), "ok") << t.first;
        const std::string* text = motor->GetEnumObject("State")->GetEnumStr();
        EXPECT_EQ(text != nullptr ? *text : std::string("-"), t.second) << t.first;
    }
    ASSERT_EQ(Run("upd 5 (125, \"Pump\", 2);"), "ok");
    // Each reader finds the attribute of its kind and nothing otherwise:
    // n, s, e for the attributes, N, S, E for non-neutral values.
    auto found = [motor](const char* name) {
        return std::string(motor->GetNumberAttr(name) ? "n" : "") +
               (motor->GetStringAttr(name) ? "s" : "") + (motor->GetEnumAttr(name) ? "e" : "") +
               (motor->GetList(name) ? "l" : "") + (motor->GetReference(name) ? "r" : "") +
               (motor->GetNumber(name) != 0 ? "N" : "") +
               (motor->GetString(name) != "" ? "S" : "") + (motor->GetEnum(name) != 0 ? "E" : "");
    };
    const std::pair<const char*, const char*> kinds[] = {{"Nope", ""},   {"Speed", "nN"},
                                                         {"Name", "sS"}, {"State", "eE"},
                                                         {"Items", "l"}, {"Target", "r"}};
    for (const auto& k : kinds)
        EXPECT_EQ(found(k.first), k.second) << k.first;
}

TEST_F(StoreTest, ResultsExceptionsAndExecutions) {
    // Functions take parameters with every form of constraint, and defaults
    // that are a number, a symbol or null.
    RunAll(
        {"class Motor : Object { number Speed; 1 $ string Name(); 2 $ number G(number a {..5, "
         "1.., 3, x..y, -2..\"z\"} = -1 : \"s\" ! 3, string b = Limit, Obj o = null) : \"u\" "
         "! AR_SERVICE; };",
         "new Motor(5, 1);"});
    handler.Take();
    // Registrations of an expected result class: copies that outlive the
    // declaration they were made from.
    OXCommandParser trees;
    ASSERT_TRUE(trees.Create(nullptr));
    OXExecuteManager& executions = parser.GetExecuteManager();
    char text[] = "new string();";
    ASSERT_EQ(trees.ParseTree(text), 0);
    for (long id : {7, 8, 9})
        executions.Add(id, *static_cast<const OXNewCommand*>(trees.GetCommand())->GetClassDecl());
    trees.DropCommand();
    struct Step {
        const char *text, *result;
        Calls calls;
    } steps[] = {
        {"res 7 : \"abc\";", "ok", {"res 7 string abc"}},
        // Used once; unregistered results are numbers.
        {"res 7 : \"abc\";", "Semantic Error: ER_INVALID_EXPRESSION_TYPE", {}},
        {"res 7 : 12;", "ok", {"res 7 number 12"}},
        // An exception ends the registration as well.
        {"exc 8 : (3, \"broken\");", "ok", {"exc 8 Exception broken"}},
        {"res 8 : 4;", "ok", {"res 8 number 4"}},
        // A reply that names an object of the table leaves it there.
        {"res 10 : @5;", "ok", {"res 10 Motor "}},
        {"upd 5 (2);", "ok", {"upd Motor 5"}},
        {"exe 1 $ 5.1();", "Semantic Error: ER_INVALID_FUNCTION_ID", {}},
        {"exe 1 $ 6.1();", "Semantic Error: ER_INVALID_OBJECT_ID", {}},
    };
    for (const Step& s : steps) {
        EXPECT_EQ(Run(s.text), s.result) << s.text;
        EXPECT_EQ(handler.Take(), s.calls) << s.text;
    }
    EXPECT_EQ(Count(), 1);
    EXPECT_EQ(executions.GetCount(), 1u);
    // Reset drops the registrations; without the controller's Exception
    // class no exception can be made.
    parser.Reset();
    EXPECT_EQ(executions.GetCount(), 0u);
    EXPECT_EQ(Run("exc 7 : (1, \"x\");"), "Semantic Error: ER_UNKNOWN_CLASS");
}

TEST_F(StoreTest, TableOrderObserversAndObjectCount) {
    RunAll({"class Root : Object { number ObjectCount; };", "class Sensor : Object { };"});
    OXObjectManager& objects = parser.GetObjectManager();
    EXPECT_EQ(objects.InSync(), 0);
    RunAll({"new Sensor(30);", "new Root(1, 3);", "new Sensor(20);"});
    EXPECT_EQ(objects.InSync(), 1);
    EXPECT_EQ(Run("new Sensor(10);"), "ok");
    EXPECT_EQ(objects.InSync(), 2);

    // Visits go in arrival order; a late observer is told of every object first.
    Recorder order, late;
    objects.Visit(order);
    EXPECT_EQ(order.seen, (Calls{"Sensor30", "Root1", "Sensor20", "Sensor10"}));
    objects.Attach(late, -1);
    RunAll({"del 20 ();", "new Sensor(40);"});
    EXPECT_EQ(late.seen, (Calls{"new 30", "new 1", "new 20", "new 10", "del 20", "new 40"}));
    EXPECT_TRUE(objects.Detach(late));
    // The count an object announces is read again when it goes.
    EXPECT_EQ(Run("del 1 (2);"), "ok");
    EXPECT_EQ(objects.InSync(), 2);
    EXPECT_EQ(Run("del 10 ();"), "ok");
    EXPECT_EQ(objects.InSync(), 1);

    // Numbers far apart, negative and huge ones are found, counted and
    // removed alike, however the table keeps them.
    struct Step {
        const char* text;
        long id;
        bool found;
        int inSync;
    } steps[] = {
        {"new Root(2, 5);", 2, true, 2},
        {"new Sensor(-7);", -7, true, 2},
        {"new Sensor(4000000000);", 4000000000, true, 1},
        {"upd 4000000000 ();", 4000000000, true, 1},
        {"new Sensor(4000000000);", 4000000000, true, 1},  // in use: refused
        {"del -7 ();", -7, false, 2},
        {"new Sensor(-7);", -7, true, 1},
        {"del 4000000000 ();", 4000000000, false, 2},
    };
    for (const Step& s : steps) {
        Run(s.text);
        EXPECT_EQ(objects.Lookup(s.id) != nullptr, s.found) << s.text;
        EXPECT_EQ(objects.InSync(), s.inSync) << s.text;
    }
    EXPECT_EQ(objects.Lookup(0), nullptr);
    EXPECT_EQ(objects.Lookup(3999999999), nullptr);
}

}  // namespace
