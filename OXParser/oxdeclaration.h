// Declaration nodes of the command language: what a class definition is made
// of (members, units, access rights, constraints, templates), class
// declarations as written in commands, and the initializers of an enum.
#pragma once

#include "oxcommand.h"
#include "oxexpression.h"

#include <cassert>
#include <map>
#include <string>
#include <vector>

class OXAttribute;
class OXClassManager;
class OXFunctionVisitor;
class OXObject;
class OXObjectManager;
class OXTemplateArgumentList;
class OXTemplateParameterList;

enum tagMemberModifier { OXMM_ANY = 0, OXMM_NORMAL = 1, OXMM_CONST = 2 };

class OXMemberModifier : public OXParserNode {
  public:
    OXMemberModifier(OXParserNodeManager* manager, tagMemberModifier modifier)
        : OXParserNode(manager), value(modifier) {}
    tagMemberModifier GetValue() const { return value; }

  private:
    tagMemberModifier value;
};

// A node that owns one child: the child is destroyed with it and let go by
// Rollback. The Constant and Symbol forms of units, factors, access rights
// and value expressions are such nodes.
template <class Base, class Child>
class OXOwningNode : public Base {
  public:
    OXOwningNode(OXParserNodeManager* manager, Child* child) : Base(manager), pChild(child) {
        assert(pChild);
    }
    ~OXOwningNode() override { delete pChild; }
    void Rollback() override {
        pChild = nullptr;
        Base::Rollback();
    }

  protected:
    Child* pChild;
};

// ------------------------------------------------------------ unit factors

