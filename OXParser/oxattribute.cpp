#include "oxattribute.h"

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

void OXAttribute::SetConst(bool value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.isConst = value;
    SetConstraints(constraints);
}

void OXAttribute::SetUnitStr(const std::string& value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.unitStr = value;
    SetConstraints(constraints);
}

void OXAttribute::SetUnitMul(long value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.unitMul = value;
    SetConstraints(constraints);
}

void OXAttribute::SetUnitDiv(long value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.unitDiv = value;
    SetConstraints(constraints);
}

void OXAttribute::SetAccessRight(long value) {
    OXAttributeConstraints constraints = traits->constraints;
    constraints.accessRight = value;
    SetConstraints(constraints);
}

tagExecuteResult OXAttribute::Update(OXClassManager& classes, OXObjectManager& objects,
                                     const OXExpressionInterface& expression) {
    OXClassDeclInterface* pClassDecl = traits->classDecl;
    if (pClassDecl == nullptr)
        return OXExecuteResult::ER_UNKNOWN_CLASS;
    // A value of our own that only changes its number or text is changed
    // where it is instead of being made anew.
    if (OwnsValue() && GetAttrObject() != nullptr &&
        pClassDecl->UpdateInstance(*GetAttrObject(), expression))
        return OXExecuteResult::ER_OK;
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
