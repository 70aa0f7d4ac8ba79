#include "oxobject.h"

#include "oxattribute.h"
#include "oxexpression.h"
#include "oxobjectmanager.h"
#include "oxobjectvisitor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

long OXToLong(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(std::numeric_limits<long>::max()))
        return std::numeric_limits<long>::max();
    if (value <= static_cast<double>(std::numeric_limits<long>::min()))
        return std::numeric_limits<long>::min();
    return static_cast<long>(value);
}

std::string OXNumberToString(double value) {
    // "%f" of the largest double is some 320 characters.
    char buffer[400];
    int n = std::snprintf(buffer, sizeof buffer, "%f", value);
    if (n < 0)
        return "0";
    std::string text(buffer, std::min<size_t>(static_cast<size_t>(n), sizeof buffer - 1));
    if (text.find('.') != std::string::npos) {
        while (!text.empty() && text.back() == '0')
            text.pop_back();
        if (!text.empty() && text.back() == '.')
            text.pop_back();
    }
    if (text.empty())
        return "0";
    return text;
}

// OXObject

struct OXObject::Observed {
    List<ObserverInfo> list;
    OXClassDeclInterface* classDecl;
};

OXObject::OXObject(OXClassDeclInterface* classDecl) {
    observers_ = reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(classDecl) | kPlainDecl);
}

OXObject::~OXObject() {
    OXClassDeclInterface* classDecl = ClassDecl();
    if ((reinterpret_cast<uintptr_t>(observers_) & kPlainDecl) == 0)
        delete static_cast<Observed*>(observers_);
    // Not a list of the subject's own: nothing left for it to destroy.
    observers_ = nullptr;
    if (classDecl != nullptr)
        classDecl->Release();
}

OXClassDeclInterface* OXObject::ObservedClassDecl() const {
    return static_cast<const Observed*>(observers_)->classDecl;
}

List<ObserverInfo>* OXObject::ObserverList(bool make) const {
    if ((reinterpret_cast<uintptr_t>(observers_) & kPlainDecl) != 0) {
        if (!make)
            return nullptr;
        observers_ = new Observed{List<ObserverInfo>(), ClassDecl()};
    }
    return &static_cast<Observed*>(observers_)->list;
}

OXAttribute* OXObject::GetAttribute(const std::string&) const {
    return nullptr;
}

const OXFunctionDeclInterface* OXObject::GetFunction(long) const {
    return nullptr;
}

const OXFunctionDeclInterface* OXObject::GetFunction(const std::string&) const {
    return nullptr;
}

bool OXObject::IsClass(const std::string& className) const {
    return GetClassName() == className;
}

const std::string& OXObject::GetClassName() const {
    static const std::string none;
    const OXClassDeclInterface* classDecl = ClassDecl();
    return classDecl != nullptr ? classDecl->GetClassName() : none;
}

OXObject* OXObject::GetAttrValue(const std::string& name) const {
    OXAttribute* attribute = GetAttribute(name);
    return attribute != nullptr ? attribute->GetAttrObject() : nullptr;
}

OXAttributeTpl<OXNumberObject>* OXObject::GetNumberAttr(const std::string& name) const {
    return OXAttributeCast<OXNumberObject>(GetAttribute(name));
}

OXAttributeTpl<OXStringObject>* OXObject::GetStringAttr(const std::string& name) const {
    return OXAttributeCast<OXStringObject>(GetAttribute(name));
}

OXAttributeTpl<OXEnumObject>* OXObject::GetEnumAttr(const std::string& name) const {
    return OXAttributeCast<OXEnumObject>(GetAttribute(name));
}

OXNumberObject* OXObject::GetNumberObject(const std::string& name) const {
    return OXObjectCast<OXNumberObject>(GetAttrValue(name));
}

OXStringObject* OXObject::GetStringObject(const std::string& name) const {
    return OXObjectCast<OXStringObject>(GetAttrValue(name));
}