class OXUnitFactor : public OXParserNode {
  public:
    explicit OXUnitFactor(OXParserNodeManager* manager) : OXParserNode(manager) {}
    // A constant copy, with the value taken from the object where it names one.
    virtual OXUnitFactor* Specialize(const OXObject& object) const = 0;
    virtual long GetUnitFactor(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXUnitFactorConstant : public OXOwningNode<OXUnitFactor, OXParserNumber> {
  public:
    // Without a number the factor is 1.
    OXUnitFactorConstant(OXParserNodeManager* manager, OXParserNumber* factor);
    OXUnitFactor* Specialize(const OXObject& object) const override;
    long GetUnitFactor(tagExecuteResult& result, OXObject& object) const override;
    const OXParserNumber* GetFactor() const { return pChild; }
};

class OXUnitFactorSymbol : public OXOwningNode<OXUnitFactor, OXParserSymbol> {
  public:
    OXUnitFactorSymbol(OXParserNodeManager* manager, OXParserSymbol* symbol);
    OXUnitFactor* Specialize(const OXObject& object) const override;
    long GetUnitFactor(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// ------------------------------------------------------------ unit ids

class OXUnitId : public OXParserNode {
  public:
    explicit OXUnitId(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXUnitId* Specialize(const OXObject& object) const = 0;
    virtual std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXUnitIdConstant : public OXOwningNode<OXUnitId, OXParserString> {
  public:
    // Without a string the unit is the empty text.
    OXUnitIdConstant(OXParserNodeManager* manager, OXParserString* unit);
    OXUnitId* Specialize(const OXObject& object) const override;
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const override;
    const OXParserString* GetUnit() const { return pChild; }
};

class OXUnitIdSymbol : public OXOwningNode<OXUnitId, OXParserSymbol> {
  public:
    OXUnitIdSymbol(OXParserNodeManager* manager, OXParserSymbol* unit);
    OXUnitId* Specialize(const OXObject& object) const override;
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetUnit() const { return pChild; }
};

// ": unit * mul / div"; missing parts are an empty unit and factors of 1.
class OXUnitSpecification : public OXParserNode {
  public:
    OXUnitSpecification(OXParserNodeManager* manager, OXUnitId* unitId, OXUnitFactor* mul,
                        OXUnitFactor* div);
    ~OXUnitSpecification() override;
    void Rollback() override;

    const OXUnitId* GetUnitId() const { return pUnitId; }
    const OXUnitFactor* GetMul() const { return pMul; }
    const OXUnitFactor* GetDiv() const { return pDiv; }
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const;
    long GetMul(tagExecuteResult& result, OXObject& object) const;
    long GetDiv(tagExecuteResult& result, OXObject& object) const;
    // A constant copy with the values frozen from the object.
    OXUnitSpecification* Specialize(const OXObject& object) const;

  private:
    OXUnitId* pUnitId;
    OXUnitFactor* pMul;
    OXUnitFactor* pDiv;
};

// ------------------------------------------------------------ access rights

class OXAccessRight : public OXParserNode {
  public:
    explicit OXAccessRight(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXAccessRight* Specialize(const OXObject& object) const = 0;
    virtual long GetAccessRight(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXAccessRightConstant : public OXOwningNode<OXAccessRight, OXParserNumber> {
  public:
    OXAccessRightConstant(OXParserNodeManager* manager, OXParserNumber* accessRight);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const OXParserNumber* GetValue() const { return pChild; }
};

class OXAccessRightSymbol : public OXOwningNode<OXAccessRight, OXParserSymbol> {
  public:
    OXAccessRightSymbol(OXParserNodeManager* manager, OXParserSymbol* accessRight);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// "AR_USER" ... "AR_NON": a value of the enum "tagAccessRight" of the class table.
class OXAccessRightEnum : public OXAccessRight {
  public:
    OXAccessRightEnum(OXParserNodeManager* manager, OXClassManager& classes, const char* name);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const char* GetName() const { return pName; }
    long GetValue() const { return accessRight; }
    OXClassManager& GetClassManager() const { return classManager; }

  private:
    long accessRight;
    const char* pName;
    OXClassManager& classManager;
};

// ------------------------------------------------------------ value expressions

class OXValueExpression : public OXParserNode {
  public:
    explicit OXValueExpression(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXValueExpression* Specialize(const OXObject& object) const = 0;
};

class OXValueExpressionConstant : public OXOwningNode<OXValueExpression, OXExpression> {
  public:
    OXValueExpressionConstant(OXParserNodeManager* manager, OXExpression* expression);
    OXValueExpression* Specialize(const OXObject& object) const override;
    const OXExpression* GetExpression() const { return pChild; }
};

class OXValueExpressionSymbol : public OXOwningNode<OXValueExpression, OXParserSymbol> {
  public:
    OXValueExpressionSymbol(OXParserNodeManager* manager, OXParserSymbol* expression);
    OXValueExpression* Specialize(const OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// ------------------------------------------------------------ constraints

// "low..high", "low..", "..high" or a single value, which is both bounds.
class OXConstraintInterval : public OXParserNode {
  public:
    OXConstraintInterval(OXParserNodeManager* manager, OXValueExpression* low,
                         OXValueExpression* high);
    ~OXConstraintInterval() override;
    void Rollback() override;
    OXConstraintInterval* Specialize(const OXObject& object) const;
    const OXValueExpression* GetLow() const { return pLow; }
    const OXValueExpression* GetHigh() const { return pHigh; }

  private:
    OXValueExpression* pLow;
    OXValueExpression* pHigh;
};

// A vector of owned nodes, for the list nodes of the grammar.
template <class T>
class OXNodeVector : public OXParserNode {
  public:
    explicit OXNodeVector(OXParserNodeManager* manager, T* first = nullptr)
        : OXParserNode(manager) {
        Add(first);
    }
    ~OXNodeVector() override {
        for (T* node : items)
            delete node;
    }
    void Rollback() override {
        items.clear();
        OXParserNode::Rollback();
    }
    // A null pointer is ignored.
    void Add(T* node) {
        if (node != nullptr)
            items.push_back(node);
    }
    int Count() const { return static_cast<int>(items.size()); }
    bool IsEmpty() const { return items.empty(); }
    T* Get(int index) const {
        return index >= 0 && index < Count() ? items[static_cast<size_t>(index)] : nullptr;
    }

  protected:
    std::vector<T*> items;
};

class OXConstraintList : public OXNodeVector<OXConstraintInterval> {
  public:
    using OXNodeVector::OXNodeVector;
    OXConstraintList* Specialize(const OXObject& object) const;
};

// ------------------------------------------------------------ members

class OXAttributeDeclaration : public OXParserNode, public OXAttributeDeclInterface {
  public:
    OXAttributeDeclaration(OXParserNodeManager* manager, OXMemberModifier* modifier,
                           OXClassDeclaration* classDecl, OXParserSymbol* attributeName,
                           OXUnitSpecification* unitSpecification, OXAccessRight* accessRight);
    ~OXAttributeDeclaration() override;
    void Rollback() override;
    // Works out the constant state, unit and access right of one attribute
    // of an object.
    tagExecuteResult AssignConstraints(OXAttribute& attribute, OXObject& object) const override;

    const OXMemberModifier* GetModifier() const { return pModifier; }
    const OXClassDeclaration* GetClassDecl() const { return pClassDecl; }
    const std::string& GetAttributeName() const override { return pAttributeName->GetSymbol(); }
    const OXUnitSpecification* GetUnitSpecification() const { return pUnitSpecfication; }
    const OXAccessRight* GetAccessRight() const { return pAccessRight; }

  private:
    OXMemberModifier* pModifier;
    OXClassDeclaration* pClassDecl;
    OXParserSymbol* pAttributeName;
    OXUnitSpecification* pUnitSpecfication;
    OXAccessRight* pAccessRight;
};

class OXParameterDeclaration : public OXParserNode {
  public:
    OXParameterDeclaration(OXParserNodeManager* manager, OXClassDeclaration* classDecl,
                           OXParserSymbol* parameterName, OXConstraintList* constraintList,
                           OXValueExpression* defaultValue, OXUnitSpecification* unitSpecification,
                           OXAccessRight* accessRight);
    ~OXParameterDeclaration() override;
    void Rollback() override;
    OXParameterDeclaration* Specialize(const OXObject& object) const;

    const OXClassDeclaration* GetClassDecl() const { return pClassDecl; }
    const std::string& GetParameterName() const { return pParameterName->GetSymbol(); }
    const OXConstraintList* GetConstraintList() const { return pConstraintList; }
    const OXValueExpression* GetDefaultValue() const { return pDefaultValue; }
    const OXUnitSpecification* GetUnitSpecification() const { return pUnitSpecification; }
    const OXAccessRight* GetAccessRight() const { return pAccessRight; }

  private:
    OXClassDeclaration* pClassDecl;
    OXParserSymbol* pParameterName;
    OXConstraintList* pConstraintList;
    OXValueExpression* pDefaultValue;
    OXUnitSpecification* pUnitSpecification;
    OXAccessRight* pAccessRight;
};

class OXParameterDeclList : public OXNodeVector<OXParameterDeclaration> {
  public:
    using OXNodeVector::OXNodeVector;
    OXParameterDeclList* Specialize(const OXObject& object) const;
};

class OXFunctionDeclaration : public OXParserNode, public OXFunctionDeclInterface {
  public:
    OXFunctionDeclaration(OXParserNodeManager* manager, OXParserNumber* functionId,
                          OXClassDeclaration* classDecl, OXParserSymbol* functionName,
                          OXParameterDeclList* parameterDeclList,
                          OXUnitSpecification* unitSpecification, OXAccessRight* accessRight);
    ~OXFunctionDeclaration() override;
    void Rollback() override;

    long GetFunctionId() const override { return OXDoubleToLong(pFunctionId->GetValue()); }
    const std::string& GetFunctionName() const override { return pFunctionName->GetSymbol(); }
    const OXClassDeclaration* GetResultDeclaration() const { return pClassDecl; }
    const OXParameterDeclList* GetParameterDeclList() const { return pParameterDeclList; }
    const OXUnitSpecification* GetUnitSpecification() const { return pUnitSpecification; }
    const OXAccessRight* GetAccessRight() const { return pAccessRight; }
    void Accept(OXFunctionVisitor& visitor);
    OXFunctionDeclaration* Specialize(const OXObject& object) const;

  private:
    OXParserNumber* pFunctionId;
    OXClassDeclaration* pClassDecl;
    OXParserSymbol* pFunctionName;
    OXParameterDeclList* pParameterDeclList;
    OXUnitSpecification* pUnitSpecification;
    OXAccessRight* pAccessRight;
};

class OXMemberDeclarationList : public OXParserNode {
  public:
    explicit OXMemberDeclarationList(OXParserNodeManager* manager) : OXParserNode(manager) {}
    ~OXMemberDeclarationList() override;
    void Rollback() override;

    // Sorts an attribute or function declaration into its vector.
    void Add(OXParserNode* member);
    int GetAttributeCount() const { return static_cast<int>(attributes.size()); }
    int GetFunctionCount() const { return static_cast<int>(functions.size()); }
    // The index-th attribute; with OXMM_ANY of all, else of those with that modifier.
    const OXAttributeDeclaration* GetAttrDecl(int index, tagMemberModifier modifier) const;
    const OXFunctionDeclaration* GetFuncDecl(int index) const;

  private:
    std::vector<OXAttributeDeclaration*> attributes;
    std::vector<OXFunctionDeclaration*> functions;
};

// ------------------------------------------------------------ templates

// The formal names of "class X<class T, class U>".
class OXTemplateArgumentList : public OXNodeVector<OXParserSymbol> {
  public:
    using OXNodeVector::OXNodeVector;
    // Position of a formal name, or -1.
    int GetIndexOf(const std::string& name) const;
};

// The actual classes of "X<A, B>".
class OXTemplateParameterList : public OXNodeVector<OXClassDeclaration> {
  public:
    using OXNodeVector::OXNodeVector;
    // Appends the specialisation of each element to target, made if null.
    OXTemplateParameterList* Specialize(OXTemplateParameterList* target,
                                        const OXTemplateArgumentList& arguments,
                                        const OXTemplateParameterList& parameters) const;
    OXTemplateParameterList* Clone() const;
};

// A class as written in a command: name and template parameters.
class OXClassDeclaration : public OXParserNode, public OXClassDeclInterface {
  public:
    OXClassDeclaration(OXParserNodeManager* manager, OXClassName* className,
                       OXTemplateParameterList* templateParameterList);
    ~OXClassDeclaration() override;
    void Rollback() override;

    const std::string& GetClassName() const override { return pClassName->GetSymbol(); }
    const OXTemplateParameterList* GetParameterList() const { return pTemplateParameterList; }
    // There is no subclass check: a class tag overrides the declared class.
    bool IsSubClass(const OXClassDeclaration&) const { return true; }
    // The attribute that fits the class's definition, holding value; null if
    // the class is not in the table.
    OXAttribute* CreateAttribute(OXClassManager& classes, OXObject*& value,
                                 const OXAttributeDeclaration& declaration);
    // Makes the value of an expression: a class tag on the expression
    // overrides this class, a reference gives the object of the table, and
    // the definition of the class makes everything else. out is set only on
    // success; null stands for a null reference.
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects,
                                    const OXExpressionInterface& expression,
                                    tagStoreOption storeOption) const override;
    // Deepest nesting of values that CreateInstance makes.
    static constexpr int kMaxCreationDepth = 500;
    // The same without looking at the expression's class tag: the base part of
    // a tagged object is made of the tagged expression, and the tag would
    // otherwise send it back to the derived class.
    tagExecuteResult CreateUntaggedInstance(OXObject*& out, OXClassManager& classes,
                                            OXObjectManager& objects,
                                            const OXExpressionInterface& expression,
                                            tagStoreOption storeOption) const;
    // Substitutes the formal template arguments by the actual parameters.
    // Null when the substitution does not end or grows past all measure.
    OXClassDeclaration* Specialize(const OXTemplateArgumentList& arguments,
                                   const OXTemplateParameterList& parameters) const;
    OXClassDeclaration* Clone() const override;

  private:
    OXClassName* pClassName;
    OXTemplateParameterList* pTemplateParameterList;
};

// ------------------------------------------------------------ enums

class OXEnumInitializer : public OXParserNode {
  public:
    OXEnumInitializer(OXParserNodeManager* manager, OXParserString* name, OXParserNumber* value);
    ~OXEnumInitializer() override;
    void Rollback() override;
    const std::string& GetName() const { return pName->GetValue(); }
    int GetValue() const { return OXDoubleToInt(pValue->GetValue()); }

  private:
    OXParserString* pName;
    OXParserNumber* pValue;
};

class OXEnumInitializerList : public OXParserNode {
  public:
    OXEnumInitializerList(OXParserNodeManager* manager, OXEnumInitializer* first);
    ~OXEnumInitializerList() override;
    void Rollback() override;

    // A second initializer of a value already present is dropped.
    void Add(OXEnumInitializer* initializer);
    int Count() const { return static_cast<int>(order.size()); }
    // The text of a value, or null.
    const std::string* LookupEnumStr(int value) const;
    // The value of a text, or -1.
    int LookupEnumVal(const std::string& name) const;
    // By position of writing, or null.
    const OXEnumInitializer* GetEnumInitializer(int index) const;

  private:
    std::map<int, OXEnumInitializer*> initializers;
    std::vector<int> order;
};
