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
// one element (tagged or not), of the node type V.
template <class V>
const V* SimpleValue(const OXExpression& expression) {
    if (auto* value = dynamic_cast<const V*>(&expression))
        return value;
    auto* list = dynamic_cast<const OXExpressionList*>(&expression);
    if (list != nullptr && list->Count() == 1)
        return dynamic_cast<const V*>(list->Get(0));
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
    number = SimpleValue<OXParserNumber>(expression);
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
        const OXExpression* pElementExpr = expression.Get(i);
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

tagExecuteResult OXStringDefinition::CreateInstance(OXObject*& out, OXClassManager&,
                                                    OXObjectManager&,
                                                    const OXClassDeclaration& declaration,
                                                    const OXExpression& expression) {
    if (HasTemplateParameters(declaration))
        return ER_UNEXCPETED_TEMPLATE_PARAMETERS;
    const OXParserString* text = SimpleValue<OXParserString>(expression);
    if (text == nullptr)
        return ER_INVALID_EXPRESSION_TYPE;
    out = new OXStringObject(ShareDecl(declaration), text->GetValue());
    return ER_OK;
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
    OXClassDeclaration* base =
        pBaseClass->Specialize(*pTemplateArgumentList, *declaration.GetParameterList());
    if (base == nullptr)
        return ER_INVALID_TEMPLATE_PARAMETER_COUNT;
    OXObject* made = nullptr;
    tagExecuteResult result =
        base->CreateUntaggedInstance(made, classes, objects, expression, SO_NO_STORE);
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
        const OXExpression* value = expression.Get(static_cast<int>(i));
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
    const OXParserNumber* number = SimpleValue<OXParserNumber>(expression);
    if (number == nullptr)
        return ER_INVALID_EXPRESSION_TYPE;
    // A value the enum does not have is no error; it has no text.
    int value = OXDoubleToInt(number->GetValue());
    out = new OXEnumObject(ShareDecl(declaration), value, LookupEnumStr(value));
    return ER_OK;
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
