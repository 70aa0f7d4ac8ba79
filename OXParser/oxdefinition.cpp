#include "oxdefinition.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxobject.h"
#include "oxobjecthandler.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cassert>

OXDefinition::OXDefinition(OXParserNodeManager* manager, OXClassName* className)
    : OXCommand(manager), pClassName(className) {
    assert(pClassName);
}

OXDefinition::~OXDefinition() {
    if (pSelfDecl != nullptr)
        pSelfDecl->Release();
    delete pClassName;
}

OXClassDeclInterface* OXDefinition::ShareDecl(const OXClassDeclaration& declaration) {
    if (declaration.IsShared())
        return declaration.Share();
    if (!declaration.GetParameterList()->IsEmpty() || declaration.GetClassName() != GetClassName())
        return declaration.Share();
    if (pSelfDecl == nullptr)
        pSelfDecl = declaration.Share();
    return pSelfDecl->Share();
}

bool OXDefinition::HoldsDeclFor(const OXObject& value,
                                const OXClassDeclaration& declaration) const {
    const OXClassDeclInterface* held = value.GetClassDecl();
    if (held == nullptr)
        return false;
    if (held == &declaration || held == pSelfDecl)
        return held == &declaration ? declaration.IsShared() : !declaration.HasTemplateParameters();
    // Another declaration of the same plain class reads the same.
    return !declaration.HasTemplateParameters() && !held->HasTemplateParameters() &&
           held->GetClassName() == declaration.GetClassName();
}

