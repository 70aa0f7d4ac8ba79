// Classes as written in commands, with their template arguments and
// parameters.
#pragma once

#include "oxcommand.h"
#include "oxexpression.h"
#include "oxparsernode.h"

#include <string>

class OXAttribute;
class OXAttributeDeclaration;
class OXClassManager;
class OXDefinition;
class OXListObject;
class OXObject;
class OXObjectManager;

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
    const std::string* GetElementClassName() const override;
    bool HasTemplateParameters() const override { return !pTemplateParameterList->IsEmpty(); }
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
    // A shared declaration is handed out again with its count raised; any
    // other gives a shared copy.
    OXClassDeclaration* Share() const override;
    // A shared declaration goes with its last owner.
    void Release() override;
    // The value of the expression written into value where it is, when that
    // ends exactly as making it anew would: same class and shape, no object
    // number, nothing entered in the table. The class tag of the expression
    // takes the place of this class, as in CreateInstance.
    bool UpdateInPlace(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                       const OXExpressionInterface& expression, bool apply) const override;
    // Whether other names the same class, both without template parameters:
    // a value made for either is the same. A class tag that repeats the
    // class of a long-lived declaration is then read through that one, which
    // keeps its definition at hand.
    bool SamePlainClass(const OXClassDeclaration& other) const;
    // The definition of this class in the table, or null; the answer is kept
    // for as long as the table's generation holds.
    OXDefinition* LookupDefinition(const OXClassManager& classes) const;
    // From now on the declaration does not change and counts its owners; the
    // caller is the first one. Only for a declaration made after parsing
    // (without a node manager) that nobody else destroys with delete.
    void SetShared() {
        shared = true;
        owners = 1;
    }
    bool IsShared() const { return shared; }

  private:
    OXClassName* pClassName;
    OXTemplateParameterList* pTemplateParameterList;
    // A store belongs to one port and is used from one thread at a time, so
    // the count is a plain one.
    bool shared = false;
    mutable int owners = 0;
    mutable unsigned long definitionGeneration = 0;
    mutable OXDefinition* definition = nullptr;
};
