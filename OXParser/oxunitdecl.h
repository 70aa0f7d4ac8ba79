// Units of a member: the unit's name and the factors by which a stored
// number is multiplied and divided, each written as a constant or as the
// name of an attribute of the object.
#pragma once

#include "oxcommand.h"
#include "oxexpression.h"
#include "oxparsernode.h"

#include <string>

class OXObject;

class OXUnitFactor : public OXParserNode {
  public:
    explicit OXUnitFactor(OXParserNodeManager* manager) : OXParserNode(manager) {}
    // A constant copy, with the value taken from the object where it names one.
    virtual OXUnitFactor* Specialize(const OXObject& object) const = 0;
    virtual long GetUnitFactor(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXUnitFactorConstant : public OXOwningNode<OXUnitFactor, OXParserNumber> {
  public:
    // Without a number the factor is 1.
    OXUnitFactorConstant(OXParserNodeManager* manager, OXParserNumber* factor);
    OXUnitFactor* Specialize(const OXObject& object) const override;
    long GetUnitFactor(tagExecuteResult& result, OXObject& object) const override;
    const OXParserNumber* GetFactor() const { return pChild; }
};

class OXUnitFactorSymbol : public OXOwningNode<OXUnitFactor, OXParserSymbol> {
  public:
    OXUnitFactorSymbol(OXParserNodeManager* manager, OXParserSymbol* symbol);
    OXUnitFactor* Specialize(const OXObject& object) const override;
    long GetUnitFactor(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// ------------------------------------------------------------ unit ids

class OXUnitId : public OXParserNode {
  public:
    explicit OXUnitId(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXUnitId* Specialize(const OXObject& object) const = 0;
    virtual std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const = 0;
};

class OXUnitIdConstant : public OXOwningNode<OXUnitId, OXParserString> {
  public:
    // Without a string the unit is the empty text.
    OXUnitIdConstant(OXParserNodeManager* manager, OXParserString* unit);
    OXUnitId* Specialize(const OXObject& object) const override;
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const override;
    const OXParserString* GetUnit() const { return pChild; }
};

class OXUnitIdSymbol : public OXOwningNode<OXUnitId, OXParserSymbol> {
  public:
    OXUnitIdSymbol(OXParserNodeManager* manager, OXParserSymbol* unit);
    OXUnitId* Specialize(const OXObject& object) const override;
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const override;
    const OXParserSymbol* GetUnit() const { return pChild; }
};

// ": unit * mul / div"; missing parts are an empty unit and factors of 1.
class OXUnitSpecification : public OXParserNode {
  public:
    OXUnitSpecification(OXParserNodeManager* manager, OXUnitId* unitId, OXUnitFactor* mul,
                        OXUnitFactor* div);
    ~OXUnitSpecification() override;
    void Rollback() override;

    const OXUnitId* GetUnitId() const { return pUnitId; }
    const OXUnitFactor* GetMul() const { return pMul; }
    const OXUnitFactor* GetDiv() const { return pDiv; }
    std::string GetUnitStr(tagExecuteResult& result, OXObject& object) const;
    long GetMul(tagExecuteResult& result, OXObject& object) const;
    long GetDiv(tagExecuteResult& result, OXObject& object) const;
    // A constant copy with the values frozen from the object.
    OXUnitSpecification* Specialize(const OXObject& object) const;

  private:
    OXUnitId* pUnitId;
    OXUnitFactor* pMul;
    OXUnitFactor* pDiv;
};
