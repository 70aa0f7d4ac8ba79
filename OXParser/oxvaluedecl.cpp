#include "oxvaluedecl.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

OXValueExpressionConstant::OXValueExpressionConstant(OXParserNodeManager* manager,
                                                     OXExpression* expression)
    : OXOwningNode(manager, expression) {}

OXValueExpression* OXValueExpressionConstant::Specialize(const OXObject&) const {
    return new OXValueExpressionConstant(nullptr, pChild->Clone());
}

OXValueExpressionSymbol::OXValueExpressionSymbol(OXParserNodeManager* manager,
                                                 OXParserSymbol* expression)
    : OXOwningNode(manager, expression) {}

OXValueExpression* OXValueExpressionSymbol::Specialize(const OXObject& object) const {
    OXExpression* value;
    OXAttribute* attribute = object.GetAttribute(pChild->GetSymbol());
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
