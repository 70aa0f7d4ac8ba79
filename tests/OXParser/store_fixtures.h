// Small stand-ins for the parse nodes that the object store works with, so the
// store can be exercised without the grammar: class declarations that create
// values the way the definitions do, attribute declarations with fixed or
// attribute-sourced constraints, expressions and function declarations.
#pragma once

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace storetest {

// A value of the command language: number, string, @reference or a list.
struct TestExpr : OXExpressionInterface {
    enum Kind { NUMBER, STRING, REFERENCE, LIST };
    Kind kind = NUMBER;
    double number = 0;
    std::string text;
    std::vector<TestExpr> items;

    static TestExpr Num(double v) {
        TestExpr e;
        e.number = v;
        return e;
    }
    static TestExpr Str(const std::string& s) {
        TestExpr e;
        e.kind = STRING;
        e.text = s;
        return e;
    }
    static TestExpr Ref(long id) {
        TestExpr e;
        e.kind = REFERENCE;
        e.number = static_cast<double>(id);
        return e;
    }
    static TestExpr List(std::vector<TestExpr> items) {
        TestExpr e;
        e.kind = LIST;
        e.items = std::move(items);
        return e;
    }

    int Count() const override { return kind == LIST ? static_cast<int>(items.size()) : 1; }
    const OXExpressionInterface* Get(int index) const override {
        if (kind != LIST)
            return index == 0 ? this : nullptr;
        return index >= 0 && index < static_cast<int>(items.size()) ? &items[index] : nullptr;
    }
};

// Counts live declarations: every object and attribute owns one, so the
// count tells whether values were destroyed.
inline int& LiveDecls() {
    static int live = 0;
    return live;
}

// A class declaration. "number", "void" and "string" create values like the
// built-in definitions; other classes use a maker, if one is given.
class TestDecl : public OXClassDeclInterface {
  public:
    using Maker = std::function<OXObject*(const TestExpr&)>;

    explicit TestDecl(std::string name, Maker maker = nullptr)
        : name(std::move(name)), maker(std::move(maker)) {
        ++LiveDecls();
    }
    ~TestDecl() override { --LiveDecls(); }

    const std::string& GetClassName() const override { return name; }
    TestDecl* Clone() const override { return new TestDecl(name, maker); }

    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& /*classes*/,
                                    OXObjectManager& objects,
                                    const OXExpressionInterface& expression,
                                    tagStoreOption storeOption) const override {
        const auto& expr = static_cast<const TestExpr&>(expression);
        if (expr.kind == TestExpr::REFERENCE) {
            long id = static_cast<long>(expr.number);
            if (id == 0) {
                out = nullptr;
                return OXExecuteResult::ER_OK;
            }
            out = objects.Lookup(id);
            return out != nullptr ? OXExecuteResult::ER_OK : OXExecuteResult::ER_INVALID_OBJECT_ID;
        }
        OXObject* made = nullptr;
        tagExecuteResult result = OXExecuteResult::ER_OK;
        if (name == "number" || name == "void") {
            if (expr.kind != TestExpr::NUMBER)
                return OXExecuteResult::ER_INVALID_EXPRESSION_TYPE;
            made = new OXNumberObject(Clone(), expr.number);
        } else if (name == "string") {
            if (expr.kind != TestExpr::STRING)
                return OXExecuteResult::ER_INVALID_EXPRESSION_TYPE;
            made = new OXStringObject(Clone(), expr.text);
        } else if (maker) {
            made = maker(expr);
        } else {
            return OXExecuteResult::ER_UNKNOWN_CLASS;
        }
        if (made != nullptr && storeOption != SO_NO_STORE) {
            long id = made->GetObjectId();
            if (id == 0 && storeOption == SO_STORE_OBJECT) {
                result = OXExecuteResult::ER_NOT_AN_OBJECT_OBJECT;
            } else if (id != 0) {
                if (objects.Lookup(id) != nullptr)
                    result = OXExecuteResult::ER_OBJECT_ALREADY_EXISTS;
                else
                    objects.Add(*made);
            }
        }
        if (result != OXExecuteResult::ER_OK) {
            delete made;
            made = nullptr;
        }
        out = made;
        return result;
    }

  private:
    std::string name;
    Maker maker;
};