OXListObject* OXObject::GetListObject(const std::string& name) const {
    return OXObjectCast<OXListObject>(GetAttrValue(name));
}

OXEnumObject* OXObject::GetEnumObject(const std::string& name) const {
    return OXObjectCast<OXEnumObject>(GetAttrValue(name));
}

double OXObject::GetNumber(const std::string& name) const {
    OXAttributeTpl<OXNumberObject>* attribute = GetNumberAttr(name);
    if (attribute == nullptr || attribute->GetValue() == nullptr)
        return 0;
    return attribute->GetValue()->GetValue(attribute->GetUnitMul(), attribute->GetUnitDiv());
}

std::string OXObject::GetString(const std::string& name) const {
    OXStringObject* object = GetStringObject(name);
    return object != nullptr ? object->GetValue() : std::string();
}

const OXObjectList* OXObject::GetList(const std::string& name) const {
    OXListObject* object = GetListObject(name);
    return object != nullptr ? object->GetList() : nullptr;
}

int OXObject::GetEnum(const std::string& name) const {
    OXEnumObject* object = GetEnumObject(name);
    return object != nullptr ? object->GetValue() : 0;
}

OXComplexObject* OXObject::GetReference(const std::string& name) const {
    return OXObjectCast<OXComplexObject>(GetAttrValue(name));
}

// OXAttributeIndex

// The name index of one class level: positions of the attributes sorted by
// name, one per name. It depends only on the attribute declarations of the
// level, so the objects of a class share one, counted; the first attribute's
// declaration keeps the last one made, and an object takes it if it was made
// for the same declarations.
class OXAttributeIndex {
  public:
    explicit OXAttributeIndex(const OXPointerArray<OXAttribute>& attributes) {
        declarations.reserve(attributes.size());
        for (OXAttribute* attribute : attributes)
            declarations.push_back(attribute->GetAttributeDecl());
        for (size_t i = 0; i < attributes.size(); ++i) {
            std::string_view name = attributes[i]->GetAttrName();
            auto it = Find(attributes, name);
            if (it == sorted.end() || attributes[*it]->GetAttrName() != name)
                sorted.insert(it, static_cast<uint32_t>(i));
        }
    }

    static OXAttributeIndex* Get(const OXPointerArray<OXAttribute>& attributes) {
        OXAttributeIndex*& kept = attributes[0]->GetAttributeDecl()->sharedIndex;
        if (kept == nullptr || !kept->Fits(attributes)) {
            OXReleaseIndex(kept);
            kept = new OXAttributeIndex(attributes);
        }
        ++kept->owners;
        return kept;
    }
    void Release() {
        if (--owners == 0)
            delete this;
    }

    // The first position in sorted whose name is not less than name.
    std::vector<uint32_t>::const_iterator Find(const OXPointerArray<OXAttribute>& attributes,
                                               std::string_view name) const {
        return std::lower_bound(sorted.begin(), sorted.end(), name,
                                [&attributes](uint32_t position, std::string_view key) {
                                    return std::string_view(attributes[position]->GetAttrName()) <
                                           key;
                                });
    }
    size_t Count() const { return sorted.size(); }
    std::vector<uint32_t>::const_iterator End() const { return sorted.end(); }

  private:
    bool Fits(const OXPointerArray<OXAttribute>& attributes) const {
        if (attributes.size() != declarations.size())
            return false;
        for (size_t i = 0; i < declarations.size(); ++i)
            if (attributes[i]->GetAttributeDecl() != declarations[i])
                return false;
        return true;
    }

    // Compared by address only; never read through.
    std::vector<const OXAttributeDeclInterface*> declarations;
    std::vector<uint32_t> sorted;
    // The keeping declaration's hold is one of them.
    int owners = 1;
};

void OXReleaseIndex(OXAttributeIndex* index) {
    if (index != nullptr)
        index->Release();
}

