#include "oxunitdecl.h"

#include "oxattribute.h"
#include "oxsymbolvalue.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

OXUnitFactorConstant::OXUnitFactorConstant(OXParserNodeManager* manager, OXParserNumber* factor)
    : OXOwningNode(manager, factor != nullptr ? factor : new OXParserNumber(manager, 1)) {}

OXUnitFactor* OXUnitFactorConstant::Specialize(const OXObject&) const {
    return new OXUnitFactorConstant(nullptr, new OXParserNumber(nullptr, pChild->GetValue()));
}

long OXUnitFactorConstant::GetUnitFactor(tagExecuteResult&, OXObject&) const {
    return OXDoubleToLong(pChild->GetValue());
}

OXUnitFactorSymbol::OXUnitFactorSymbol(OXParserNodeManager* manager, OXParserSymbol* symbol)
    : OXOwningNode(manager, symbol) {}

OXUnitFactor* OXUnitFactorSymbol::Specialize(const OXObject& object) const {
    return new OXUnitFactorConstant(
        nullptr, new OXParserNumber(nullptr, object.GetNumber(pChild->GetSymbol())));
}

long OXUnitFactorSymbol::GetUnitFactor(tagExecuteResult& result, OXObject& object) const {
    const OXNumberObject* value = SymbolValue<OXNumberObject>(
        *pChild, object, result, OXCommand::ER_INVALID_FACTOR_ATTRIBUTE_NAME,
        OXCommand::ER_FACTOR_NOT_A_NUMBER);
    return value != nullptr ? OXDoubleToLong(value->GetValue(1, 1)) : 1;
}

// ------------------------------------------------------------ unit ids

OXUnitIdConstant::OXUnitIdConstant(OXParserNodeManager* manager, OXParserString* unit)
    : OXOwningNode(manager, unit != nullptr ? unit : new OXParserString(manager, "")) {}

OXUnitId* OXUnitIdConstant::Specialize(const OXObject&) const {
    return new OXUnitIdConstant(nullptr, new OXParserString(nullptr, pChild->GetValue()));
}

std::string OXUnitIdConstant::GetUnitStr(tagExecuteResult&, OXObject&) const {
    return pChild->GetValue();
}

OXUnitIdSymbol::OXUnitIdSymbol(OXParserNodeManager* manager, OXParserSymbol* unit)
    : OXOwningNode(manager, unit) {}

OXUnitId* OXUnitIdSymbol::Specialize(const OXObject& object) const {
    return new OXUnitIdConstant(nullptr,
                                new OXParserString(nullptr, object.GetString(pChild->GetSymbol())));
}

std::string OXUnitIdSymbol::GetUnitStr(tagExecuteResult& result, OXObject& object) const {
    const OXStringObject* value = SymbolValue<OXStringObject>(
        *pChild, object, result, OXCommand::ER_INVALID_UNIT_ID_ATTRIBUTE_NAME,
        OXCommand::ER_UNIT_ID_NOT_A_STRING);
    return value != nullptr ? value->GetValue() : std::string();
}

OXUnitSpecification::OXUnitSpecification(OXParserNodeManager* manager, OXUnitId* unitId,
                                         OXUnitFactor* mul, OXUnitFactor* div)
    : OXParserNode(manager),
      pUnitId(unitId != nullptr ? unitId : new OXUnitIdConstant(manager, nullptr)),
      pMul(mul != nullptr ? mul : new OXUnitFactorConstant(manager, nullptr)),
      pDiv(div != nullptr ? div : new OXUnitFactorConstant(manager, nullptr)) {}

OXUnitSpecification::~OXUnitSpecification() {
    delete pUnitId;
    delete pMul;
    delete pDiv;
}

void OXUnitSpecification::Rollback() {
    pUnitId = nullptr;
    pMul = nullptr;
    pDiv = nullptr;
    OXParserNode::Rollback();
}

std::string OXUnitSpecification::GetUnitStr(tagExecuteResult& result, OXObject& object) const {
    return pUnitId->GetUnitStr(result, object);
}

long OXUnitSpecification::GetMul(tagExecuteResult& result, OXObject& object) const {
    return pMul->GetUnitFactor(result, object);
}

long OXUnitSpecification::GetDiv(tagExecuteResult& result, OXObject& object) const {
    return pDiv->GetUnitFactor(result, object);
}

OXUnitSpecification* OXUnitSpecification::Specialize(const OXObject& object) const {
    return new OXUnitSpecification(nullptr, pUnitId->Specialize(object), pMul->Specialize(object),
                                   pDiv->Specialize(object));
}
