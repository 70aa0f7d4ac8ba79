// Members of a class definition: attributes and functions with their
// parameters, and the list that sorts them.
#pragma once

#include "oxaccessright.h"
#include "oxcommand.h"
#include "oxexpression.h"
#include "oxunitdecl.h"
#include "oxvaluedecl.h"

#include <string>
#include <vector>

class OXAttribute;
class OXClassDeclaration;
class OXFunctionVisitor;
class OXObject;

enum tagMemberModifier { OXMM_ANY = 0, OXMM_NORMAL = 1, OXMM_CONST = 2 };

class OXMemberModifier : public OXParserNode {
  public:
    OXMemberModifier(OXParserNodeManager* manager, tagMemberModifier modifier)
        : OXParserNode(manager), value(modifier) {}
    tagMemberModifier GetValue() const { return value; }

  private:
    tagMemberModifier value;
};

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
    // True when unit, factors and access right are written as constants (or
    // a right of the access-right enum): AssignConstraints then gives the
    // same on every object, whatever its values.
    bool HasConstantConstraints() const;

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
    // What AssignConstraints gives when it gives the same on every object,
    // worked out at its first call (known -1 until then, 0 when it depends
    // on the object).
    mutable signed char constantKnown = -1;
    mutable tagExecuteResult constantResult = OXCommand::ER_OK;
    mutable long constantMul = 1;
    mutable long constantDiv = 1;
    mutable long constantRight = 0;
    mutable std::string constantUnit;
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
    // The same where the kind of member is known.
    void Add(OXAttributeDeclaration* attribute) { attributes.push_back(attribute); }
    void Add(OXFunctionDeclaration* function) { functions.push_back(function); }
    int GetAttributeCount() const { return static_cast<int>(attributes.size()); }
    int GetFunctionCount() const { return static_cast<int>(functions.size()); }
    // The index-th attribute; with OXMM_ANY of all, else of those with that modifier.
    const OXAttributeDeclaration* GetAttrDecl(int index, tagMemberModifier modifier) const;
    const OXFunctionDeclaration* GetFuncDecl(int index) const;

  private:
    std::vector<OXAttributeDeclaration*> attributes;
    std::vector<OXFunctionDeclaration*> functions;
};
