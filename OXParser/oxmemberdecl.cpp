#include "oxmemberdecl.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

OXAttributeDeclaration::OXAttributeDeclaration(OXParserNodeManager* manager,
                                               OXMemberModifier* modifier,
                                               OXClassDeclaration* classDecl,
                                               OXParserSymbol* attributeName,
                                               OXUnitSpecification* unitSpecification,
                                               OXAccessRight* accessRight)
    : OXParserNode(manager),
      pModifier(modifier),
      pClassDecl(classDecl),
      pAttributeName(attributeName),
      pUnitSpecfication(unitSpecification),
      pAccessRight(accessRight) {
    assert(pModifier && pClassDecl && pAttributeName && pUnitSpecfication && pAccessRight);
}

OXAttributeDeclaration::~OXAttributeDeclaration() {
    delete pModifier;
    delete pClassDecl;
    delete pAttributeName;
    delete pUnitSpecfication;
    delete pAccessRight;
}

void OXAttributeDeclaration::Rollback() {
    pModifier = nullptr;
    pClassDecl = nullptr;
    pAttributeName = nullptr;
    pUnitSpecfication = nullptr;
    pAccessRight = nullptr;
    OXParserNode::Rollback();
}

tagExecuteResult OXAttributeDeclaration::AssignConstraints(OXAttribute& attribute,
                                                           OXObject& object) const {
    if (constantKnown < 0) {
        constantKnown = HasConstantConstraints() ? 1 : 0;
        if (constantKnown == 1) {
            // Constants each give their value and no error but a right of
            // the enum that is not there; all four are written either way.
            constantUnit = pUnitSpecfication->GetUnitStr(constantResult, object);
            tagExecuteResult result = OXCommand::ER_OK;
            constantMul = pUnitSpecfication->GetMul(result, object);
            constantDiv = pUnitSpecfication->GetDiv(result, object);
            constantRight = pAccessRight->GetAccessRight(constantResult, object);
        }
    }
    if (constantKnown == 1) {
        OXAttributeConstraints constraints;
        constraints.isConst = pModifier->GetValue() == OXMM_CONST;
        constraints.unitStr = constantUnit;
        constraints.unitMul = constantMul;
        constraints.unitDiv = constantDiv;
        constraints.accessRight = constantRight;
        attribute.SetConstraints(constraints);
        return constantResult;
    }
    // Worked out in one piece and stored once, so that the attribute takes
    // the record it shares with the other objects of its class in one step.
    // The first error stops the chain; what was worked out before it stays.
    tagExecuteResult result = OXCommand::ER_OK;
    OXAttributeConstraints constraints = attribute.GetConstraints();
    constraints.isConst = pModifier->GetValue() == OXMM_CONST;
    constraints.unitStr = pUnitSpecfication->GetUnitStr(result, object);
    if (result == OXCommand::ER_OK)
        constraints.unitMul = pUnitSpecfication->GetMul(result, object);
    if (result == OXCommand::ER_OK)
        constraints.unitDiv = pUnitSpecfication->GetDiv(result, object);
    if (result == OXCommand::ER_OK)
        constraints.accessRight = pAccessRight->GetAccessRight(result, object);
    attribute.SetConstraints(constraints);
    return result;
}

bool OXAttributeDeclaration::HasConstantConstraints() const {
    const OXAccessRight* right = pAccessRight;
    return dynamic_cast<const OXUnitIdConstant*>(pUnitSpecfication->GetUnitId()) != nullptr &&
           dynamic_cast<const OXUnitFactorConstant*>(pUnitSpecfication->GetMul()) != nullptr &&
           dynamic_cast<const OXUnitFactorConstant*>(pUnitSpecfication->GetDiv()) != nullptr &&
           (dynamic_cast<const OXAccessRightConstant*>(right) != nullptr ||
            dynamic_cast<const OXAccessRightEnum*>(right) != nullptr);
}

OXParameterDeclaration::OXParameterDeclaration(
    OXParserNodeManager* manager, OXClassDeclaration* classDecl, OXParserSymbol* parameterName,
    OXConstraintList* constraintList, OXValueExpression* defaultValue,
    OXUnitSpecification* unitSpecification, OXAccessRight* accessRight)
    : OXParserNode(manager),
      pClassDecl(classDecl),
      pParameterName(parameterName),
      pConstraintList(constraintList),
      pDefaultValue(defaultValue),
      pUnitSpecification(unitSpecification),
      pAccessRight(accessRight) {
    assert(pClassDecl && pParameterName && pConstraintList && pUnitSpecification && pAccessRight);
}

