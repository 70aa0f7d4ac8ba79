// One attribute of a complex object: its value, and the constant state, unit
// and access right worked out for this object.
#pragma once

#include "oxnodeinterfaces.h"
#include "oxobject.h"
#include "oxobjectvisitor.h"
#include "oxstorepool.h"

#include <cstdint>
#include <string>

// The constant state, unit and access right of an attribute on one object.
struct OXAttributeConstraints {
    bool isConst = false;
    std::string unitStr;
    long unitMul = 1;
    long unitDiv = 1;
    long accessRight = 0;

    bool operator==(const OXAttributeConstraints& other) const {
        return isConst == other.isConst && unitMul == other.unitMul && unitDiv == other.unitDiv &&
               accessRight == other.accessRight && unitStr == other.unitStr;
    }
    bool operator!=(const OXAttributeConstraints& other) const { return !(*this == other); }
};

// What an attribute has besides its value: its declaration, the class of its
// value and the constraints worked out for its object. These are the same for
// the attribute of nearly every object of a class, so attributes share one
// record, counted, and never change it: a change gives the attribute another
// record. The attribute declaration keeps the records its attributes reuse.
class OXAttributeTraits : public OXStorePooled {
  public:
    // Takes over one hold of the class declaration.
    OXAttributeTraits(const OXAttributeDeclInterface& attributeDecl,
                      OXClassDeclInterface* classDecl, OXAttributeConstraints constraints);
    OXAttributeTraits(const OXAttributeTraits&) = delete;
    OXAttributeTraits& operator=(const OXAttributeTraits&) = delete;
    ~OXAttributeTraits();

    // The record of this declaration, class and constraints: one that the
    // declaration keeps if it fits, else a new one that it keeps from now on.
    // classDecl is borrowed; the record takes a hold of its own.
    static OXAttributeTraits* Get(const OXAttributeDeclInterface& attributeDecl,
                                  OXClassDeclInterface* classDecl,
                                  const OXAttributeConstraints& constraints);
    OXAttributeTraits* Hold() {
        ++owners;
        return this;
    }
    void Release() {
        if (--owners == 0)
            delete this;
    }

    const OXAttributeDeclInterface* const attributeDecl;
    OXClassDeclInterface* const classDecl;
    const OXAttributeConstraints constraints;

  private:
    // A store is used from one thread at a time, so the count is a plain one.
    int owners = 1;
};

// One attribute of a complex object: its value and its shared record.
class OXAttribute : public OXStorePooled {
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
    OXObject* GetOwnedValue() const { return OwnsValue() ? GetAttrObject() : nullptr; }

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

    const std::string& GetAttrName() const { return traits->attributeDecl->GetAttributeName(); }
    const std::string& GetClassName() const;
    const OXClassDeclInterface* GetClassDecl() const { return traits->classDecl; }
    const OXAttributeDeclInterface* GetAttributeDecl() const { return traits->attributeDecl; }
    const OXAttributeConstraints& GetConstraints() const { return traits->constraints; }
    bool IsConst() const { return traits->constraints.isConst; }
    const std::string& GetUnitStr() const { return traits->constraints.unitStr; }
    long GetUnitMul() const { return traits->constraints.unitMul; }
    long GetUnitDiv() const { return traits->constraints.unitDiv; }
    long GetAccessRight() const { return traits->constraints.accessRight; }

    // All constraints at once, as AssignConstraints works them out.
    void SetConstraints(const OXAttributeConstraints& constraints);
    void SetUnitDiv(long value);

  protected:
    OXObject* Value() const { return reinterpret_cast<OXObject*>(value & ~kOwned); }
    // Whether the attribute destroys its value: a value that had no object
    // number when it was stored is the attribute's own; one with a number
    // belongs to the object table. Deciding at store time keeps the
    // destructor off values that the table may already have destroyed.
    bool OwnsValue() const { return (value & kOwned) != 0; }
    void StoreValue(OXObject* object, bool owned) {
        value = reinterpret_cast<uintptr_t>(object) | (owned ? kOwned : 0);
    }

  private:
    static constexpr uintptr_t kOwned = 1;

    OXAttributeTraits* traits;
    // The value's address, with the ownership flag in its lowest bit (objects
    // are at least pointer-aligned).
    uintptr_t value = 0;
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
        if (OwnsValue())
            delete GetValue();
    }

    OXObject* GetAttrObject() const override { return Value(); }
    T* GetValue() const { return static_cast<T*>(Value()); }
    OXObjectKind GetValueKind() const override { return OXKindOf<T>::value; }

    tagExecuteResult SetObjValue(OXObject* value) override {
        T* typed = OXObjectCast<T>(value);
        if (value != nullptr && typed == nullptr)
            return OXExecuteResult::ER_INVALID_EXPRESSION_TYPE;
        if (typed == GetValue())
            return OXExecuteResult::ER_OK;
        if (OwnsValue())
            delete GetValue();
        StoreValue(typed, typed != nullptr && typed->GetObjectId() == 0);
        return OXExecuteResult::ER_OK;
    }
};

// The attribute as an OXAttributeTpl<T>, asked through its value kind; null
// for null and for an attribute of another kind.
template <class T>
OXAttributeTpl<T>* OXAttributeCast(OXAttribute* attribute) {
    return attribute != nullptr && attribute->GetValueKind() == OXKindOf<T>::value
               ? static_cast<OXAttributeTpl<T>*>(attribute)
               : nullptr;
}
