// Access rights of a member: a constant, the name of an attribute of the
// object, or a value of the enum "tagAccessRight" of the class table.
#pragma once

#include "oxcommand.h"
#include "oxexpression.h"
#include "oxparsernode.h"

class OXClassManager;
class OXObject;

class OXAccessRight : public OXParserNode {
  public:
    explicit OXAccessRight(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXAccessRight* Specialize(const OXObject& object) const = 0;
    virtual long GetAccessRight(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXAccessRightConstant : public OXOwningNode<OXAccessRight, OXParserNumber> {
  public:
    OXAccessRightConstant(OXParserNodeManager* manager, OXParserNumber* accessRight);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const OXParserNumber* GetValue() const { return pChild; }
};

class OXAccessRightSymbol : public OXOwningNode<OXAccessRight, OXParserSymbol> {
  public:
    OXAccessRightSymbol(OXParserNodeManager* manager, OXParserSymbol* accessRight);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// "AR_USER" ... "AR_NON": a value of the enum "tagAccessRight" of the class table.
class OXAccessRightEnum : public OXAccessRight {
  public:
    OXAccessRightEnum(OXParserNodeManager* manager, OXClassManager& classes, const char* name);
    OXAccessRight* Specialize(const OXObject& object) const override;
    long GetAccessRight(tagExecuteResult& result, OXObject& object) const override;
    const char* GetName() const { return pName; }
    long GetValue() const { return accessRight; }
    OXClassManager& GetClassManager() const { return classManager; }

  private:
    long accessRight;
    const char* pName;
    OXClassManager& classManager;
};
