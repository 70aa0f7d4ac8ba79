// Run-time objects of the machine's object world: the controller defines their
// classes and fills them; everyone above reads them by object number and
// attribute name.
//
//   OXObject
//     OXComplexObject   an instance of a class definition, with attributes
//     OXListObject      list<T>
//     OXSimpleObject
//       OXNumberObject  number (and void)
//       OXStringObject  string
//       OXEnumObject    an instance of an enum definition
#pragma once

#include "observer.h"
#include "oxnodeinterfaces.h"
#include "oxstorepool.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class OXAttribute;
template <class T>
class OXAttributeTpl;
class OXComplexObject;
class OXListObject;
class OXNumberObject;
class OXStringObject;
class OXEnumObject;
class OXObjectVisitor;
class OXAttributeVisitor;
class OXFunctionVisitor;
class OXAttributeIndex;

// A growing array of pointers in one block of the store's pool: 16 bytes in
// its holder instead of a vector's 24, and no heap header on the block. Does
// not own what it points at.
template <class T>
class OXPointerArray {
  public:
    OXPointerArray() = default;
    OXPointerArray(const OXPointerArray&) = delete;
    OXPointerArray& operator=(const OXPointerArray&) = delete;
    ~OXPointerArray() { OXStoreFree(data, capacity * sizeof(T*)); }

    T* const* begin() const { return data; }
    T* const* end() const { return data + count; }
    size_t size() const { return count; }
    bool empty() const { return count == 0; }
    T* operator[](size_t i) const { return data[i]; }
    T*& operator[](size_t i) { return data[i]; }

    void reserve(size_t n) {
        if (n <= capacity)
            return;
        auto** fresh = static_cast<T**>(OXStoreAlloc(n * sizeof(T*)));
        for (uint32_t i = 0; i < count; ++i)
            fresh[i] = data[i];
        OXStoreFree(data, capacity * sizeof(T*));
        data = fresh;
        capacity = static_cast<uint32_t>(n);
    }
    void push_back(T* item) {
        if (count == capacity)
            reserve(capacity == 0 ? 4 : 2 * static_cast<size_t>(capacity));
        data[count++] = item;
    }

  private:
    T** data = nullptr;
    uint32_t count = 0;
    uint32_t capacity = 0;
};

// The elements of a list object.
class OXObject;
using OXObjectList = OXPointerArray<OXObject>;

// The class of a run-time object, for the store's paths that must tell them
// apart on every update without asking the run-time type system.
enum class OXObjectKind : unsigned char { COMPLEX, LIST, NUMBER, STRING, ENUM };

// Objects come from the store's pool (see OXStorePooled).
class OXObject : public Subject<OXObject>, public OXStorePooled {
  public:
    // Takes over one owner's hold of the class declaration (given back with
    // Release).
    explicit OXObject(OXClassDeclInterface* classDecl);
    OXObject(const OXObject&) = delete;
    OXObject& operator=(const OXObject&) = delete;
    ~OXObject() override;

    virtual OXObjectKind GetKind() const = 0;
    // The object number; 0 for anything that is not in the object table.
    virtual long GetObjectId() const { return 0; }
    virtual void Accept(OXObjectVisitor& visitor) = 0;
    virtual tagExecuteResult AssignConstraints() { return OXExecuteResult::ER_OK; }
    // Attribute by name, base classes first (a base attribute hides a derived
    // one of the same name).
    virtual OXAttribute* GetAttribute(const std::string& name) const;
    virtual const OXFunctionDeclInterface* GetFunction(long functionId) const;
    virtual const OXFunctionDeclInterface* GetFunction(const std::string& name) const;
    virtual long GetAttributeCount() const { return 0; }
    virtual std::string AsString() const { return std::string(); }
    virtual bool IsClass(const std::string& className) const;
    // Clears every attribute value and list element that points at gone, in
    // this object and in the nested values it owns: an object of the table
    // that is deleted must not be left behind as a dangling reference.
    virtual void ForgetReferencesTo(const OXObject& /*gone*/) {}

    const std::string& GetClassName() const;
    const OXClassDeclInterface* GetClassDecl() const { return ClassDecl(); }

