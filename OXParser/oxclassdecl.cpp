#include "oxclassdecl.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

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
    OXDefinition* pDefinition = LookupDefinition(classes);
    if (pDefinition == nullptr)
        return nullptr;
    return pDefinition->CreateAttribute(declaration, *this, value);
}

tagExecuteResult OXClassDeclaration::CreateInstance(OXObject*& out, OXClassManager& classes,
                                                    OXObjectManager& objects,
                                                    const OXExpressionInterface& expression,
                                                    tagStoreOption storeOption) const {
    // There is no subclass check: a class tag simply overrides the class.
    // Only a list carries a tag.
    if (expression.GetKind() == OXExpressionKind::LIST) {
        const OXClassDeclaration* tag =
            static_cast<const OXExpressionList&>(expression).GetClassDecl();
        if (tag != nullptr && IsSubClass(*tag) && !SamePlainClass(*tag))
            return tag->CreateUntaggedInstance(out, classes, objects, expression, storeOption);
    }
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

    if (expression.GetKind() == OXExpressionKind::REFERENCE) {
        long id = static_cast<const OXReference&>(expression).GetObjectId();
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
    OXDefinition* definition = LookupDefinition(classes);
    if (definition == nullptr)
        return OXCommand::ER_UNKNOWN_CLASS;
    // Every expression of the language is a node of the grammar; the kinds
    // it names are known without asking the run-time type system.
    const OXExpression* value = expression.GetKind() != OXExpressionKind::OTHER
                                    ? static_cast<const OXExpression*>(&expression)
                                    : dynamic_cast<const OXExpression*>(&expression);
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

bool OXClassDeclaration::SamePlainClass(const OXClassDeclaration& other) const {
    return pTemplateParameterList->IsEmpty() && other.pTemplateParameterList->IsEmpty() &&
           pClassName->GetSymbol() == other.pClassName->GetSymbol();
}

OXDefinition* OXClassDeclaration::LookupDefinition(const OXClassManager& classes) const {
    if (definition != nullptr && definitionGeneration == classes.GetGeneration())
        return definition;
    auto* found = dynamic_cast<OXDefinition*>(classes.Lookup(GetClassName()));
    // Only a definition found is kept: one defined later must be found then.
    if (found != nullptr) {
        definition = found;
        definitionGeneration = classes.GetGeneration();
    }
    return found;
}

bool OXClassDeclaration::UpdateInPlace(OXObject& value, OXClassManager& classes,
                                       OXObjectManager& objects,
                                       const OXExpressionInterface& expression, bool apply) const {
    // A plain number or text for a number or text that this declaration
    // made: the class, its definition and the checks are the same as for
    // the value in hand, so only the number or text changes.
    if (value.GetClassDecl() == this) {
        if (expression.GetKind() == OXExpressionKind::NUMBER &&
            value.GetKind() == OXObjectKind::NUMBER) {
            if (apply)
                static_cast<OXNumberObject&>(value).SetValue(
                    static_cast<const OXParserNumber&>(expression).GetValue());
            return true;
        }
        if (expression.GetKind() == OXExpressionKind::STRING &&
            value.GetKind() == OXObjectKind::STRING) {
            if (apply)
                static_cast<OXStringObject&>(value).SetValue(
                    static_cast<const OXParserString&>(expression).GetValue());
            return true;
        }
    }
    // As CreateInstance: the tag of a list takes the place of this class; a
    // reference gives an object of the table, which is never made in place.
    const OXClassDeclaration* declaration = this;
    switch (expression.GetKind()) {
        case OXExpressionKind::LIST: {
            const OXClassDeclaration* tag =
                static_cast<const OXExpressionList&>(expression).GetClassDecl();
            if (tag != nullptr && !SamePlainClass(*tag))
                declaration = tag;
            break;
        }
        case OXExpressionKind::NUMBER:
        case OXExpressionKind::STRING:
            break;
        default:
            return false;
    }
    OXDefinition* found = declaration->LookupDefinition(classes);
    return found != nullptr &&
           found->UpdateInstance(value, classes, objects, *declaration,
                                 static_cast<const OXExpression&>(expression), apply);
}
