#include "oxdefinition.h"

#include "oxobjecthandler.h"

#include <cassert>

// Instance and attribute creation work on the object store and are filled in
// by the execution layer; until then they create nothing.

OXDefinition::OXDefinition(OXParserNodeManager* manager, OXClassName* className)
    : OXCommand(manager), pClassName(className) {
    assert(pClassName);
}

OXDefinition::~OXDefinition() {
    delete pClassName;
}

void OXDefinition::Rollback() {
    pClassName = nullptr;
    OXCommand::Rollback();
}

#define OX_DEFINITION_PLACEHOLDERS(Class)                                                     \
    tagExecuteResult Class::CreateInstance(OXObject*& out, OXClassManager&, OXObjectManager&, \
                                           const OXClassDeclaration&, const OXExpression&) {  \
        out = nullptr;                                                                        \
        return ER_OK;                                                                         \
    }                                                                                         \
    OXAttribute* Class::CreateAttribute(const OXAttributeDeclaration&, OXClassDeclaration&,   \
                                        OXObject*) {                                          \
        return nullptr;                                                                       \
    }

OX_DEFINITION_PLACEHOLDERS(OXListDefinition)
OX_DEFINITION_PLACEHOLDERS(OXNumberDefinition)
OX_DEFINITION_PLACEHOLDERS(OXStringDefinition)
OX_DEFINITION_PLACEHOLDERS(OXVoidDefinition)
OX_DEFINITION_PLACEHOLDERS(OXClassDefinition)
OX_DEFINITION_PLACEHOLDERS(OXEnumDefinition)

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

tagExecuteResult OXClassDefinition::CreateBaseClassInstance(OXObject*& out, OXClassManager&,
                                                            OXObjectManager&,
                                                            const OXClassDeclaration&,
                                                            const OXExpression&) {
    out = nullptr;
    return ER_OK;
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
