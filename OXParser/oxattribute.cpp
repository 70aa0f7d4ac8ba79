#include "oxattribute.h"

#include "oxclassdecl.h"
#include "oxobjectmanager.h"

#include <utility>

void OXReleaseTraits(OXAttributeTraits* traits) {
    if (traits != nullptr)
        traits->Release();
}

OXAttributeTraits::OXAttributeTraits(const OXAttributeDeclInterface& attributeDecl,
                                     OXClassDeclInterface* classDecl,
                                     OXAttributeConstraints constraints)
    : attributeDecl(&attributeDecl), classDecl(classDecl), constraints(std::move(constraints)) {}

OXAttributeTraits::~OXAttributeTraits() {
    if (classDecl != nullptr)
        classDecl->Release();
}

OXAttributeTraits* OXAttributeTraits::Get(const OXAttributeDeclInterface& attributeDecl,
                                          OXClassDeclInterface* classDecl,
                                          const OXAttributeConstraints& constraints) {
    // The initial constraints in the first place, any other in the second:
    // each object of a class first gets the one and then, nearly always, the
    // same other.
    static const OXAttributeConstraints initial;
    OXAttributeTraits*& kept = attributeDecl.sharedTraits[constraints == initial ? 0 : 1];
    if (kept != nullptr && kept->classDecl == classDecl && kept->constraints == constraints)
        return kept->Hold();
    auto* traits = new OXAttributeTraits(
        attributeDecl, classDecl != nullptr ? classDecl->Share() : nullptr, constraints);
    OXReleaseTraits(kept);
    kept = traits->Hold();
    return traits;
}

OXAttribute::OXAttribute(const OXAttributeDeclInterface& attributeDecl,
                         OXClassDeclInterface* classDecl)
    : traits(OXAttributeTraits::Get(attributeDecl, classDecl, OXAttributeConstraints())) {
    // The record holds the declaration itself.
    if (classDecl != nullptr)
        classDecl->Release();
}

OXAttribute::~OXAttribute() {
    traits->Release();
}

const std::string& OXAttribute::GetClassName() const {
    static const std::string none;
    return traits->classDecl != nullptr ? traits->classDecl->GetClassName() : none;
}

void OXAttribute::SetConstraints(const OXAttributeConstraints& constraints) {
    if (constraints == traits->constraints)
        return;
    OXAttributeTraits* changed =
        OXAttributeTraits::Get(*traits->attributeDecl, traits->classDecl, constraints);
    traits->Release();
    traits = changed;
}

void OXAttribute::SetUnitDiv(long value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.unitDiv = value;
    SetConstraints(constraints);
}

namespace {

// A plain number or text for a value that the attribute's declaration made:
// true if that is the case (and with apply, the value is written).
bool WritePlain(const OXClassDeclInterface* declaration, OXObject& owned,
                const OXExpressionInterface& expression, bool apply) {
    if (owned.GetClassDecl() != declaration)
        return false;
    OXExpressionKind kind = expression.GetKind();
    if (kind == OXExpressionKind::NUMBER && owned.GetKind() == OXObjectKind::NUMBER) {
        if (apply)
            static_cast<OXNumberObject&>(owned).SetValue(
                static_cast<const OXParserNumber&>(expression).GetValue());
        return true;
    }
    if (kind == OXExpressionKind::STRING && owned.GetKind() == OXObjectKind::STRING) {
        if (apply)
            static_cast<OXStringObject&>(owned).SetValue(
                static_cast<const OXParserString&>(expression).GetValue());
        return true;
    }
    return false;
}

}  // namespace

tagExecuteResult OXAttribute::Update(OXClassManager& classes, OXObjectManager& objects,
                                     const OXExpressionInterface& expression) {
    OXClassDeclInterface* pClassDecl = traits->classDecl;
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
        // A plain number or text for one that the declaration made is the
        // first case of OXClassDeclaration::UpdateInPlace, where check and
        // writing are one step.
        if (WritePlain(pClassDecl, *owned, expression, true))
            return OXExecuteResult::ER_OK;
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
    OXClassDeclInterface* pClassDecl = traits->classDecl;
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
           (WritePlain(pClassDecl, *owned, expression, apply) ||
            pClassDecl->UpdateInPlace(*owned, classes, objects, expression, apply));
}

tagExecuteResult OXAttribute::AssignConstraints(OXObject& object) {
    return traits->attributeDecl->AssignConstraints(*this, object);
}

int OXAttribute::GetNoOfDecimals() const {
    double value = static_cast<double>(GetUnitDiv());
    int decimals = 0;
    while (value >= 10) {
        value /= 10;
        ++decimals;
    }
    return decimals;
}