// OXComplexObject

struct OXComplexObject::WithFunctions {
    OXAttributeIndex* index;
    std::vector<OXFunctionDeclInterface*> functions;
};

OXComplexObject::OXComplexObject(OXClassDeclInterface* classDecl, OXComplexObject* base)
    : OXObject(classDecl), pBase(base) {}

OXComplexObject::~OXComplexObject() {
    for (OXAttribute* attribute : attributes)
        delete attribute;
    if (const std::vector<OXFunctionDeclInterface*>* functions = Functions())
        for (OXFunctionDeclInterface* function : *functions)
            delete function;
    OXReleaseIndex(SharedIndex());
    delete GetWithFunctions();
    delete pBase;
}

long OXComplexObject::GetObjectId() const {
    static const std::string objectClass("Object");
    static const std::string idName("Id");
    if (!IsClass(objectClass))
        return 0;
    OXAttribute* attribute = LookupAttribute(idName);
    if (attribute == nullptr)
        return 0;
    auto* number = OXObjectCast<OXNumberObject>(attribute->GetAttrObject());
    return number != nullptr ? OXToLong(number->GetValue(1, 1)) : 0;
}

void OXComplexObject::Accept(OXObjectVisitor& visitor) {
    visitor.Visit(this);
}

tagExecuteResult OXComplexObject::AssignConstraints() {
    for (OXAttribute* attribute : attributes) {
        tagExecuteResult result = attribute->AssignConstraints(*this);
        if (result != OXExecuteResult::ER_OK)
            return result;
    }
    return OXExecuteResult::ER_OK;
}

OXAttribute* OXComplexObject::GetAttribute(const std::string& name) const {
    // The name index of each level keeps the first declared of each name, as
    // a walk in declaration order finds it.
    return LookupAttribute(name);
}

OXAttribute* OXComplexObject::LookupAttribute(const std::string& name) const {
    if (pBase != nullptr) {
        if (OXAttribute* attribute = pBase->LookupAttribute(name))
            return attribute;
    }
    return FindIndexed(name);
}

const OXAttributeIndex* OXComplexObject::Index() const {
    OXAttributeIndex* index = SharedIndex();
    if (index == nullptr && !attributes.empty()) {
        index = OXAttributeIndex::Get(attributes);
        SetSharedIndex(index);
    }
    return index;
}

OXAttributeIndex* OXComplexObject::SharedIndex() const {
    if (WithFunctions* with = GetWithFunctions())
        return with->index;
    return reinterpret_cast<OXAttributeIndex*>(indexWord);
}

void OXComplexObject::SetSharedIndex(OXAttributeIndex* index) const {
    if (WithFunctions* with = GetWithFunctions())
        with->index = index;
    else
        indexWord = reinterpret_cast<uintptr_t>(index);
}

const std::vector<OXFunctionDeclInterface*>* OXComplexObject::Functions() const {
    WithFunctions* with = GetWithFunctions();
    return with != nullptr ? &with->functions : nullptr;
}

OXAttribute* OXComplexObject::FindIndexed(std::string_view name) const {
    const OXAttributeIndex* names = Index();
    if (names == nullptr)
        return nullptr;
    auto it = names->Find(attributes, name);
    if (it == names->End())
        return nullptr;
    OXAttribute* attribute = attributes[*it];
    return std::string_view(attribute->GetAttrName()) == name ? attribute : nullptr;
}

const OXFunctionDeclInterface* OXComplexObject::GetFunction(long functionId) const {
    if (const std::vector<OXFunctionDeclInterface*>* functions = Functions())
        for (OXFunctionDeclInterface* function : *functions)
            if (function->GetFunctionId() == functionId)
                return function;
    return pBase != nullptr ? pBase->GetFunction(functionId) : nullptr;
}

