#include "oxclassdecl.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>
#include <typeinfo>

namespace {

// Template substitution. A parameter that names a formal argument of the
// class it is given to ("new Box<T<T>>" for "class Box<class T>") has its own
// parameters substituted in turn without end, and a parameter used in many
// places is copied to each of them. One substitution is therefore cut at a
// depth and a number of declarations far beyond any machine's classes; the
// outermost call then gives null.
constexpr int kMaxSpecializeDepth = 5000;
constexpr long kMaxSpecializeCount = 100000;
thread_local int specializeDepth = 0;
thread_local long specializeCount = 0;
thread_local bool specializeCut = false;

}  // namespace

int OXTemplateArgumentList::GetIndexOf(const std::string& name) const {
    for (int i = 0; i < Count(); ++i) {
        if (items[static_cast<size_t>(i)]->GetSymbol() == name)
            return i;
    }
    return -1;
}

OXTemplateParameterList* OXTemplateParameterList::Specialize(
    OXTemplateParameterList* target, const OXTemplateArgumentList& arguments,
    const OXTemplateParameterList& parameters) const {
    if (target == nullptr)
        target = new OXTemplateParameterList(nullptr);
    for (const OXClassDeclaration* declaration : items) {
        if (specializeCut)
            break;
        target->Add(declaration->Specialize(arguments, parameters));
    }
    return target;
}

OXTemplateParameterList* OXTemplateParameterList::Clone() const {
    auto* copy = new OXTemplateParameterList(nullptr);
    for (const OXClassDeclaration* declaration : items)
        copy->Add(declaration->Clone());
    return copy;
}

OXClassDeclaration::OXClassDeclaration(OXParserNodeManager* manager, OXClassName* className,
                                       OXTemplateParameterList* templateParameterList)
    : OXParserNode(manager), pClassName(className), pTemplateParameterList(templateParameterList) {
    assert(pClassName && pTemplateParameterList);
}

OXClassDeclaration::~OXClassDeclaration() {
    delete pClassName;
    delete pTemplateParameterList;
}

void OXClassDeclaration::Rollback() {
    pClassName = nullptr;
    pTemplateParameterList = nullptr;
    OXParserNode::Rollback();
}

OXAttribute* OXClassDeclaration::CreateAttribute(OXClassManager& classes, OXObject*& value,
                                                 const OXAttributeDeclaration& declaration) {
    // The class of an attribute can be missing although its value was made:
    // a class tag or a reference stands in for it ("Undefined U;" given @0).
    // That is the controller's error, not ours: no attribute (null).
    auto* pDefinition = dynamic_cast<OXDefinition*>(classes.Lookup(GetClassName()));
    if (pDefinition == nullptr)
        return nullptr;
    return pDefinition->CreateAttribute(declaration, *this, value);
}

tagExecuteResult OXClassDeclaration::CreateInstance(OXObject*& out, OXClassManager& classes,
                                                    OXObjectManager& objects,
                                                    const OXExpressionInterface& expression,
                                                    tagStoreOption storeOption) const {
    // There is no subclass check: a class tag simply overrides the class.
    auto* tagged = dynamic_cast<const OXExpression*>(&expression);
    if (tagged != nullptr && tagged->GetClassDecl() != nullptr &&
        IsSubClass(*tagged->GetClassDecl()))
        return tagged->GetClassDecl()->CreateUntaggedInstance(out, classes, objects, expression,
                                                              storeOption);
    return CreateUntaggedInstance(out, classes, objects, expression, storeOption);
}

tagExecuteResult OXClassDeclaration::CreateUntaggedInstance(OXObject*& out, OXClassManager& classes,
                                                            OXObjectManager& objects,
                                                            const OXExpressionInterface& expression,
                                                            tagStoreOption storeOption) const {
    // A class that holds itself ("class R { R Next; };") made of a single
    // value, or two classes based on each other, would recurse without end:
    // one value stands for every position of a level. Such a nesting is too
    // deep for any machine and counts as too few values.
    static thread_local int depth = 0;
    if (depth >= kMaxCreationDepth)
        return OXCommand::ER_INVALID_EXPRESSION_COUNT;
    struct DepthGuard {
        DepthGuard() { ++depth; }
        ~DepthGuard() { --depth; }
    } guard;

    if (auto* reference = dynamic_cast<const OXReference*>(&expression)) {
        long id = reference->GetObjectId();
        if (id == 0) {
            out = nullptr;
            return OXCommand::ER_OK;
        }
        OXObject* existing = objects.Lookup(id);
        if (existing == nullptr)
            return OXCommand::ER_INVALID_OBJECT_ID;
        out = existing;
        return OXCommand::ER_OK;
    }
    auto* definition = dynamic_cast<OXDefinition*>(classes.Lookup(GetClassName()));
    if (definition == nullptr)
        return OXCommand::ER_UNKNOWN_CLASS;
    auto* value = dynamic_cast<const OXExpression*>(&expression);
    if (value == nullptr)
        return OXCommand::ER_INVALID_EXPRESSION_TYPE;

    OXObject* made = nullptr;
    tagExecuteResult result = definition->CreateInstance(made, classes, objects, *this, *value);
    if (result == OXCommand::ER_OK && made != nullptr)
        result = made->AssignConstraints();
    if (storeOption != SO_NO_STORE && made != nullptr && result == OXCommand::ER_OK) {
        long id = made->GetObjectId();
        if (id == 0) {
            if (storeOption == SO_STORE_OBJECT)
                result = OXCommand::ER_NOT_AN_OBJECT_OBJECT;
        } else if (objects.Lookup(id) != nullptr) {
            result = OXCommand::ER_OBJECT_ALREADY_EXISTS;
        } else {
            objects.Add(*made);
        }
    }
    if (result != OXCommand::ER_OK) {
        // Never entered in the table: only a successful creation gets there.
        delete made;
        return result;
    }
    out = made;
    return result;
}

