#include "oxdeclaration.h"

#include <cassert>

// Several operations below depend on the object store (reading attributes of
// an object, creating instances). They are placeholders returning neutral
// values until the execution layer fills them in.

// ------------------------------------------------------------ unit factors

OXUnitFactorConstant::OXUnitFactorConstant(OXParserNodeManager* manager, OXParserNumber* factor)
    : OXUnitFactor(manager), pFactor(factor != nullptr ? factor : new OXParserNumber(manager, 1)) {}

OXUnitFactorConstant::~OXUnitFactorConstant() {
    delete pFactor;
}

void OXUnitFactorConstant::Rollback() {
    pFactor = nullptr;
    OXUnitFactor::Rollback();
}

OXUnitFactor* OXUnitFactorConstant::Specialize(const OXObject&) const {
    return new OXUnitFactorConstant(nullptr, new OXParserNumber(nullptr, pFactor->GetValue()));
}

long OXUnitFactorConstant::GetUnitFactor(tagExecuteResult&, OXObject&) const {
    return OXDoubleToLong(pFactor->GetValue());
}

OXUnitFactorSymbol::OXUnitFactorSymbol(OXParserNodeManager* manager, OXParserSymbol* symbol)
    : OXUnitFactor(manager), pSymbol(symbol) {
    assert(pSymbol);
}

OXUnitFactorSymbol::~OXUnitFactorSymbol() {
    delete pSymbol;
}

void OXUnitFactorSymbol::Rollback() {
    pSymbol = nullptr;
    OXUnitFactor::Rollback();
}

OXUnitFactor* OXUnitFactorSymbol::Specialize(const OXObject&) const {
    return nullptr;
}

long OXUnitFactorSymbol::GetUnitFactor(tagExecuteResult&, OXObject&) const {
    return 1;
}

// ------------------------------------------------------------ unit ids

OXUnitIdConstant::OXUnitIdConstant(OXParserNodeManager* manager, OXParserString* unit)
    : OXUnitId(manager), pUnit(unit != nullptr ? unit : new OXParserString(manager, "")) {}

OXUnitIdConstant::~OXUnitIdConstant() {
    delete pUnit;
}

void OXUnitIdConstant::Rollback() {
    pUnit = nullptr;
    OXUnitId::Rollback();
}

OXUnitId* OXUnitIdConstant::Specialize(const OXObject&) const {
    return new OXUnitIdConstant(nullptr, new OXParserString(nullptr, pUnit->GetValue()));
}

std::string OXUnitIdConstant::GetUnitStr(tagExecuteResult&, OXObject&) const {
    return pUnit->GetValue();
}

OXUnitIdSymbol::OXUnitIdSymbol(OXParserNodeManager* manager, OXParserSymbol* unit)
    : OXUnitId(manager), pUnit(unit) {
    assert(pUnit);
}

OXUnitIdSymbol::~OXUnitIdSymbol() {
    delete pUnit;
}

void OXUnitIdSymbol::Rollback() {
    pUnit = nullptr;
    OXUnitId::Rollback();
}

OXUnitId* OXUnitIdSymbol::Specialize(const OXObject&) const {
    return nullptr;
}

std::string OXUnitIdSymbol::GetUnitStr(tagExecuteResult&, OXObject&) const {
    return {};
}

OXUnitSpecification::OXUnitSpecification(OXParserNodeManager* manager, OXUnitId* unitId,
                                         OXUnitFactor* mul, OXUnitFactor* div)
    : OXParserNode(manager),
      pUnitId(unitId != nullptr ? unitId : new OXUnitIdConstant(manager, nullptr)),
      pMul(mul != nullptr ? mul : new OXUnitFactorConstant(manager, nullptr)),
      pDiv(div != nullptr ? div : new OXUnitFactorConstant(manager, nullptr)) {}

OXUnitSpecification::~OXUnitSpecification() {
    delete pUnitId;
    delete pMul;
    delete pDiv;
}

void OXUnitSpecification::Rollback() {
    pUnitId = nullptr;
    pMul = nullptr;
    pDiv = nullptr;
    OXParserNode::Rollback();
}

std::string OXUnitSpecification::GetUnitStr(tagExecuteResult& result, OXObject& object) const {
    return pUnitId->GetUnitStr(result, object);
}

long OXUnitSpecification::GetMul(tagExecuteResult& result, OXObject& object) const {
    return pMul->GetUnitFactor(result, object);
}

long OXUnitSpecification::GetDiv(tagExecuteResult& result, OXObject& object) const {
    return pDiv->GetUnitFactor(result, object);
}

// ------------------------------------------------------------ access rights

OXAccessRightConstant::OXAccessRightConstant(OXParserNodeManager* manager,
                                             OXParserNumber* accessRight)
    : OXAccessRight(manager), pAccessRight(accessRight) {
    assert(pAccessRight);
}

OXAccessRightConstant::~OXAccessRightConstant() {
    delete pAccessRight;
}