void OXDefinition::Rollback() {
    pClassName = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXDefinition::Execute(OXClassManager& classes, OXObjectManager& objects,
                                       OXExecuteManager& executions) {
    executeResult = OXCommand::Execute(classes, objects, executions);
    if (classes.Lookup(GetClassName()) != nullptr) {
        TestPrintF(0, "Duplicate Class name %s\n", GetClassName().c_str());
        executeResult = ER_DUPLICATED_CLASS_NAME;
    } else {
        classes.Add(*this);
    }
    return executeResult;
}

namespace {

// The value of a simple class: the expression itself, or a list of exactly
// one element (tagged or not), of the node type V, whose kind is kind.
template <class V>
const V* SimpleValue(const OXExpression& expression, OXExpressionKind kind) {
    if (expression.GetKind() == kind)
        return static_cast<const V*>(&expression);
    if (expression.GetKind() == OXExpressionKind::LIST && expression.Count() == 1) {
        const OXExpression* first = expression.At(0);
        if (first != nullptr && first->GetKind() == kind)
            return static_cast<const V*>(first);
    }
    return nullptr;
}

bool HasTemplateParameters(const OXClassDeclaration& declaration) {
    return !declaration.GetParameterList()->IsEmpty();
}

// The number of "number" and "void": null if the expression is none.
tagExecuteResult NumberValue(const OXParserNumber*& number, const OXClassDeclaration& declaration,
                             const OXExpression& expression) {
    if (HasTemplateParameters(declaration))
        return OXCommand::ER_UNEXCPETED_TEMPLATE_PARAMETERS;
    number = SimpleValue<OXParserNumber>(expression, OXExpressionKind::NUMBER);
    if (number == nullptr)
        return OXCommand::ER_INVALID_EXPRESSION_TYPE;
    return OXCommand::ER_OK;
}

}  // namespace

// ------------------------------------------------------------ built-in classes

template <class Object>
OXAttribute* OXBuiltinDefinition<Object>::CreateAttribute(const OXAttributeDeclaration& declaration,
                                                          OXClassDeclaration& classDecl,
                                                          OXObject* value) {
    return new OXAttributeTpl<Object>(declaration, &classDecl, value);
}

template class OXBuiltinDefinition<OXListObject>;
template class OXBuiltinDefinition<OXNumberObject>;
template class OXBuiltinDefinition<OXStringObject>;

tagExecuteResult OXListDefinition::CreateInstance(OXObject*& out, OXClassManager& classes,
                                                  OXObjectManager& objects,
                                                  const OXClassDeclaration& declaration,
                                                  const OXExpression& expression) {
    const OXTemplateParameterList* parameters = declaration.GetParameterList();
    if (parameters->Count() != 1)
        return ER_UNEXCPETED_TEMPLATE_PARAMETERS;
    const OXClassDeclaration* pClassDecl = parameters->Get(0);
    assert(pClassDecl);
    auto* list = new OXListObject(ShareDecl(declaration), pClassDecl->GetClassName());
    // A single expression that is no list is a list of one element.
    list->Reserve(static_cast<size_t>(expression.Count()));
    for (int i = 0; i < expression.Count(); ++i) {
        const OXExpression* pElementExpr = expression.At(i);
        assert(pElementExpr);
        OXObject* element = nullptr;
        tagExecuteResult result = pClassDecl->CreateInstance(element, classes, objects,
                                                             *pElementExpr, SO_STORE_IF_OBJECT);
        if (result != ER_OK) {
            delete list;
            return result;
        }
        list->Add(element);
    }
    out = list;
    return ER_OK;
}

bool OXListDefinition::UpdateInstance(OXObject& value, OXClassManager& classes,
                                      OXObjectManager& objects,
                                      const OXClassDeclaration& declaration,
                                      const OXExpression& expression, bool apply) {
    // The same class with as many elements, each of which is its own and
    // takes its new value in place.
    const OXTemplateParameterList* parameters = declaration.GetParameterList();
    if (apply) {
        auto& list = static_cast<OXListObject&>(value);
        // The check passed on the same value and expression, and nothing
        // has changed since: only the writing is left.
        const OXObjectList& elements = *list.GetList();
        const OXClassDeclaration* element = parameters->Get(0);
        for (size_t i = 0; i < elements.size(); ++i) {
            const OXExpression& given = *expression.At(static_cast<int>(i));
            OXObject& current = *elements[i];
            // A number for a number takes the number whatever the path.
            if (given.GetKind() == OXExpressionKind::NUMBER &&
                current.GetKind() == OXObjectKind::NUMBER)
                static_cast<OXNumberObject&>(current).SetValue(
                    static_cast<const OXParserNumber&>(given).GetValue());
            else
                element->UpdateInPlace(current, classes, objects, given, true);
        }
        return true;
    }
    if (value.GetKind() != OXObjectKind::LIST || parameters->Count() != 1 ||
        !HoldsDeclFor(value, declaration))
        return false;
    auto& list = static_cast<OXListObject&>(value);
    const OXObjectList& elements = *list.GetList();
    if (elements.size() != static_cast<size_t>(expression.Count()))
        return false;
    const OXClassDeclaration* element = parameters->Get(0);
    // The verdict on a plain value (number, text, enum) for a number or a
    // text depends only on the declaration it holds, its kind and the kind
    // of the expression: an element like one already passed passes too.
    const OXClassDeclInterface* passedDecl = nullptr;
    OXObjectKind passedKind = OXObjectKind::COMPLEX;
    OXExpressionKind passedExpression = OXExpressionKind::LIST;
    for (size_t i = 0; i < elements.size(); ++i) {
        const OXExpression* given = expression.At(static_cast<int>(i));
        OXObject* current = elements[i];
        if (current == nullptr || !list.OwnsElement(i) || given == nullptr)
            return false;
        OXObjectKind kind = current->GetKind();
        OXExpressionKind givenKind = given->GetKind();
        if (passedDecl != nullptr && current->GetClassDecl() == passedDecl && kind == passedKind &&
            givenKind == passedExpression)
            continue;
        if (!element->UpdateInPlace(*current, classes, objects, *given, false))
            return false;
        if ((givenKind == OXExpressionKind::NUMBER || givenKind == OXExpressionKind::STRING) &&
            (kind == OXObjectKind::NUMBER || kind == OXObjectKind::STRING ||
             kind == OXObjectKind::ENUM)) {
            passedDecl = current->GetClassDecl();
            passedKind = kind;
            passedExpression = givenKind;
        }
    }
    return true;
}

tagExecuteResult OXNumberDefinition::CreateInstance(OXObject*& out, OXClassManager&,
                                                    OXObjectManager&,
                                                    const OXClassDeclaration& declaration,
                                                    const OXExpression& expression) {
    const OXParserNumber* number = nullptr;
    tagExecuteResult result = NumberValue(number, declaration, expression);
    if (result == ER_OK)
        out = new OXNumberObject(ShareDecl(declaration), number->GetValue());
    return result;
}

bool OXNumberDefinition::UpdateInstance(OXObject& value, OXClassManager&, OXObjectManager&,
                                        const OXClassDeclaration& declaration,
                                        const OXExpression& expression, bool apply) {
    if (apply) {
        // The check passed on the same value and expression: only the
        // writing is left.
        static_cast<OXNumberObject&>(value).SetValue(
            SimpleValue<OXParserNumber>(expression, OXExpressionKind::NUMBER)->GetValue());
        return true;
    }
    const OXParserNumber* number = nullptr;
    if (value.GetKind() != OXObjectKind::NUMBER || !HoldsDeclFor(value, declaration) ||
        NumberValue(number, declaration, expression) != ER_OK)
        return false;
    return true;
}

tagExecuteResult OXStringDefinition::CreateInstance(OXObject*& out, OXClassManager&,
                                                    OXObjectManager&,
                                                    const OXClassDeclaration& declaration,
                                                    const OXExpression& expression) {
    if (HasTemplateParameters(declaration))
        return ER_UNEXCPETED_TEMPLATE_PARAMETERS;
    const OXParserString* text = SimpleValue<OXParserString>(expression, OXExpressionKind::STRING);
    if (text == nullptr)
        return ER_INVALID_EXPRESSION_TYPE;
    out = new OXStringObject(ShareDecl(declaration), text->GetValue());
    return ER_OK;
}

bool OXStringDefinition::UpdateInstance(OXObject& value, OXClassManager&, OXObjectManager&,
                                        const OXClassDeclaration& declaration,
                                        const OXExpression& expression, bool apply) {
    if (apply) {
        // The check passed on the same value and expression: only the
        // writing is left.
        static_cast<OXStringObject&>(value).SetValue(
            SimpleValue<OXParserString>(expression, OXExpressionKind::STRING)->GetValue());
        return true;
    }
    if (value.GetKind() != OXObjectKind::STRING || HasTemplateParameters(declaration) ||
        !HoldsDeclFor(value, declaration))
        return false;
    const OXParserString* text = SimpleValue<OXParserString>(expression, OXExpressionKind::STRING);
    return text != nullptr;
}

OXClassDefinition::OXClassDefinition(OXParserNodeManager* manager, OXClassName* className,
                                     OXTemplateArgumentList* templateArgumentList,
                                     OXClassDeclaration* baseClass,
                                     OXMemberDeclarationList* memberDeclarationList)
    : OXDefinition(manager, className),
      pTemplateArgumentList(templateArgumentList),
      pBaseClass(baseClass),
      pMemberDeclarationList(memberDeclarationList) {
    assert(pTemplateArgumentList && pMemberDeclarationList);
}

OXClassDefinition::~OXClassDefinition() {
    for (OXClassDeclaration* classDecl : attributeClasses)
        if (classDecl != nullptr)
            classDecl->Release();
    if (fixedBaseClass != nullptr)
        fixedBaseClass->Release();
    delete pTemplateArgumentList;
    delete pBaseClass;
    delete pMemberDeclarationList;
}

void OXClassDefinition::Rollback() {
    pTemplateArgumentList = nullptr;
    pBaseClass = nullptr;
    pMemberDeclarationList = nullptr;
    OXDefinition::Rollback();
}

tagExecuteResult OXClassDefinition::CreateBaseClassInstance(OXObject*& out, OXClassManager& classes,
                                                            OXObjectManager& objects,
                                                            const OXClassDeclaration& declaration,
                                                            const OXExpression& expression) {
    out = nullptr;
    if (pBaseClass == nullptr)
        return ER_OK;
    // Without template arguments the specialised base is the same for every
    // object: made once and kept (shared, so its values share it too).
    const bool fixed = pTemplateArgumentList->IsEmpty();
    OXClassDeclaration* base = fixed ? fixedBaseClass : nullptr;
    if (base == nullptr) {
        base = pBaseClass->Specialize(*pTemplateArgumentList, *declaration.GetParameterList());
        if (base == nullptr)
            return ER_INVALID_TEMPLATE_PARAMETER_COUNT;
        if (fixed) {
            base->SetShared();
            fixedBaseClass = base;
        }
    }
    OXObject* made = nullptr;
    tagExecuteResult result =
        base->CreateUntaggedInstance(made, classes, objects, expression, SO_NO_STORE);
    if (!fixed)
        delete base;
    if (result != ER_OK)
        return result;
    if (made != nullptr && dynamic_cast<OXComplexObject*>(made) == nullptr) {
        // A base class must be a class: "class A : number" or an enum is not.
        if (made->GetObjectId() == 0)
            delete made;
        return ER_NON_COMPLEX_CLASS_BASE_CLASS;
    }
    out = made;
    return ER_OK;
}

tagExecuteResult OXClassDefinition::CreateInstance(OXObject*& out, OXClassManager& classes,
                                                   OXObjectManager& objects,
                                                   const OXClassDeclaration& declaration,
                                                   const OXExpression& expression) {
    if (declaration.GetParameterList()->Count() != pTemplateArgumentList->Count())
        return ER_INVALID_TEMPLATE_PARAMETER_COUNT;
    OXObject* base = nullptr;
    tagExecuteResult result =
        CreateBaseClassInstance(base, classes, objects, declaration, expression);
    if (result != ER_OK)
        return result;

    auto* object = new OXComplexObject(ShareDecl(declaration), static_cast<OXComplexObject*>(base));
    // Positions are absolute over the class chain: the base levels took the
    // first values of the same list.
    long n0 = object->GetAttributeCount();
    long n = pMemberDeclarationList->GetAttributeCount();
    object->Reserve(static_cast<size_t>(n));
    for (long i = n0; i < n0 + n && result == ER_OK; ++i) {
        const OXExpression* value = expression.At(static_cast<int>(i));
        const OXAttributeDeclaration* attributeDecl =
            pMemberDeclarationList->GetAttrDecl(static_cast<int>(i - n0), OXMM_ANY);
        if (value == nullptr || attributeDecl == nullptr) {
            result = ER_INVALID_EXPRESSION_COUNT;
            break;
        }
        OXClassDeclaration* classDecl =
            AttributeClass(static_cast<int>(i - n0), *attributeDecl, declaration);
        if (classDecl == nullptr) {
            result = ER_INVALID_TEMPLATE_PARAMETER_COUNT;
            break;
        }
        OXObject* attributeValue = nullptr;
        result =
            classDecl->CreateInstance(attributeValue, classes, objects, *value, SO_STORE_IF_OBJECT);
        if (result != ER_OK) {
            classDecl->Release();
            break;
        }
        OXAttribute* attribute =
            classDecl->CreateAttribute(classes, attributeValue, *attributeDecl);
        if (attribute == nullptr) {
            // A value of the table (a reference) stays where it is.
            if (attributeValue != nullptr && attributeValue->GetObjectId() == 0)
                delete attributeValue;
            classDecl->Release();
            result = ER_UNKNOWN_CLASS;
            break;
        }
        object->Add(*attribute);
    }
    if (result != ER_OK) {
        delete object;
        return result;
    }
    out = object;
    return ER_OK;
}

OXClassDeclaration* OXClassDefinition::AttributeClass(int index,
                                                      const OXAttributeDeclaration& attributeDecl,
                                                      const OXClassDeclaration& declaration) {
    const bool fixed = pTemplateArgumentList->IsEmpty();
    if (fixed && index < static_cast<int>(attributeClasses.size()) &&
        attributeClasses[static_cast<size_t>(index)] != nullptr)
        return attributeClasses[static_cast<size_t>(index)]->Share();
    OXClassDeclaration* classDecl = attributeDecl.GetClassDecl()->Specialize(
        *pTemplateArgumentList, *declaration.GetParameterList());
    if (classDecl == nullptr)
        return nullptr;
    classDecl->SetShared();
    if (fixed) {
        if (index >= static_cast<int>(attributeClasses.size()))
            attributeClasses.resize(static_cast<size_t>(index) + 1, nullptr);
        attributeClasses[static_cast<size_t>(index)] = classDecl;
        return classDecl->Share();
    }
    return classDecl;
}

bool OXClassDefinition::UpdatableInPlace(OXComplexObject& object) {
    if (constantConstraints < 0) {
        // Made anew, the object would get its constraints worked out again,
        // and would enter the table if it had a number.
        static const std::string objectClass("Object");
        bool constant = pTemplateArgumentList->IsEmpty() && !object.IsClass(objectClass);
        for (int i = 0; constant && i < pMemberDeclarationList->GetAttributeCount(); ++i)
            constant = pMemberDeclarationList->GetAttrDecl(i, OXMM_ANY)->HasConstantConstraints();
        constantConstraints = constant ? 1 : 0;
    }
    // An object with observers is left to be replaced, as making it anew does.
    return constantConstraints == 1 && object.ObserverCount() == 0;
}

bool OXClassDefinition::UpdateInstance(OXObject& value, OXClassManager& classes,
                                       OXObjectManager& objects,
                                       const OXClassDeclaration& declaration,
                                       const OXExpression& expression, bool apply) {
    int n = pMemberDeclarationList->GetAttributeCount();
    if (apply) {
        auto& object = static_cast<OXComplexObject&>(value);
        OXComplexObject* base = object.GetBase();
        long n0 = base != nullptr ? base->GetAttributeCount() : 0;
        // The check passed on the same value and expression, and nothing
        // has changed since: only the writing is left.
        if (base != nullptr)
            fixedBaseClass->LookupDefinition(classes)->UpdateInstance(
                *base, classes, objects, *fixedBaseClass, expression, true);
        for (int i = 0; i < n; ++i)
            object.GetLevelAttribute(static_cast<size_t>(i))
                ->UpdateInPlace(classes, objects, *expression.At(static_cast<int>(n0 + i)), true);
        return true;
    }
    if (value.GetKind() != OXObjectKind::COMPLEX || !declaration.GetParameterList()->IsEmpty())
        return false;
    auto& object = static_cast<OXComplexObject&>(value);
    OXComplexObject* base = object.GetBase();
    long n0 = base != nullptr ? base->GetAttributeCount() : 0;
    if (!HoldsDeclFor(value, declaration) || !UpdatableInPlace(object))
        return false;
    // The base level takes the same whole expression, untagged, as
    // CreateBaseClassInstance gives it, of the base class it keeps.
    if ((pBaseClass == nullptr) != (base == nullptr))
        return false;
    if (base != nullptr) {
        OXDefinition* baseDefinition =
            fixedBaseClass != nullptr ? fixedBaseClass->LookupDefinition(classes) : nullptr;
        if (baseDefinition == nullptr ||
            !baseDefinition->UpdateInstance(*base, classes, objects, *fixedBaseClass, expression,
                                            false))
            return false;
    }
    // Positions are absolute over the class chain, as in CreateInstance;
    // constants take their value too.
    if (object.GetLevelAttributeCount() != static_cast<size_t>(n))
        return false;
    for (int i = 0; i < n; ++i) {
        const OXExpression* given = expression.At(static_cast<int>(n0 + i));
        OXAttribute* attribute = object.GetLevelAttribute(static_cast<size_t>(i));
        if (given == nullptr || static_cast<size_t>(i) >= attributeClasses.size() ||
            attribute->GetClassDecl() != attributeClasses[static_cast<size_t>(i)] ||
            attribute->GetAttributeDecl() != pMemberDeclarationList->GetAttrDecl(i, OXMM_ANY) ||
            !attribute->UpdateInPlace(classes, objects, *given, false))
            return false;
    }
    return true;
}

OXAttribute* OXClassDefinition::CreateAttribute(const OXAttributeDeclaration& declaration,
                                                OXClassDeclaration& classDecl, OXObject* value) {
    return new OXAttributeTpl<OXComplexObject>(declaration, &classDecl, value);
}

OXEnumDefinition::OXEnumDefinition(OXParserNodeManager* manager, OXClassName* className,
                                   OXEnumInitializerList* enumList)
    : OXDefinition(manager, className), pEnumList(enumList) {
    assert(pEnumList);
}

OXEnumDefinition::~OXEnumDefinition() {
    delete pEnumList;
}

void OXEnumDefinition::Rollback() {
    pEnumList = nullptr;
    OXDefinition::Rollback();
}

tagExecuteResult OXEnumDefinition::CreateInstance(OXObject*& out, OXClassManager&, OXObjectManager&,
                                                  const OXClassDeclaration& declaration,
                                                  const OXExpression& expression) {
    if (HasTemplateParameters(declaration))
        return ER_UNEXCPETED_TEMPLATE_PARAMETERS;
    const OXParserNumber* number =
        SimpleValue<OXParserNumber>(expression, OXExpressionKind::NUMBER);
    if (number == nullptr)
        return ER_INVALID_EXPRESSION_TYPE;
    // A value the enum does not have is no error; it has no text.
    int value = OXDoubleToInt(number->GetValue());
    out = new OXEnumObject(ShareDecl(declaration), value, LookupEnumStr(value));
    return ER_OK;
}

bool OXEnumDefinition::UpdateInstance(OXObject& value, OXClassManager&, OXObjectManager&,
                                      const OXClassDeclaration& declaration,
                                      const OXExpression& expression, bool apply) {
    if (apply) {
        // The check passed on the same value and expression: only the
        // writing is left.
        int given = OXDoubleToInt(
            SimpleValue<OXParserNumber>(expression, OXExpressionKind::NUMBER)->GetValue());
        static_cast<OXEnumObject&>(value).SetValue(given, LookupEnumStr(given));
        return true;
    }
    if (value.GetKind() != OXObjectKind::ENUM || HasTemplateParameters(declaration) ||
        !HoldsDeclFor(value, declaration))
        return false;
    const OXParserNumber* number =
        SimpleValue<OXParserNumber>(expression, OXExpressionKind::NUMBER);
    return number != nullptr;
}

OXAttribute* OXEnumDefinition::CreateAttribute(const OXAttributeDeclaration& declaration,
                                               OXClassDeclaration& classDecl, OXObject* value) {
    return new OXAttributeTpl<OXEnumObject>(declaration, &classDecl, value);
}

void OXClassDefinition::Notify(OXObjectHandler& handler) {
    handler.NewClassDefinition(*this);
}

void OXClassDefinition::Cleanup() {
    if (executeResult != ER_OK)
        delete this;
}

void OXEnumDefinition::Notify(OXObjectHandler& handler) {
    handler.NewEnumDefinition(*this);
}

void OXEnumDefinition::Cleanup() {
    if (executeResult != ER_OK)
        delete this;
}
