// Definitions: the run-time types of the store. The built-in ones are made by
// the class table; class and enum definitions come from the machine as the
// "class" and "enum" commands and stay in the class table once executed.
#pragma once

#include "oxcommand.h"
#include "oxdeclaration.h"

#include <string>

class OXDefinition : public OXCommand, public OXDefinitionInterface {
  public:
    OXDefinition(OXParserNodeManager* manager, OXClassName* className);
    ~OXDefinition() override;
    void Rollback() override;

    const std::string& GetClassName() const override { return pClassName->GetSymbol(); }
    // Enters the definition in the class table, unless the name is taken.
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    tagExecuteResult GetExecuteResult() const { return executeResult; }

    virtual tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                            OXObjectManager& objects,
                                            const OXClassDeclaration& declaration,
                                            const OXExpression& expression) = 0;
    virtual bool IsSubClass(const OXDefinition&) const { return true; }
    virtual const OXDefinition* GetBaseClassDef() const { return nullptr; }
    // The attribute that fits this definition, holding value.
    virtual OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                         OXClassDeclaration& classDecl, OXObject* value) = 0;

  protected:
    tagExecuteResult executeResult = ER_OK;

  private:
    OXClassName* pClassName;
};

// The four built-in definitions, made without a node manager.
class OXListDefinition : public OXDefinition {
  public:
    OXListDefinition() : OXDefinition(nullptr, new OXClassName(nullptr, "list")) {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
};

class OXNumberDefinition : public OXDefinition {
  public:
    OXNumberDefinition() : OXDefinition(nullptr, new OXClassName(nullptr, "number")) {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
};

class OXStringDefinition : public OXDefinition {
  public:
    OXStringDefinition() : OXDefinition(nullptr, new OXClassName(nullptr, "string")) {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
};

class OXVoidDefinition : public OXDefinition {
  public:
    OXVoidDefinition() : OXDefinition(nullptr, new OXClassName(nullptr, "void")) {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
};

// "class Name<class T> : Base { members };"
class OXClassDefinition : public OXDefinition {
  public:
    OXClassDefinition(OXParserNodeManager* manager, OXClassName* className,
                      OXTemplateArgumentList* templateArgumentList, OXClassDeclaration* baseClass,
                      OXMemberDeclarationList* memberDeclarationList);
    ~OXClassDefinition() override;
    void Rollback() override;
    void Notify(OXObjectHandler& handler) override;
    // Destroys the definition if its Execute failed; otherwise the class table
    // holds it.
    void Cleanup() override;

    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
    virtual tagExecuteResult CreateBaseClassInstance(OXObject*& out, OXClassManager& classes,
                                                     OXObjectManager& objects,
                                                     const OXClassDeclaration& declaration,
                                                     const OXExpression& expression);

    const OXTemplateArgumentList* GetTemplateArgumentList() const { return pTemplateArgumentList; }
    const OXClassDeclaration* GetBaseClass() const { return pBaseClass; }
    const OXMemberDeclarationList* GetMemberDeclarationList() const {
        return pMemberDeclarationList;
    }

  private:
    OXTemplateArgumentList* pTemplateArgumentList;
    OXClassDeclaration* pBaseClass;
    OXMemberDeclarationList* pMemberDeclarationList;
};

// "enum Name { "Text"=value, ... };"
class OXEnumDefinition : public OXDefinition {
  public:
    OXEnumDefinition(OXParserNodeManager* manager, OXClassName* className,
                     OXEnumInitializerList* enumList);
    ~OXEnumDefinition() override;
    void Rollback() override;
    void Notify(OXObjectHandler& handler) override;
    // Destroys the definition if its Execute failed; otherwise the class table
    // holds it.
    void Cleanup() override;

    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;

    const std::string* LookupEnumStr(int value) const { return pEnumList->LookupEnumStr(value); }
    int LookupEnumVal(const std::string& name) const { return pEnumList->LookupEnumVal(name); }
    const OXEnumInitializer* GetEnumInitializer(int index) const {
        return pEnumList->GetEnumInitializer(index);
    }
    const OXEnumInitializerList* GetEnumList() const { return pEnumList; }

  private:
    OXEnumInitializerList* pEnumList;
};