    // Readers by attribute name. Each gives a neutral value (null, 0, empty
    // text) when the attribute is missing or holds another kind of value.
    OXObject* GetAttrValue(const std::string& name) const;
    OXAttributeTpl<OXNumberObject>* GetNumberAttr(const std::string& name) const;
    OXAttributeTpl<OXStringObject>* GetStringAttr(const std::string& name) const;
    OXAttributeTpl<OXEnumObject>* GetEnumAttr(const std::string& name) const;
    OXNumberObject* GetNumberObject(const std::string& name) const;
    OXStringObject* GetStringObject(const std::string& name) const;
    OXListObject* GetListObject(const std::string& name) const;
    OXEnumObject* GetEnumObject(const std::string& name) const;
    // The number scaled by the attribute's unit factors: value * mul / div.
    double GetNumber(const std::string& name) const;
    std::string GetString(const std::string& name) const;
    const OXObjectList* GetList(const std::string& name) const;
    int GetEnum(const std::string& name) const;
    // The object an attribute refers to; its GetObjectId is the number.
    OXComplexObject* GetReference(const std::string& name) const;

  protected:
    List<ObserverInfo>* ObserverList(bool make) const override;

  private:
    // The class declaration and the observers share the subject's one word:
    // until the first Attach it holds the declaration with its lowest bit
    // set (declarations are aligned, so the bit is free), from then on the
    // address of an Observed record with both. Nearly no object of a store
    // is ever observed; each saves a word.
    struct Observed;
    static constexpr uintptr_t kPlainDecl = 1;
    OXClassDeclInterface* ClassDecl() const {
        auto word = reinterpret_cast<uintptr_t>(observers_);
        if ((word & kPlainDecl) != 0)
            return reinterpret_cast<OXClassDeclInterface*>(word & ~kPlainDecl);
        return ObservedClassDecl();
    }
    OXClassDeclInterface* ObservedClassDecl() const;
};

class OXComplexObject : public OXObject {
  public:
    // Owns the class declaration and the base object (null for a root class).
    OXComplexObject(OXClassDeclInterface* classDecl, OXComplexObject* base);
    ~OXComplexObject() override;

    OXObjectKind GetKind() const override { return OXObjectKind::COMPLEX; }
    long GetObjectId() const override;
    void Accept(OXObjectVisitor& visitor) override;
    tagExecuteResult AssignConstraints() override;
    OXAttribute* GetAttribute(const std::string& name) const override;
    const OXFunctionDeclInterface* GetFunction(long functionId) const override;
    const OXFunctionDeclInterface* GetFunction(const std::string& name) const override;
    long GetAttributeCount() const override;
    bool IsClass(const std::string& className) const override;
    void ForgetReferencesTo(const OXObject& gone) override;

    // Room for count attributes of this level, so that adding them one by
    // one does not grow the tables step by step.
    void Reserve(size_t count);
    // Both take ownership.
    void Add(OXAttribute& attribute);
    void Add(OXFunctionDeclInterface& function);
    void VisitAttributes(OXAttributeVisitor& visitor);
    void VisitFunctions(OXFunctionVisitor& visitor);
    // Attribute by name through the name index of each level, base first.
    OXAttribute* LookupAttribute(const std::string& name) const;
    // Positional update: base attributes take the first expressions, constant
    // attributes take none, missing trailing expressions keep old values.
    tagExecuteResult Update(OXClassManager& classes, OXObjectManager& objects,
                            const OXExpressionInterface& expression, int& index);

    OXComplexObject* GetBase() const { return pBase; }
    // This level's attributes by position, in declaration order.
    size_t GetLevelAttributeCount() const { return attributes.size(); }
    OXAttribute* GetLevelAttribute(size_t index) const { return attributes[index]; }

  private:
    OXAttribute* FindIndexed(std::string_view name) const;
    // The name index of this level, made at its first use.
    const OXAttributeIndex* Index() const;
    struct WithFunctions;
    WithFunctions* GetWithFunctions() const {
        return (indexWord & kWithFunctions) != 0
                   ? reinterpret_cast<WithFunctions*>(indexWord & ~kWithFunctions)
                   : nullptr;
    }
    OXAttributeIndex* SharedIndex() const;
    void SetSharedIndex(OXAttributeIndex* index) const;
    const std::vector<OXFunctionDeclInterface*>* Functions() const;

    OXComplexObject* pBase;
    // This level's attributes in declaration order.
    OXPointerArray<OXAttribute> attributes;
    // The same attributes sorted by name, one entry per name (the first
    // declared wins); its size is this level's attribute count. Every object
    // of a class has the same one, so they share it (see OXAttributeIndex).
    // Objects of the store have no functions, so the word is the index's
    // address; with its lowest bit set, that of a WithFunctions record of
    // index and functions, made at the first Add of a function.
    static constexpr uintptr_t kWithFunctions = 1;
    mutable uintptr_t indexWord = 0;
};

class OXListObject : public OXObject {
  public:
    OXListObject(OXClassDeclInterface* classDecl, std::string elementClassName);
    ~OXListObject() override;