const OXFunctionDeclInterface* OXComplexObject::GetFunction(const std::string& name) const {
    if (const std::vector<OXFunctionDeclInterface*>* functions = Functions())
        for (OXFunctionDeclInterface* function : *functions)
            if (function->GetFunctionName() == name)
                return function;
    return pBase != nullptr ? pBase->GetFunction(name) : nullptr;
}

long OXComplexObject::GetAttributeCount() const {
    const OXAttributeIndex* names = Index();
    long count = names != nullptr ? static_cast<long>(names->Count()) : 0;
    return pBase != nullptr ? pBase->GetAttributeCount() + count : count;
}

bool OXComplexObject::IsClass(const std::string& className) const {
    if (GetClassName() == className)
        return true;
    return pBase != nullptr && pBase->IsClass(className);
}

void OXComplexObject::ForgetReferencesTo(const OXObject& gone) {
    for (OXAttribute* attribute : attributes) {
        if (attribute->GetAttrObject() == &gone)
            attribute->SetObjValue(nullptr);  // not owned: it has a number
        else if (OXObject* owned = attribute->GetOwnedValue())
            owned->ForgetReferencesTo(gone);
    }
    if (pBase != nullptr)
        pBase->ForgetReferencesTo(gone);
}

void OXComplexObject::Reserve(size_t count) {
    attributes.reserve(count);
}

void OXComplexObject::Add(OXAttribute& attribute) {
    // The index is made again, or found again, at its next use.
    if (OXAttributeIndex* index = SharedIndex()) {
        index->Release();
        SetSharedIndex(nullptr);
    }
    attributes.push_back(&attribute);
}

void OXComplexObject::Add(OXFunctionDeclInterface& function) {
    WithFunctions* with = GetWithFunctions();
    if (with == nullptr) {
        with = new WithFunctions{SharedIndex(), {}};
        indexWord = reinterpret_cast<uintptr_t>(with) | kWithFunctions;
    }
    with->functions.push_back(&function);
}

void OXComplexObject::VisitAttributes(OXAttributeVisitor& visitor) {
    if (pBase != nullptr)
        pBase->VisitAttributes(visitor);
    for (OXAttribute* attribute : attributes)
        attribute->Accept(visitor);
}

void OXComplexObject::VisitFunctions(OXFunctionVisitor& visitor) {
    if (pBase != nullptr)
        pBase->VisitFunctions(visitor);
    if (const std::vector<OXFunctionDeclInterface*>* functions = Functions())
        for (OXFunctionDeclInterface* function : *functions)
            visitor.Visit(*function);
}

tagExecuteResult OXComplexObject::Update(OXClassManager& classes, OXObjectManager& objects,
                                         const OXExpressionInterface& expression, int& index) {
    // The attributes and their values lie apart in memory: ask for all of
    // them before the walk, so that their loads overlap instead of coming one
    // after another (the base's walk runs meanwhile).
    for (OXAttribute* attribute : attributes) {
        __builtin_prefetch(attribute);
        __builtin_prefetch(reinterpret_cast<const char*>(attribute) + 64);
    }
    tagExecuteResult result = OXExecuteResult::ER_OK;
    if (pBase != nullptr)
        result = pBase->Update(classes, objects, expression, index);
    for (OXAttribute* attribute : attributes)
        __builtin_prefetch(attribute->GetAttrObject());
    if (result == OXExecuteResult::ER_OK) {
        // The values of a command come as a list of the grammar: its elements
        // are read without a virtual call each.
        const auto* list = expression.GetKind() == OXExpressionKind::LIST
                               ? static_cast<const OXExpressionList*>(&expression)
                               : nullptr;
        for (OXAttribute* attribute : attributes) {
            if (attribute->IsConst())
                continue;
            const OXExpressionInterface* value =
                list != nullptr ? list->Item(index) : expression.Get(index);
            if (value == nullptr)
                break;
            result = attribute->Update(classes, objects, *value);
            ++index;
            if (result != OXExecuteResult::ER_OK)
                break;
        }
    }
    if (result == OXExecuteResult::ER_OK)
        NotifyAll();
    return result;
}