OXParameterDeclaration::~OXParameterDeclaration() {
    delete pClassDecl;
    delete pParameterName;
    delete pConstraintList;
    delete pDefaultValue;
    delete pUnitSpecification;
    delete pAccessRight;
}

void OXParameterDeclaration::Rollback() {
    pClassDecl = nullptr;
    pParameterName = nullptr;
    pConstraintList = nullptr;
    pDefaultValue = nullptr;
    pUnitSpecification = nullptr;
    pAccessRight = nullptr;
    OXParserNode::Rollback();
}

OXParameterDeclaration* OXParameterDeclaration::Specialize(const OXObject& object) const {
    return new OXParameterDeclaration(
        nullptr, pClassDecl->Clone(), pParameterName->Clone(), pConstraintList->Specialize(object),
        pDefaultValue != nullptr ? pDefaultValue->Specialize(object) : nullptr,
        pUnitSpecification->Specialize(object), pAccessRight->Specialize(object));
}

OXParameterDeclList* OXParameterDeclList::Specialize(const OXObject& object) const {
    auto* copy = new OXParameterDeclList(nullptr);
    for (const OXParameterDeclaration* parameter : items)
        copy->Add(parameter->Specialize(object));
    return copy;
}

OXFunctionDeclaration::OXFunctionDeclaration(
    OXParserNodeManager* manager, OXParserNumber* functionId, OXClassDeclaration* classDecl,
    OXParserSymbol* functionName, OXParameterDeclList* parameterDeclList,
    OXUnitSpecification* unitSpecification, OXAccessRight* accessRight)
    : OXParserNode(manager),
      pFunctionId(functionId),
      pClassDecl(classDecl),
      pFunctionName(functionName),
      pParameterDeclList(parameterDeclList),
      pUnitSpecification(unitSpecification),
      pAccessRight(accessRight) {
    assert(pFunctionId && pClassDecl && pFunctionName && pParameterDeclList && pUnitSpecification &&
           pAccessRight);
}

OXFunctionDeclaration::~OXFunctionDeclaration() {
    delete pFunctionId;
    delete pClassDecl;
    delete pFunctionName;
    delete pParameterDeclList;
    delete pUnitSpecification;
    delete pAccessRight;
}

void OXFunctionDeclaration::Rollback() {
    pFunctionId = nullptr;
    pClassDecl = nullptr;
    pFunctionName = nullptr;
    pParameterDeclList = nullptr;
    pUnitSpecification = nullptr;
    pAccessRight = nullptr;
    OXParserNode::Rollback();
}

void OXFunctionDeclaration::Accept(OXFunctionVisitor& visitor) {
    visitor.Visit(*this);
}

OXFunctionDeclaration* OXFunctionDeclaration::Specialize(const OXObject& object) const {
    return new OXFunctionDeclaration(
        nullptr, new OXParserNumber(nullptr, pFunctionId->GetValue()), pClassDecl->Clone(),
        pFunctionName->Clone(), pParameterDeclList->Specialize(object),
        pUnitSpecification->Specialize(object), pAccessRight->Specialize(object));
}

OXMemberDeclarationList::~OXMemberDeclarationList() {
    for (OXAttributeDeclaration* attribute : attributes)
        delete attribute;
    for (OXFunctionDeclaration* function : functions)
        delete function;
}

void OXMemberDeclarationList::Rollback() {
    attributes.clear();
    functions.clear();
    OXParserNode::Rollback();
}

void OXMemberDeclarationList::Add(OXParserNode* member) {
    if (member == nullptr)
        return;
    if (auto* attribute = dynamic_cast<OXAttributeDeclaration*>(member)) {
        attributes.push_back(attribute);
    } else if (auto* function = dynamic_cast<OXFunctionDeclaration*>(member)) {
        functions.push_back(function);
    } else {
        assert(!"OXMemberDeclarationList::Add: no member declaration");
    }
}

const OXAttributeDeclaration* OXMemberDeclarationList::GetAttrDecl(
    int index, tagMemberModifier modifier) const {
    if (index < 0)
        return nullptr;
    if (modifier == OXMM_ANY)
        return index < GetAttributeCount() ? attributes[static_cast<size_t>(index)] : nullptr;
    for (const OXAttributeDeclaration* attribute : attributes) {
        if (modifier != OXMM_ANY && attribute->GetModifier()->GetValue() != modifier)
            continue;
        if (index-- == 0)
            return attribute;
    }
    return nullptr;
}

const OXFunctionDeclaration* OXMemberDeclarationList::GetFuncDecl(int index) const {
    if (index < 0 || index >= GetFunctionCount())
        return nullptr;
    return functions[static_cast<size_t>(index)];
}