void OXAccessRightConstant::Rollback() {
    pAccessRight = nullptr;
    OXAccessRight::Rollback();
}

OXAccessRight* OXAccessRightConstant::Specialize(const OXObject&) const {
    return new OXAccessRightConstant(nullptr,
                                     new OXParserNumber(nullptr, pAccessRight->GetValue()));
}

long OXAccessRightConstant::GetAccessRight(tagExecuteResult&, OXObject&) const {
    return OXDoubleToLong(pAccessRight->GetValue());
}

OXAccessRightSymbol::OXAccessRightSymbol(OXParserNodeManager* manager, OXParserSymbol* accessRight)
    : OXAccessRight(manager), pAccessRight(accessRight) {
    assert(pAccessRight);
}

OXAccessRightSymbol::~OXAccessRightSymbol() {
    delete pAccessRight;
}

void OXAccessRightSymbol::Rollback() {
    pAccessRight = nullptr;
    OXAccessRight::Rollback();
}

OXAccessRight* OXAccessRightSymbol::Specialize(const OXObject&) const {
    return nullptr;
}

long OXAccessRightSymbol::GetAccessRight(tagExecuteResult&, OXObject&) const {
    return 0;
}

OXAccessRightEnum::OXAccessRightEnum(OXParserNodeManager* manager, OXClassManager& classes,
                                     const char* name)
    : OXAccessRight(manager), accessRight(0), pName(name), classManager(classes) {
    assert(pName);
    // Resolving the name through the enum "tagAccessRight" of the class table
    // comes with the store; until then every right is 0, as it is before the
    // controller has sent that enum.
}

OXAccessRight* OXAccessRightEnum::Specialize(const OXObject&) const {
    return new OXAccessRightConstant(nullptr,
                                     new OXParserNumber(nullptr, static_cast<double>(accessRight)));
}

long OXAccessRightEnum::GetAccessRight(tagExecuteResult& result, OXObject&) const {
    result = accessRight < 0 ? OXCommand::ER_ACCESS_RIGHT_ENUM_NOT_DEFINED : OXCommand::ER_OK;
    return accessRight;
}

// ------------------------------------------------------------ value expressions

OXValueExpressionConstant::OXValueExpressionConstant(OXParserNodeManager* manager,
                                                     OXExpression* expression)
    : OXValueExpression(manager), pExpression(expression) {
    assert(pExpression);
}

OXValueExpressionConstant::~OXValueExpressionConstant() {
    delete pExpression;
}

void OXValueExpressionConstant::Rollback() {
    pExpression = nullptr;
    OXValueExpression::Rollback();
}

OXValueExpression* OXValueExpressionConstant::Specialize(const OXObject&) const {
    return new OXValueExpressionConstant(nullptr, pExpression->Clone());
}

OXValueExpressionSymbol::OXValueExpressionSymbol(OXParserNodeManager* manager,
                                                 OXParserSymbol* expression)
    : OXValueExpression(manager), pExpression(expression) {
    assert(pExpression);
}

OXValueExpressionSymbol::~OXValueExpressionSymbol() {
    delete pExpression;
}

void OXValueExpressionSymbol::Rollback() {
    pExpression = nullptr;
    OXValueExpression::Rollback();
}

OXValueExpression* OXValueExpressionSymbol::Specialize(const OXObject&) const {
    return nullptr;
}

// ------------------------------------------------------------ constraints

OXConstraintInterval::OXConstraintInterval(OXParserNodeManager* manager, OXValueExpression* low,
                                           OXValueExpression* high)
    : OXParserNode(manager), pLow(low), pHigh(high) {}

OXConstraintInterval::~OXConstraintInterval() {
    // A single value is both bounds: the same node, destroyed once.
    if (pHigh != pLow)
        delete pHigh;
    delete pLow;
}

void OXConstraintInterval::Rollback() {
    pLow = nullptr;
    pHigh = nullptr;
    OXParserNode::Rollback();
}

OXConstraintInterval* OXConstraintInterval::Specialize(const OXObject&) const {
    return nullptr;
}

OXConstraintList* OXConstraintList::Specialize(const OXObject&) const {
    return nullptr;
}

// ------------------------------------------------------------ members

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

