// Leaf values of the command language (symbols, numbers, strings,
// references) and the expression lists that carry the values of a command.
#pragma once

#include "oxnodeinterfaces.h"
#include "oxparsernode.h"

#include <string>
#include <utility>
#include <vector>

class OXClassDeclaration;
class OXExpressionList;

// Numbers of the language are doubles; where an integer is meant they are
// converted as the controller board's processor does: saturated at the
// limits of the type, NaN as 0. A peer's huge number is no undefined cast.
long OXDoubleToLong(double value);
int OXDoubleToInt(double value);

class OXParserSymbol : public OXParserNode {
  public:
    OXParserSymbol(OXParserNodeManager* manager, std::string text)
        : OXParserNode(manager), symbol(std::move(text)) {}

    const std::string& GetSymbol() const { return symbol; }
    OXParserSymbol* Clone() const { return new OXParserSymbol(nullptr, symbol); }

  private:
    std::string symbol;
};

// A class name is written as a symbol.
using OXClassName = OXParserSymbol;

class OXExpression : public OXParserNode, public OXExpressionInterface {
  public:
    explicit OXExpression(OXParserNodeManager* manager,
                          OXExpressionKind kind = OXExpressionKind::OTHER)
        : OXParserNode(manager), OXExpressionInterface(kind) {}

    // A single expression counts as a list of one: itself.
    int Count() const override { return 1; }
    const OXExpression* Get(int index) const override { return index == 0 ? this : nullptr; }
    virtual const OXClassDeclaration* GetClassDecl() const { return nullptr; }
    // As Get, without a virtual call: the store's update walks take every
    // element of every value this way.
    const OXExpression* At(int index) const;
    // Deep copy without a node manager.
    virtual OXExpression* Clone() const = 0;
};

// Constants of the grammar are plain expressions.
using OXConstant = OXExpression;

class OXParserNumber : public OXExpression {
  public:
    OXParserNumber(OXParserNodeManager* manager, double v)
        : OXExpression(manager, OXExpressionKind::NUMBER), value(v) {}

    double GetValue() const { return value; }
    OXExpression* Clone() const override { return new OXParserNumber(nullptr, value); }

  private:
    double value;
};

class OXParserString : public OXExpression {
  public:
    OXParserString(OXParserNodeManager* manager, std::string v)
        : OXExpression(manager, OXExpressionKind::STRING), value(std::move(v)) {}

    const std::string& GetValue() const { return value; }
    OXExpression* Clone() const override { return new OXParserString(nullptr, value); }

  private:
    std::string value;
};

// "@id", and "null" as the reference to object 0.
class OXReference : public OXExpression {
  public:
    OXReference(OXParserNodeManager* manager, OXParserNumber* reference);
    ~OXReference() override;
    void Rollback() override;

    long GetObjectId() const { return OXDoubleToLong(pReference->GetValue()); }
    const OXParserNumber* GetReference() const { return pReference; }
    OXExpression* Clone() const override;

  private:
    OXParserNumber* pReference;
};

// "(a, b)" or "Class(a, b)": a list of expressions, tagged with a class in the
// second form.
class OXExpressionList : public OXExpression {
  public:
    // An empty list without arguments; a list of one element otherwise.
    explicit OXExpressionList(OXParserNodeManager* manager, OXExpression* first = nullptr,
                              OXClassDeclaration* classDecl = nullptr);
    ~OXExpressionList() override;
    void Rollback() override;

    void Add(OXExpression* expression);
    void Reserve(size_t count);
    bool IsEmpty() const { return count == 0; }
    // Tags the list with a class; a list is tagged at most once.
    void SetClassDecl(OXClassDeclaration* pCDecl);

    int Count() const override { return count; }
    const OXExpression* Get(int index) const override { return Item(index); }
    const OXExpression* Item(int index) const {
        return index >= 0 && index < count ? items[index] : nullptr;
    }
    const OXClassDeclaration* GetClassDecl() const override { return pClassDecl; }
    OXExpression* Clone() const override;

  private:
    // Takes the elements apart; inner lists down to depth are taken apart
    // by recursion, deeper ones with a work list.
    void DestroyElements(int depth);
    void DestroyElementsDeep();
    void FreeArray();

    // The elements, in an array of the node pool: a command makes and
    // destroys a list per bracket, and the general heap would see each.
    OXExpression** items = nullptr;
    int count = 0;
    int capacity = 0;
    OXClassDeclaration* pClassDecl;
};

inline const OXExpression* OXExpression::At(int index) const {
    if (GetKind() == OXExpressionKind::LIST)
        return static_cast<const OXExpressionList*>(this)->Item(index);
    return index == 0 ? this : nullptr;
}