// OXListObject

struct OXListObject::Extra {
    bool ownName = false;
    std::string elementClassName;
    std::vector<unsigned char> owned;
};

OXListObject::OXListObject(OXClassDeclInterface* classDecl, std::string elementClassName)
    : OXObject(classDecl) {
    // The class declaration "list<T>" names the element class already; only
    // another name needs a copy of its own.
    const std::string* declared = classDecl != nullptr ? classDecl->GetElementClassName() : nullptr;
    if (declared == nullptr || *declared != elementClassName) {
        auto* extra = new Extra;
        extra->ownName = true;
        extra->elementClassName = std::move(elementClassName);
        owned = reinterpret_cast<uintptr_t>(extra);
    }
}

OXListObject::~OXListObject() {
    for (size_t i = 0; i < elements.size(); ++i)
        if (IsOwned(i))
            delete elements[i];
    delete GetExtra();
}

const std::string& OXListObject::GetElementClassName() const {
    if (Extra* extra = GetExtra(); extra != nullptr && extra->ownName)
        return extra->elementClassName;
    return *GetClassDecl()->GetElementClassName();
}

bool OXListObject::IsOwned(size_t i) const {
    if (Extra* extra = GetExtra())
        return extra->owned[i] != 0;
    return (owned & 1) != 0 && (owned >> (i + 1) & 1) != 0;
}

void OXListObject::Accept(OXObjectVisitor& visitor) {
    visitor.Visit(this);
}

void OXListObject::VisitElements(OXObjectVisitor& visitor) {
    for (OXObject* element : elements) {
        if (element != nullptr)
            element->Accept(visitor);
        else
            visitor.Visit(static_cast<OXComplexObject*>(nullptr));
    }
}

void OXListObject::ForgetReferencesTo(const OXObject& gone) {
    for (size_t i = 0; i < elements.size(); ++i) {
        if (elements[i] == &gone)
            elements[i] = nullptr;  // a null element, as the controller writes one
        else if (IsOwned(i) && elements[i] != nullptr)
            elements[i]->ForgetReferencesTo(gone);
    }
}

void OXListObject::Reserve(size_t count) {
    elements.reserve(count);
}

void OXListObject::Add(OXObject* element) {
    size_t i = elements.size();
    elements.push_back(element);
    bool mine = element != nullptr && element->GetObjectId() == 0;
    Extra* extra = GetExtra();
    // All bits of the word but the lowest.
    constexpr size_t kInlineFlags = sizeof(uintptr_t) * 8 - 1;
    if (extra == nullptr && i < kInlineFlags) {
        if (mine)
            owned |= 1 | uintptr_t{1} << (i + 1);
        return;
    }
    if (extra == nullptr) {
        // One element more than the word holds: the flags move to an Extra.
        extra = new Extra;
        for (size_t k = 0; k < i; ++k)
            extra->owned.push_back(IsOwned(k) ? 1 : 0);
        owned = reinterpret_cast<uintptr_t>(extra);
    }
    extra->owned.push_back(mine ? 1 : 0);
}

// Simple objects

void OXNumberObject::Accept(OXObjectVisitor& visitor) {
    visitor.Visit(this);
}

std::string OXNumberObject::AsString() const {
    return OXNumberToString(value);
}

double OXNumberObject::GetValue(long mul, long div) const {
    if (mul == 1 && div == 1)
        return value;
    return value * static_cast<double>(mul) / static_cast<double>(div != 0 ? div : 1);
}

void OXStringObject::Accept(OXObjectVisitor& visitor) {
    visitor.Visit(this);
}

void OXEnumObject::Accept(OXObjectVisitor& visitor) {
    visitor.Visit(this);
}

std::string OXEnumObject::AsString() const {
    return OXNumberToString(static_cast<double>(value));
}