tagExecuteResult OXAttributeDeclaration::AssignConstraints(OXAttribute&, OXObject&) const {
    return OXCommand::ER_OK;
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

OXParameterDeclaration* OXParameterDeclaration::Specialize(const OXObject&) const {
    return nullptr;
}

OXParameterDeclList* OXParameterDeclList::Specialize(const OXObject&) const {
    return nullptr;
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

void OXFunctionDeclaration::Accept(OXFunctionVisitor&) {}

OXFunctionDeclaration* OXFunctionDeclaration::Specialize(const OXObject&) const {
    return nullptr;
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

// ------------------------------------------------------------ templates

int OXTemplateArgumentList::GetIndexOf(const std::string& name) const {
    for (int i = 0; i < Count(); ++i) {
        if (items[static_cast<size_t>(i)]->GetSymbol() == name)
            return i;
    }
    return -1;
}

OXTemplateParameterList* OXTemplateParameterList::Specialize(
    OXTemplateParameterList* target, const OXTemplateArgumentList& arguments,
    const OXTemplateParameterList& parameters) const {
    if (target == nullptr)
        target = new OXTemplateParameterList(nullptr);
    for (const OXClassDeclaration* declaration : items) {
        target->Add(declaration->Specialize(arguments, parameters));
    }
    return target;
}

OXTemplateParameterList* OXTemplateParameterList::Clone() const {
    auto* copy = new OXTemplateParameterList(nullptr);
    for (const OXClassDeclaration* declaration : items)
        copy->Add(declaration->Clone());
    return copy;
}

OXClassDeclaration::OXClassDeclaration(OXParserNodeManager* manager, OXClassName* className,
                                       OXTemplateParameterList* templateParameterList)
    : OXParserNode(manager), pClassName(className), pTemplateParameterList(templateParameterList) {
    assert(pClassName && pTemplateParameterList);
}

OXClassDeclaration::~OXClassDeclaration() {
    delete pClassName;
    delete pTemplateParameterList;
}

void OXClassDeclaration::Rollback() {
    pClassName = nullptr;
    pTemplateParameterList = nullptr;
    OXParserNode::Rollback();
}

OXAttribute* OXClassDeclaration::CreateAttribute(OXClassManager&, OXObject*&,
                                                 const OXAttributeDeclaration&) {
    return nullptr;
}

tagExecuteResult OXClassDeclaration::CreateInstance(OXObject*& out, OXClassManager&,
                                                    OXObjectManager&, const OXExpression&,
                                                    tagStoreOption) const {
    out = nullptr;
    return OXCommand::ER_OK;
}

OXClassDeclaration* OXClassDeclaration::Specialize(
    const OXTemplateArgumentList& arguments, const OXTemplateParameterList& parameters) const {
    OXClassDeclaration* result;
    int i = arguments.GetIndexOf(GetClassName());
    if (i < 0) {
        // No formal argument: the own name.
        result = new OXClassDeclaration(nullptr, pClassName->Clone(),
                                        new OXTemplateParameterList(nullptr));
    } else {
        // A formal argument: the actual parameter, with its own parameters
        // specialised in turn.
        const OXClassDeclaration* pParameter = parameters.Get(i);
        assert(pParameter);
        result = new OXClassDeclaration(
            nullptr, pParameter->pClassName->Clone(),
            pParameter->pTemplateParameterList->Specialize(nullptr, arguments, parameters));
    }
    pTemplateParameterList->Specialize(result->pTemplateParameterList, arguments, parameters);
    return result;
}

OXClassDeclaration* OXClassDeclaration::Clone() const {
    return new OXClassDeclaration(nullptr, pClassName->Clone(), pTemplateParameterList->Clone());
}

// ------------------------------------------------------------ enums

OXEnumInitializer::OXEnumInitializer(OXParserNodeManager* manager, OXParserString* name,
                                     OXParserNumber* value)
    : OXParserNode(manager), pName(name), pValue(value) {
    assert(pName && pValue);
}

OXEnumInitializer::~OXEnumInitializer() {
    delete pName;
    delete pValue;
}

void OXEnumInitializer::Rollback() {
    pName = nullptr;
    pValue = nullptr;
    OXParserNode::Rollback();
}

OXEnumInitializerList::OXEnumInitializerList(OXParserNodeManager* manager, OXEnumInitializer* first)
    : OXParserNode(manager) {
    Add(first);
}

OXEnumInitializerList::~OXEnumInitializerList() {
    for (auto& entry : initializers)
        delete entry.second;
}

void OXEnumInitializerList::Rollback() {
    initializers.clear();
    order.clear();
    OXParserNode::Rollback();
}

void OXEnumInitializerList::Add(OXEnumInitializer* initializer) {
    if (initializer == nullptr)
        return;
    if (!initializers.emplace(initializer->GetValue(), initializer).second) {
        // The map keeps one text per value; the first one written stays.
        delete initializer;
        return;
    }
    order.push_back(initializer->GetValue());
}

const std::string* OXEnumInitializerList::LookupEnumStr(int value) const {
    auto it = initializers.find(value);
    return it != initializers.end() ? &it->second->GetName() : nullptr;
}

int OXEnumInitializerList::LookupEnumVal(const std::string& name) const {
    for (int value : order) {
        const OXEnumInitializer* initializer = initializers.at(value);
        if (initializer->GetName() == name)
            return initializer->GetValue();
    }
    return -1;
}

const OXEnumInitializer* OXEnumInitializerList::GetEnumInitializer(int index) const {
    if (index < 0 || index >= Count())
        return nullptr;
    return initializers.at(order[static_cast<size_t>(index)]);
}
