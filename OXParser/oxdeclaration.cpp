#include "oxdeclaration.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

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

OXUnitFactor* OXUnitFactorSymbol::Specialize(const OXObject& object) const {
    return new OXUnitFactorConstant(
        nullptr, new OXParserNumber(nullptr, object.GetNumber(pSymbol->GetSymbol())));
}

long OXUnitFactorSymbol::GetUnitFactor(tagExecuteResult& result, OXObject& object) const {
    OXAttribute* attribute = object.GetAttribute(pSymbol->GetSymbol());
    if (attribute == nullptr) {
        result = OXCommand::ER_INVALID_FACTOR_ATTRIBUTE_NAME;
        return 1;
    }
    auto* number = dynamic_cast<OXAttributeTpl<OXNumberObject>*>(attribute);
    if (number == nullptr || number->GetValue() == nullptr) {
        result = OXCommand::ER_FACTOR_NOT_A_NUMBER;
        return 1;
    }
    return OXDoubleToLong(number->GetValue()->GetValue(1, 1));
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

OXUnitId* OXUnitIdSymbol::Specialize(const OXObject& object) const {
    return new OXUnitIdConstant(nullptr,
                                new OXParserString(nullptr, object.GetString(pUnit->GetSymbol())));
}

std::string OXUnitIdSymbol::GetUnitStr(tagExecuteResult& result, OXObject& object) const {
    OXAttribute* attribute = object.GetAttribute(pUnit->GetSymbol());
    if (attribute == nullptr) {
        result = OXCommand::ER_INVALID_UNIT_ID_ATTRIBUTE_NAME;
        return {};
    }
    auto* text = dynamic_cast<OXAttributeTpl<OXStringObject>*>(attribute);
    if (text == nullptr || text->GetValue() == nullptr) {
        result = OXCommand::ER_UNIT_ID_NOT_A_STRING;
        return {};
    }
    return text->GetValue()->GetValue();
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

OXUnitSpecification* OXUnitSpecification::Specialize(const OXObject& object) const {
    return new OXUnitSpecification(nullptr, pUnitId->Specialize(object), pMul->Specialize(object),
                                   pDiv->Specialize(object));
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

OXAccessRight* OXAccessRightSymbol::Specialize(const OXObject& object) const {
    return new OXAccessRightConstant(
        nullptr, new OXParserNumber(nullptr, object.GetEnum(pAccessRight->GetSymbol())));
}

long OXAccessRightSymbol::GetAccessRight(tagExecuteResult& result, OXObject& object) const {
    OXAttribute* attribute = object.GetAttribute(pAccessRight->GetSymbol());
    if (attribute == nullptr) {
        result = OXCommand::ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME;
        return 0;
    }
    auto* right = dynamic_cast<OXAttributeTpl<OXEnumObject>*>(attribute);
    if (right == nullptr || right->GetValue() == nullptr) {
        result = OXCommand::ER_ACCESS_RIGHT_NOT_A_NUMBER;
        return 0;
    }
    return right->GetValue()->GetValue();
}

OXAccessRightEnum::OXAccessRightEnum(OXParserNodeManager* manager, OXClassManager& classes,
                                     const char* name)
    : OXAccessRight(manager), accessRight(0), pName(name), classManager(classes) {
    assert(pName);
    // Until the controller has sent the enum "tagAccessRight", every right
    // written with a symbol is 0. An enum that lacks the name leaves the right
    // negative: the controller's error, which fails the creation of objects
    // of the class (GetAccessRight) instead of ending the process.
    auto* rights = dynamic_cast<OXEnumDefinition*>(classes.Lookup("tagAccessRight"));
    if (rights != nullptr)
        accessRight = rights->LookupEnumVal(pName);
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

OXValueExpression* OXValueExpressionSymbol::Specialize(const OXObject& object) const {
    OXExpression* value;
    OXAttribute* attribute = object.GetAttribute(pExpression->GetSymbol());
    if (auto* number = dynamic_cast<OXAttributeTpl<OXNumberObject>*>(attribute)) {
        double v = number->GetValue() != nullptr
                       ? number->GetValue()->GetValue(number->GetUnitMul(), number->GetUnitDiv())
                       : 0;
        value = new OXParserNumber(nullptr, v);
    } else if (auto* enumeration = dynamic_cast<OXAttributeTpl<OXEnumObject>*>(attribute)) {
        int v = enumeration->GetValue() != nullptr ? enumeration->GetValue()->GetValue() : 0;
        value = new OXParserNumber(nullptr, v);
    } else if (auto* text = dynamic_cast<OXAttributeTpl<OXStringObject>*>(attribute)) {
        value = new OXParserString(nullptr,
                                   text->GetValue() != nullptr ? text->GetValue()->GetValue() : "");
    } else {
        // Anything else, a missing attribute too, is the null reference.
        value = new OXReference(nullptr, new OXParserNumber(nullptr, 0));
    }
    return new OXValueExpressionConstant(nullptr, value);
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

OXConstraintInterval* OXConstraintInterval::Specialize(const OXObject& object) const {
    OXValueExpression* low = pLow != nullptr ? pLow->Specialize(object) : nullptr;
    OXValueExpression* high;
    if (pHigh == pLow)
        high = low;  // a single value stays one node
    else
        high = pHigh != nullptr ? pHigh->Specialize(object) : nullptr;
    return new OXConstraintInterval(nullptr, low, high);
}

OXConstraintList* OXConstraintList::Specialize(const OXObject& object) const {
    auto* copy = new OXConstraintList(nullptr);
    for (const OXConstraintInterval* interval : items)
        copy->Add(interval->Specialize(object));
    return copy;
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

tagExecuteResult OXAttributeDeclaration::AssignConstraints(OXAttribute& attribute,
                                                           OXObject& object) const {
    tagExecuteResult result = OXCommand::ER_OK;
    attribute.SetConst(pModifier->GetValue() == OXMM_CONST);
    attribute.SetUnitStr(pUnitSpecfication->GetUnitStr(result, object));
    if (result == OXCommand::ER_OK)
        attribute.SetUnitMul(pUnitSpecfication->GetMul(result, object));
    if (result == OXCommand::ER_OK)
        attribute.SetUnitDiv(pUnitSpecfication->GetDiv(result, object));
    if (result == OXCommand::ER_OK)
        attribute.SetAccessRight(pAccessRight->GetAccessRight(result, object));
    return result;
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

namespace {

// Template substitution. A parameter that names a formal argument of the
// class it is given to ("new Box<T<T>>" for "class Box<class T>") has its own
// parameters substituted in turn without end, and a parameter used in many
// places is copied to each of them. One substitution is therefore cut at a
// depth and a number of declarations far beyond any machine's classes; the
// outermost call then gives null.
constexpr int kMaxSpecializeDepth = 5000;
constexpr long kMaxSpecializeCount = 100000;
thread_local int specializeDepth = 0;
thread_local long specializeCount = 0;
thread_local bool specializeCut = false;

}  // namespace

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
        if (specializeCut)
            break;
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

OXAttribute* OXClassDeclaration::CreateAttribute(OXClassManager& classes, OXObject*& value,
                                                 const OXAttributeDeclaration& declaration) {
    // The class of an attribute can be missing although its value was made:
    // a class tag or a reference stands in for it ("Undefined U;" given @0).
    // That is the controller's error, not ours: no attribute (null).
    auto* pDefinition = dynamic_cast<OXDefinition*>(classes.Lookup(GetClassName()));
    if (pDefinition == nullptr)
        return nullptr;
    return pDefinition->CreateAttribute(declaration, *this, value);
}

tagExecuteResult OXClassDeclaration::CreateInstance(OXObject*& out, OXClassManager& classes,
                                                    OXObjectManager& objects,
                                                    const OXExpressionInterface& expression,
                                                    tagStoreOption storeOption) const {
    // There is no subclass check: a class tag simply overrides the class.
    auto* tagged = dynamic_cast<const OXExpression*>(&expression);
    if (tagged != nullptr && tagged->GetClassDecl() != nullptr &&
        IsSubClass(*tagged->GetClassDecl()))
        return tagged->GetClassDecl()->CreateUntaggedInstance(out, classes, objects, expression,
                                                              storeOption);
    return CreateUntaggedInstance(out, classes, objects, expression, storeOption);
}

tagExecuteResult OXClassDeclaration::CreateUntaggedInstance(OXObject*& out, OXClassManager& classes,
                                                            OXObjectManager& objects,
                                                            const OXExpressionInterface& expression,
                                                            tagStoreOption storeOption) const {
    // A class that holds itself ("class R { R Next; };") made of a single
    // value, or two classes based on each other, would recurse without end:
    // one value stands for every position of a level. Such a nesting is too
    // deep for any machine and counts as too few values.
    static thread_local int depth = 0;
    if (depth >= kMaxCreationDepth)
        return OXCommand::ER_INVALID_EXPRESSION_COUNT;
    struct DepthGuard {
        DepthGuard() { ++depth; }
        ~DepthGuard() { --depth; }
    } guard;

    if (auto* reference = dynamic_cast<const OXReference*>(&expression)) {
        long id = reference->GetObjectId();
        if (id == 0) {
            out = nullptr;
            return OXCommand::ER_OK;
        }
        OXObject* existing = objects.Lookup(id);
        if (existing == nullptr)
            return OXCommand::ER_INVALID_OBJECT_ID;
        out = existing;
        return OXCommand::ER_OK;
    }
    auto* definition = dynamic_cast<OXDefinition*>(classes.Lookup(GetClassName()));
    if (definition == nullptr)
        return OXCommand::ER_UNKNOWN_CLASS;
    auto* value = dynamic_cast<const OXExpression*>(&expression);
    if (value == nullptr)
        return OXCommand::ER_INVALID_EXPRESSION_TYPE;

    OXObject* made = nullptr;
    tagExecuteResult result = definition->CreateInstance(made, classes, objects, *this, *value);
    if (result == OXCommand::ER_OK && made != nullptr)
        result = made->AssignConstraints();
    if (storeOption != SO_NO_STORE && made != nullptr && result == OXCommand::ER_OK) {
        long id = made->GetObjectId();
        if (id == 0) {
            if (storeOption == SO_STORE_OBJECT)
                result = OXCommand::ER_NOT_AN_OBJECT_OBJECT;
        } else if (objects.Lookup(id) != nullptr) {
            result = OXCommand::ER_OBJECT_ALREADY_EXISTS;
        } else {
            objects.Add(*made);
        }
    }
    if (result != OXCommand::ER_OK) {
        // Never entered in the table: only a successful creation gets there.
        delete made;
        return result;
    }
    out = made;
    return result;
}

OXClassDeclaration* OXClassDeclaration::Specialize(
    const OXTemplateArgumentList& arguments, const OXTemplateParameterList& parameters) const {
    const bool outermost = specializeDepth == 0;
    if (outermost) {
        specializeCount = 0;
        specializeCut = false;
    }
    if (specializeDepth >= kMaxSpecializeDepth || ++specializeCount > kMaxSpecializeCount) {
        specializeCut = true;
        return nullptr;
    }
    struct DepthGuard {
        DepthGuard() { ++specializeDepth; }
        ~DepthGuard() { --specializeDepth; }
    } guard;

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
    if (outermost && specializeCut) {
        delete result;
        return nullptr;
    }
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
