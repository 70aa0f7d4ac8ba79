// Values in declarations: the default value and the constraints of a
// function parameter, each written as a constant or as the name of an
// attribute of the object.
#pragma once

#include "oxcommand.h"
#include "oxexpression.h"
#include "oxparsernode.h"

class OXObject;

class OXValueExpression : public OXParserNode {
  public:
    explicit OXValueExpression(OXParserNodeManager* manager) : OXParserNode(manager) {}
    virtual OXValueExpression* Specialize(const OXObject& object) const = 0;
};

class OXValueExpressionConstant : public OXOwningNode<OXValueExpression, OXExpression> {
  public:
    OXValueExpressionConstant(OXParserNodeManager* manager, OXExpression* expression);
    OXValueExpression* Specialize(const OXObject& object) const override;
    const OXExpression* GetExpression() const { return pChild; }
};

class OXValueExpressionSymbol : public OXOwningNode<OXValueExpression, OXParserSymbol> {
  public:
    OXValueExpressionSymbol(OXParserNodeManager* manager, OXParserSymbol* expression);
    OXValueExpression* Specialize(const OXObject& object) const override;
    const OXParserSymbol* GetSymbol() const { return pChild; }
};

// ------------------------------------------------------------ constraints

// "low..high", "low..", "..high" or a single value, which is both bounds.
class OXConstraintInterval : public OXParserNode {
  public:
    OXConstraintInterval(OXParserNodeManager* manager, OXValueExpression* low,
                         OXValueExpression* high);
    ~OXConstraintInterval() override;
    void Rollback() override;
    OXConstraintInterval* Specialize(const OXObject& object) const;
    const OXValueExpression* GetLow() const { return pLow; }
    const OXValueExpression* GetHigh() const { return pHigh; }

  private:
    OXValueExpression* pLow;
    OXValueExpression* pHigh;
};

class OXConstraintList : public OXNodeVector<OXConstraintInterval> {
  public:
    using OXNodeVector::OXNodeVector;
    OXConstraintList* Specialize(const OXObject& object) const;
};
