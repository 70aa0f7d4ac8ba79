// Definitions: the run-time types of the store. The built-in ones are made by
// the class table; class and enum definitions come from the machine as the
// "class" and "enum" commands and stay in the class table once executed.
#pragma once

#include "oxcommand.h"
#include "oxdeclaration.h"

#include <string>
#include <vector>

class OXComplexObject;
class OXListObject;
class OXNumberObject;
class OXStringObject;

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
    // CreateInstance's work done on value, which this definition made, where
    // that ends the same as making it anew: checks only (and changes
    // nothing) with apply false; writes with apply true, which is only
    // called after a check that passed. False where the long way is needed.
    virtual bool UpdateInstance(OXObject& /*value*/, OXClassManager& /*classes*/,
                                OXObjectManager& /*objects*/,
                                const OXClassDeclaration& /*declaration*/,
                                const OXExpression& /*expression*/, bool /*apply*/) {
        return false;
    }

  protected:
    // Whether value holds the class that ShareDecl gives a new value made
    // for this declaration: the same declaration, or one of the same class
    // without template parameters.
    bool HoldsDeclFor(const OXObject& value, const OXClassDeclaration& declaration) const;

    // The declaration a new value of this definition holds: the one given,
    // shared. A declaration of this class without template parameters is
    // always the same, so one shared copy serves every such value.
    OXClassDeclInterface* ShareDecl(const OXClassDeclaration& declaration);

    tagExecuteResult executeResult = ER_OK;

  private:
    OXClassName* pClassName;
    OXClassDeclaration* pSelfDecl = nullptr;
};

// The four built-in definitions, made without a node manager. Each makes the
// values of its name, and its attributes hold objects of class Object.
template <class Object>
class OXBuiltinDefinition : public OXDefinition {
  public:
    explicit OXBuiltinDefinition(const char* name)
        : OXDefinition(nullptr, new OXClassName(nullptr, name)) {}
    OXAttribute* CreateAttribute(const OXAttributeDeclaration& declaration,
                                 OXClassDeclaration& classDecl, OXObject* value) override;
};

class OXListDefinition : public OXBuiltinDefinition<OXListObject> {
  public:
    OXListDefinition() : OXBuiltinDefinition("list") {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXClassDeclaration& declaration, const OXExpression& expression,
                        bool apply) override;
};

class OXNumberDefinition : public OXBuiltinDefinition<OXNumberObject> {
  public:
    OXNumberDefinition() : OXBuiltinDefinition("number") {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXClassDeclaration& declaration, const OXExpression& expression,
                        bool apply) override;

  protected:
    explicit OXNumberDefinition(const char* name) : OXBuiltinDefinition(name) {}
};

class OXStringDefinition : public OXBuiltinDefinition<OXStringObject> {
  public:
    OXStringDefinition() : OXBuiltinDefinition("string") {}
    tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                    OXObjectManager& objects, const OXClassDeclaration& declaration,
                                    const OXExpression& expression) override;
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXClassDeclaration& declaration, const OXExpression& expression,
                        bool apply) override;
};

// "void" is a number in every respect.
class OXVoidDefinition : public OXNumberDefinition {
  public:
    OXVoidDefinition() : OXNumberDefinition("void") {}
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
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXClassDeclaration& declaration, const OXExpression& expression,
                        bool apply) override;
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
    // The class of the attribute at index, shared, for this definition's
    // parameters; null when the substitution fails. Without template
    // arguments it is the same for every object, made once and kept.
    OXClassDeclaration* AttributeClass(int index, const OXAttributeDeclaration& attributeDecl,
                                       const OXClassDeclaration& declaration);

    // Whether an object of this level may be written in place: no template
    // arguments, no object number, and constraints that give the same on
    // every object. Worked out at first use (-1 until then).
    bool UpdatableInPlace(OXComplexObject& object);

    OXTemplateArgumentList* pTemplateArgumentList;
    OXClassDeclaration* pBaseClass;
    OXMemberDeclarationList* pMemberDeclarationList;
    std::vector<OXClassDeclaration*> attributeClasses;
    // The base class specialised, kept when it is the same for every object.
    OXClassDeclaration* fixedBaseClass = nullptr;
    signed char constantConstraints = -1;
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
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXClassDeclaration& declaration, const OXExpression& expression,
                        bool apply) override;

    const std::string* LookupEnumStr(int value) const { return pEnumList->LookupEnumStr(value); }
    int LookupEnumVal(const std::string& name) const { return pEnumList->LookupEnumVal(name); }
    const OXEnumInitializer* GetEnumInitializer(int index) const {
        return pEnumList->GetEnumInitializer(index);
    }
    const OXEnumInitializerList* GetEnumList() const { return pEnumList; }

  private:
    OXEnumInitializerList* pEnumList;
};