// An attribute declaration with fixed constraints, or a unit text taken from
// another string attribute of the same object (as a unit symbol does).
class TestAttrDecl : public OXAttributeDeclInterface {
  public:
    explicit TestAttrDecl(std::string name) : name(std::move(name)) {}

    const std::string& GetAttributeName() const override { return name; }
    tagExecuteResult AssignConstraints(OXAttribute& attribute, OXObject& object) const override {
        if (isConst)
            attribute.SetConst(true);
        if (!unitFrom.empty()) {
            OXAttribute* source = object.GetAttribute(unitFrom);
            if (source == nullptr)
                return OXExecuteResult::ER_INVALID_UNIT_ID_ATTRIBUTE_NAME;
            auto* text = dynamic_cast<OXStringObject*>(source->GetAttrObject());
            if (text == nullptr)
                return OXExecuteResult::ER_UNIT_ID_NOT_A_STRING;
            attribute.SetUnitStr(text->GetValue());
        } else {
            attribute.SetUnitStr(unit);
        }
        attribute.SetUnitMul(mul);
        attribute.SetUnitDiv(div);
        attribute.SetAccessRight(accessRight);
        return OXExecuteResult::ER_OK;
    }

    std::string name;
    bool isConst = false;
    std::string unit;
    std::string unitFrom;
    long mul = 1;
    long div = 1;
    long accessRight = 0;
};

class TestFunctionDecl : public OXFunctionDeclInterface {
  public:
    TestFunctionDecl(long id, std::string name) : id(id), name(std::move(name)) {}
    long GetFunctionId() const override { return id; }
    const std::string& GetFunctionName() const override { return name; }

  private:
    long id;
    std::string name;
};

// One port's store with the declarations that its objects point at. The
// declarations are members ahead of the tables, so they outlive the objects.
class TestWorld {
  public:
    TestWorld() {
        classes.Initialize();
        objects.Initialize(classes);
    }

    TestAttrDecl& AttrDecl(const std::string& name) {
        attrDecls.emplace_back(name);
        return attrDecls.back();
    }

    static OXComplexObject* Complex(const std::string& className, OXComplexObject* base = nullptr) {
        return new OXComplexObject(new TestDecl(className), base);
    }

    // Adds an attribute of the value's kind T to the object and returns it.
    template <class T>
    OXAttributeTpl<T>* AddAttr(OXComplexObject* object, TestAttrDecl& decl,
                               const std::string& className, OXObject* value,
                               TestDecl::Maker maker = nullptr) {
        auto* attribute = new OXAttributeTpl<T>(decl, new TestDecl(className, maker), value);
        object->Add(*attribute);
        return attribute;
    }
    template <class T>
    OXAttributeTpl<T>* AddAttr(OXComplexObject* object, const std::string& name,
                               const std::string& className, OXObject* value) {
        return AddAttr<T>(object, AttrDecl(name), className, value);
    }

    static OXNumberObject* Number(double value) {
        return new OXNumberObject(new TestDecl("number"), value);
    }
    static OXStringObject* String(const std::string& value) {
        return new OXStringObject(new TestDecl("string"), value);
    }

    // An object of class className derived from "Object", numbered id.
    OXComplexObject* Numbered(long id, const std::string& className) {
        OXComplexObject* root = Complex("Object");
        AddAttr<OXNumberObject>(root, "Id", "number", Number(static_cast<double>(id)));
        return Complex(className, root);
    }

    // Makes numbered "Media" objects from a number expression.
    TestDecl::Maker MediaMaker() {
        return [this](const TestExpr& expr) -> OXObject* {
            return expr.kind == TestExpr::NUMBER ? Numbered(static_cast<long>(expr.number), "Media")
                                                 : nullptr;
        };
    }

    std::deque<TestAttrDecl> attrDecls;
    OXClassManager classes;
    OXObjectManager objects;
};

}  // namespace storetest