    OXObjectKind GetKind() const override { return OXObjectKind::LIST; }
    void Accept(OXObjectVisitor& visitor) override;
    std::string AsString() const override { return "list"; }
    void ForgetReferencesTo(const OXObject& gone) override;
    virtual void VisitElements(OXObjectVisitor& visitor);

    // Appends an element; null stands for a null entry. An element without an
    // object number is owned by the list; one with a number belongs to the
    // object table.
    void Add(OXObject* element);
    // Room for count elements.
    void Reserve(size_t count);
    const OXObjectList* GetList() const { return &elements; }
    // Whether the list destroys the element at index with itself.
    bool OwnsElement(size_t index) const { return IsOwned(index); }
    const std::string& GetElementClassName() const;

  private:
    bool IsOwned(size_t i) const;
    struct Extra;
    Extra* GetExtra() const { return (owned & 1) == 0 ? reinterpret_cast<Extra*>(owned) : nullptr; }

    OXObjectList elements;
    // Whether the list owns each element, in one word: with its lowest bit
    // set, bit i + 1 is the flag of element i, as far as the word goes; else
    // the address of an Extra (or null: no flags set yet), which holds the
    // flags of all elements, and an element class name other than the one
    // the list's class declaration names, for the few lists that need them.
    uintptr_t owned = 0;
};

class OXSimpleObject : public OXObject {
  public:
    using OXObject::OXObject;
};

class OXNumberObject : public OXSimpleObject {
  public:
    OXNumberObject(OXClassDeclInterface* classDecl, double value)
        : OXSimpleObject(classDecl), value(value) {}

    OXObjectKind GetKind() const override { return OXObjectKind::NUMBER; }
    void Accept(OXObjectVisitor& visitor) override;
    std::string AsString() const override;
    // value * mul / div; unchanged for 1 and 1. A divisor of 0 is taken as 1.
    double GetValue(long mul, long div) const;
    void SetValue(double v) { value = v; }

  private:
    double value;
};

class OXStringObject : public OXSimpleObject {
  public:
    OXStringObject(OXClassDeclInterface* classDecl, std::string value)
        : OXSimpleObject(classDecl), value(std::move(value)) {}

    OXObjectKind GetKind() const override { return OXObjectKind::STRING; }
    void Accept(OXObjectVisitor& visitor) override;
    std::string AsString() const override { return value; }
    const std::string& GetValue() const { return value; }
    void SetValue(const std::string& v) { value = v; }

  private:
    std::string value;
};

class OXEnumObject : public OXSimpleObject {
  public:
    // enumStr points at the value's text in the enum definition (not owned),
    // null for a value the enum does not have.
    OXEnumObject(OXClassDeclInterface* classDecl, int value, const std::string* enumStr)
        : OXSimpleObject(classDecl), value(value), enumStr(enumStr) {}

    OXObjectKind GetKind() const override { return OXObjectKind::ENUM; }
    void Accept(OXObjectVisitor& visitor) override;
    std::string AsString() const override;
    int GetValue() const { return value; }
    const std::string* GetEnumStr() const { return enumStr; }
    void SetValue(int v, const std::string* text) {
        value = v;
        enumStr = text;
    }

  private:
    int value;
    const std::string* enumStr;
};

// The kind of each object class, and the cast that asks it instead of the
// run-time type system: null for null and for an object of another kind.
template <class T>
struct OXKindOf;
template <>
struct OXKindOf<OXComplexObject> {
    static constexpr OXObjectKind value = OXObjectKind::COMPLEX;
};
template <>
struct OXKindOf<OXListObject> {
    static constexpr OXObjectKind value = OXObjectKind::LIST;
};
template <>
struct OXKindOf<OXNumberObject> {
    static constexpr OXObjectKind value = OXObjectKind::NUMBER;
};
template <>
struct OXKindOf<OXStringObject> {
    static constexpr OXObjectKind value = OXObjectKind::STRING;
};
template <>
struct OXKindOf<OXEnumObject> {
    static constexpr OXObjectKind value = OXObjectKind::ENUM;
};

template <class T>
T* OXObjectCast(OXObject* object) {
    return object != nullptr && object->GetKind() == OXKindOf<T>::value ? static_cast<T*>(object)
                                                                        : nullptr;
}
template <class T>
const T* OXObjectCast(const OXObject* object) {
    return object != nullptr && object->GetKind() == OXKindOf<T>::value
               ? static_cast<const T*>(object)
               : nullptr;
}

// Number to long, saturating; NaN gives 0 (a controller's number never traps).
long OXToLong(double value);

// Number text as the clients see it: "%f" without trailing zeros and point.
std::string OXNumberToString(double value);
