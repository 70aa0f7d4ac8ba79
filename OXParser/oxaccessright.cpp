#include "oxaccessright.h"

#include "oxattribute.h"
#include "oxsymbolvalue.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

OXAccessRightConstant::OXAccessRightConstant(OXParserNodeManager* manager,
                                             OXParserNumber* accessRight)
    : OXOwningNode(manager, accessRight) {}

OXAccessRight* OXAccessRightConstant::Specialize(const OXObject&) const {
    return new OXAccessRightConstant(nullptr, new OXParserNumber(nullptr, pChild->GetValue()));
}

long OXAccessRightConstant::GetAccessRight(tagExecuteResult&, OXObject&) const {
    return OXDoubleToLong(pChild->GetValue());
}

OXAccessRightSymbol::OXAccessRightSymbol(OXParserNodeManager* manager, OXParserSymbol* accessRight)
    : OXOwningNode(manager, accessRight) {}

OXAccessRight* OXAccessRightSymbol::Specialize(const OXObject& object) const {
    return new OXAccessRightConstant(
        nullptr, new OXParserNumber(nullptr, object.GetEnum(pChild->GetSymbol())));
}

long OXAccessRightSymbol::GetAccessRight(tagExecuteResult& result, OXObject& object) const {
    const OXEnumObject* value = SymbolValue<OXEnumObject>(
        *pChild, object, result, OXCommand::ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME,
        OXCommand::ER_ACCESS_RIGHT_NOT_A_NUMBER);
    return value != nullptr ? value->GetValue() : 0;
}

OXAccessRightEnum::OXAccessRightEnum(OXParserNodeManager* manager, OXClassManager& classes,
                                     const char* name)
    : OXAccessRight(manager), accessRight(0), pName(name), classManager(classes) {
    assert(pName);
    // Until the controller has sent the enum "tagAccessRight", every right
    // written with a symbol is 0. The enum names every right of the model; a
    // name it lacks is a broken model, not a value to go on with.
    auto* rights = dynamic_cast<OXEnumDefinition*>(classes.Lookup("tagAccessRight"));
    if (rights != nullptr) {
        accessRight = rights->LookupEnumVal(pName);
        assert(accessRight >= 0);
    }
}

OXAccessRight* OXAccessRightEnum::Specialize(const OXObject&) const {
    return new OXAccessRightConstant(nullptr,
                                     new OXParserNumber(nullptr, static_cast<double>(accessRight)));
}

long OXAccessRightEnum::GetAccessRight(tagExecuteResult& result, OXObject&) const {
    result = accessRight < 0 ? OXCommand::ER_ACCESS_RIGHT_ENUM_NOT_DEFINED : OXCommand::ER_OK;
    return accessRight;
}
