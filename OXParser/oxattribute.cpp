#include "oxattribute.h"

#include "oxclassdecl.h"
#include "oxobjectmanager.h"

OXAttribute::OXAttribute(const OXAttributeDeclInterface& attributeDecl,
                         OXClassDeclInterface* classDecl)
    : pClassDecl(classDecl), pAttributeDecl(&attributeDecl) {}

OXAttribute::~OXAttribute() {
    if (pClassDecl != nullptr)
        pClassDecl->Release();
}

const std::string& OXAttribute::GetClassName() const {
    static const std::string none;
    return pClassDecl != nullptr ? pClassDecl->GetClassName() : none;
}

tagExecuteResult OXAttribute::Update(OXClassManager& classes, OXObjectManager& objects,
                                     const OXExpressionInterface& expression) {
    if (pClassDecl == nullptr)
        return OXExecuteResult::ER_UNKNOWN_CLASS;
    // A reference gives the object of the table whatever the class: null for
    // 0, an error for a number not in the table.
    if (expression.GetKind() == OXExpressionKind::REFERENCE) {
        long id = static_cast<const OXReference&>(expression).GetObjectId();
        OXObject* target = nullptr;
        if (id != 0) {
            target = objects.Lookup(id);
            if (target == nullptr)
                return OXExecuteResult::ER_INVALID_OBJECT_ID;
        }
        return SetObjValue(target);
    }
    // A value of our own that keeps its class and shape is changed where it
    // is instead of being made anew.
    if (OXObject* owned = GetOwnedValue()) {
        if (pClassDecl->UpdateInstance(*owned, classes, objects, expression))
            return OXExecuteResult::ER_OK;
    }
    OXObject* value = nullptr;
    tagExecuteResult result =
        pClassDecl->CreateInstance(value, classes, objects, expression, SO_STORE_IF_OBJECT);
    if (result != OXExecuteResult::ER_OK)
        return result;
    result = SetObjValue(value);
    // A refused value is destroyed unless it has a number: then it is an
    // object of the table (a reference, or a nested object already entered).
    if (result != OXExecuteResult::ER_OK && value != nullptr && value->GetObjectId() == 0)
        delete value;
    return result;
}

bool OXAttribute::UpdateInPlace(OXClassManager& classes, OXObjectManager& objects,
                                const OXExpressionInterface& expression, bool apply) {
    if (pClassDecl == nullptr)
        return false;
    if (expression.GetKind() == OXExpressionKind::REFERENCE) {
        // Made anew, the attribute would hold the object of the table; one of
        // another kind would leave it empty, which the long way does.
        long id = static_cast<const OXReference&>(expression).GetObjectId();
        OXObject* target = id != 0 ? objects.Lookup(id) : nullptr;
        if ((id != 0 && target == nullptr) ||
            (target != nullptr && target->GetKind() != GetValueKind()))
            return false;
        if (apply)
            SetObjValue(target);
        return true;
    }
    OXObject* owned = GetOwnedValue();
    return owned != nullptr &&
           pClassDecl->UpdateInPlace(*owned, classes, objects, expression, apply);
}

tagExecuteResult OXAttribute::AssignConstraints(OXObject& object) {
    if (pAttributeDecl == nullptr)
        return OXExecuteResult::ER_OK;
    return pAttributeDecl->AssignConstraints(*this, object);
}

int OXAttribute::GetNoOfDecimals() const {
    double value = static_cast<double>(unitDiv);
    int decimals = 0;
    while (value >= 10) {
        value /= 10;
        ++decimals;
    }
    return decimals;
}
