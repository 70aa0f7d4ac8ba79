// One attribute of a complex object: its value, and the constant state, unit
// and access right worked out for this object.
#pragma once

#include "oxnodeinterfaces.h"
#include "oxobject.h"
#include "oxobjectvisitor.h"

#include <string>

class OXAttribute {
  public:
    // The name is the declaration's, which outlives the attribute.
    // Takes over one owner's hold of the class declaration of the value
    // (given back with Release).
    OXAttribute(const OXAttributeDeclInterface& attributeDecl, OXClassDeclInterface* classDecl);
    OXAttribute(const OXAttribute&) = delete;
    OXAttribute& operator=(const OXAttribute&) = delete;
    virtual ~OXAttribute();

    virtual void Accept(OXAttributeVisitor& visitor) { visitor.Visit(*this); }
    virtual OXObject* GetAttrObject() const = 0;
    // The kind of value the attribute holds (the T of OXAttributeTpl<T>).
    virtual OXObjectKind GetValueKind() const = 0;
    // Stores a new value (null allowed). A value of the wrong kind changes
    // nothing and gives ER_INVALID_EXPRESSION_TYPE.
    virtual tagExecuteResult SetObjValue(OXObject* value) = 0;

    // The value, if this attribute destroys it with itself (a value without
    // an object number); null for a value of the table or none.
    OXObject* GetOwnedValue() const { return ownsValue ? GetAttrObject() : nullptr; }

    // Makes a new value from the expression and stores it; a value of its own
    // that can take the new one in place takes it there.
    tagExecuteResult Update(OXClassManager& classes, OXObjectManager& objects,
                            const OXExpressionInterface& expression);
    // For an attribute of a value that is written in place instead of made
    // anew: whether this attribute, made anew of the expression, would end
    // as it ends when written in place (apply false, nothing changes), and
    // the writing (apply true, only after a check that passed).
    bool UpdateInPlace(OXClassManager& classes, OXObjectManager& objects,
                       const OXExpressionInterface& expression, bool apply);
    tagExecuteResult AssignConstraints(OXObject& object);
    // Decimals to show for a value scaled by unitDiv: 1 -> 0, 10 -> 1, 250 -> 2.
    int GetNoOfDecimals() const;

    const std::string& GetAttrName() const { return pAttributeDecl->GetAttributeName(); }
    const std::string& GetClassName() const;
    const OXClassDeclInterface* GetClassDecl() const { return pClassDecl; }
    const OXAttributeDeclInterface* GetAttributeDecl() const { return pAttributeDecl; }
    bool IsConst() const { return isConst; }
    const std::string& GetUnitStr() const { return unitStr; }
    long GetUnitMul() const { return unitMul; }
    long GetUnitDiv() const { return unitDiv; }
    long GetAccessRight() const { return accessRight; }

    void SetConst(bool value) { isConst = value; }
    void SetUnitStr(const std::string& value) { unitStr = value; }
    void SetUnitMul(long value) { unitMul = value; }
    void SetUnitDiv(long value) { unitDiv = value; }
    void SetAccessRight(long value) { accessRight = value; }

  protected:
    // Whether the attribute destroys its value: a value that had no object
    // number when it was stored is the attribute's own; one with a number
    // belongs to the object table. Deciding at store time keeps the
    // destructor off values that the table may already have destroyed.
    bool ownsValue = false;

  private:
    // Next to ownsValue, so that the two flags share one word.
    bool isConst = false;
    OXClassDeclInterface* pClassDecl;
    const OXAttributeDeclInterface* pAttributeDecl;
    std::string unitStr;
    long unitMul = 1;
    long unitDiv = 1;
    long accessRight = 0;
};

template <class T>
class OXAttributeTpl : public OXAttribute {
  public:
    // The value is cast to T; one of another kind is dropped (and destroyed if
    // nobody else holds it).
    OXAttributeTpl(const OXAttributeDeclInterface& attributeDecl, OXClassDeclInterface* classDecl,
                   OXObject* value)
        : OXAttribute(attributeDecl, classDecl) {
        if (value != nullptr && SetObjValue(value) != OXExecuteResult::ER_OK &&
            value->GetObjectId() == 0)
            delete value;
    }
    ~OXAttributeTpl() override {
        if (ownsValue)
            delete pValue;
    }

    OXObject* GetAttrObject() const override { return pValue; }
    OXObjectKind GetValueKind() const override { return OXKindOf<T>::value; }
    T* GetValue() const { return pValue; }

    tagExecuteResult SetObjValue(OXObject* value) override {
        T* typed = OXObjectCast<T>(value);
        if (value != nullptr && typed == nullptr)
            return OXExecuteResult::ER_INVALID_EXPRESSION_TYPE;
        if (typed == pValue)
            return OXExecuteResult::ER_OK;
        if (ownsValue)
            delete pValue;
        pValue = typed;
        ownsValue = typed != nullptr && typed->GetObjectId() == 0;
        return OXExecuteResult::ER_OK;
    }

  private:
    T* pValue = nullptr;
};

// The attribute as an OXAttributeTpl<T>, asked through its value kind; null
// for null and for an attribute of another kind.
template <class T>
OXAttributeTpl<T>* OXAttributeCast(OXAttribute* attribute) {
    return attribute != nullptr && attribute->GetValueKind() == OXKindOf<T>::value
               ? static_cast<OXAttributeTpl<T>*>(attribute)
               : nullptr;
}
