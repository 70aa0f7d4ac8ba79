#include "oxattribute.h"

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
    // A value of our own that only changes its number or text is changed
    // where it is instead of being made anew.
    if (ownsValue && GetAttrObject() != nullptr &&
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