OXClassDeclaration* OXClassDeclaration::Specialize(
    const OXTemplateArgumentList& arguments, const OXTemplateParameterList& parameters) const {
    const bool outermost = specializeDepth == 0;
    if (outermost) {
        specializeCount = 0;
        specializeCut = false;
    }
    if (specializeDepth >= kMaxSpecializeDepth || ++specializeCount > kMaxSpecializeCount) {
        specializeCut = true;
        return nullptr;
    }
    struct DepthGuard {
        DepthGuard() { ++specializeDepth; }
        ~DepthGuard() { --specializeDepth; }
    } guard;

    OXClassDeclaration* result;
    int i = arguments.GetIndexOf(GetClassName());
    if (i < 0) {
        // No formal argument: the own name.
        result = new OXClassDeclaration(nullptr, pClassName->Clone(),
                                        new OXTemplateParameterList(nullptr));
    } else {
        // A formal argument: the actual parameter, with its own parameters
        // specialised in turn.
        const OXClassDeclaration* pParameter = parameters.Get(i);
        assert(pParameter);
        result = new OXClassDeclaration(
            nullptr, pParameter->pClassName->Clone(),
            pParameter->pTemplateParameterList->Specialize(nullptr, arguments, parameters));
    }
    pTemplateParameterList->Specialize(result->pTemplateParameterList, arguments, parameters);
    if (outermost && specializeCut) {
        delete result;
        return nullptr;
    }
    return result;
}

const std::string* OXClassDeclaration::GetElementClassName() const {
    const OXClassDeclaration* parameter =
        pTemplateParameterList != nullptr && pTemplateParameterList->Count() > 0
            ? pTemplateParameterList->Get(0)
            : nullptr;
    return parameter != nullptr ? &parameter->GetClassName() : nullptr;
}

OXClassDeclaration* OXClassDeclaration::Clone() const {
    return new OXClassDeclaration(nullptr, pClassName->Clone(), pTemplateParameterList->Clone());
}

OXClassDeclaration* OXClassDeclaration::Share() const {
    if (shared) {
        ++owners;
        return const_cast<OXClassDeclaration*>(this);
    }
    OXClassDeclaration* copy = Clone();
    copy->SetShared();
    return copy;
}

void OXClassDeclaration::Release() {
    if (!shared || --owners == 0)
        delete this;
}

bool OXClassDeclaration::UpdateInstance(OXObject& value,
                                        const OXExpressionInterface& expression) const {
    // Only a shared declaration is handed on unchanged to the values it
    // makes, so a value that holds this very one was made by it.
    if (!shared || value.GetClassDecl() != this)
        return false;
    // Exact types: a reference, a list or a tagged value takes the long way.
    if (typeid(expression) == typeid(OXParserNumber) && typeid(value) == typeid(OXNumberObject)) {
        static_cast<OXNumberObject&>(value).SetValue(
            static_cast<const OXParserNumber&>(expression).GetValue());
        return true;
    }
    if (typeid(expression) == typeid(OXParserString) && typeid(value) == typeid(OXStringObject)) {
        static_cast<OXStringObject&>(value).SetValue(
            static_cast<const OXParserString&>(expression).GetValue());
        return true;
    }
    if (typeid(expression) == typeid(OXExpressionList) && typeid(value) == typeid(OXListObject))
        return UpdateNumberList(static_cast<OXListObject&>(value),
                                static_cast<const OXExpressionList&>(expression));
    return false;
}

bool OXClassDeclaration::UpdateNumberList(OXListObject& list,
                                          const OXExpressionList& expression) const {
    // An untagged list of plain numbers, as many as the list holds, for a
    // list whose elements are all numbers of the element class: making the
    // list anew would give the same elements with the new numbers.
    if (expression.GetClassDecl() != nullptr || pTemplateParameterList->Count() != 1)
        return false;
    const OXClassDeclaration* element = pTemplateParameterList->Get(0);
    if (!element->pTemplateParameterList->IsEmpty())
        return false;
    const std::vector<OXObject*>& elements = *list.GetList();
    if (elements.size() != static_cast<size_t>(expression.Count()))
        return false;
    for (size_t i = 0; i < elements.size(); ++i) {
        const OXObject* old = elements[i];
        const OXExpression* given = expression.Get(static_cast<int>(i));
        if (old == nullptr || typeid(*old) != typeid(OXNumberObject) || given == nullptr ||
            typeid(*given) != typeid(OXParserNumber) ||
            old->GetClassName() != element->GetClassName())
            return false;
    }
    for (size_t i = 0; i < elements.size(); ++i)
        static_cast<OXNumberObject*>(elements[i])
            ->SetValue(static_cast<const OXParserNumber*>(expression.Get(static_cast<int>(i)))
                           ->GetValue());
    return true;
}
