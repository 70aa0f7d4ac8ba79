#include "oxexpression.h"

#include "oxdeclaration.h"

#include <cassert>
#include <climits>
#include <cmath>
#include <vector>

long OXDoubleToLong(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(LONG_MAX))
        return LONG_MAX;
    if (value <= static_cast<double>(LONG_MIN))
        return LONG_MIN;
    return static_cast<long>(value);
}

int OXDoubleToInt(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value);
}

OXReference::OXReference(OXParserNodeManager* manager, OXParserNumber* reference)
    : OXExpression(manager, OXExpressionKind::REFERENCE), pReference(reference) {
    assert(pReference);
}

OXReference::~OXReference() {
    delete pReference;
}

void OXReference::Rollback() {
    pReference = nullptr;
    OXExpression::Rollback();
}

OXExpression* OXReference::Clone() const {
    return new OXReference(nullptr, new OXParserNumber(nullptr, pReference->GetValue()));
}

OXExpressionList::OXExpressionList(OXParserNodeManager* manager, OXExpression* first,
                                   OXClassDeclaration* classDecl)
    : OXExpression(manager, OXExpressionKind::LIST), pClassDecl(classDecl) {
    Add(first);
}

OXExpressionList::~OXExpressionList() {
    DestroyElements(0);
    FreeArray();
    delete pClassDecl;
}

void OXExpressionList::FreeArray() {
    oxnodepool::Free(items, static_cast<size_t>(capacity) * sizeof(OXExpression*));
    items = nullptr;
    count = capacity = 0;
}

void OXExpressionList::DestroyElements(int depth) {
    // Lists nest as deep as the peer writes them: past a few levels the rest
    // is taken apart with a work list instead of recursion.
    constexpr int kRecursionDepth = 16;
    if (depth >= kRecursionDepth) {
        DestroyElementsDeep();
        return;
    }
    for (int i = 0; i < count; ++i) {
        OXExpression* expression = items[i];
        if (expression->GetKind() == OXExpressionKind::LIST) {
            auto* inner = static_cast<OXExpressionList*>(expression);
            inner->DestroyElements(depth + 1);
        }
        delete expression;
    }
    count = 0;
}

void OXExpressionList::DestroyElementsDeep() {
    // An inner list hands its elements over before it is destroyed.
    std::vector<OXExpression*> pending(items, items + count);
    count = 0;
    while (!pending.empty()) {
        OXExpression* expression = pending.back();
        pending.pop_back();
        if (expression->GetKind() == OXExpressionKind::LIST) {
            auto* inner = static_cast<OXExpressionList*>(expression);
            pending.insert(pending.end(), inner->items, inner->items + inner->count);
            inner->count = 0;
        }
        delete expression;
    }
}

void OXExpressionList::Rollback() {
    // The elements belong to the manager, which destroys them itself.
    count = 0;
    pClassDecl = nullptr;
    OXExpression::Rollback();
}

void OXExpressionList::Reserve(size_t wanted) {
    if (wanted <= static_cast<size_t>(capacity))
        return;
    auto** grown =
        static_cast<OXExpression**>(oxnodepool::Allocate(wanted * sizeof(OXExpression*)));
    for (int i = 0; i < count; ++i)
        grown[i] = items[i];
    int kept = count;
    FreeArray();
    items = grown;
    count = kept;
    capacity = static_cast<int>(wanted);
}

void OXExpressionList::Add(OXExpression* expression) {
    if (expression == nullptr)
        return;
    if (count == capacity)
        Reserve(capacity < 4 ? 4 : static_cast<size_t>(capacity) * 2);
    items[count++] = expression;
}

void OXExpressionList::SetClassDecl(OXClassDeclaration* pCDecl) {
    assert(!pClassDecl && pCDecl);
    pClassDecl = pCDecl;
}

OXExpression* OXExpressionList::Clone() const {
    auto* copy = new OXExpressionList(nullptr, nullptr,
                                      pClassDecl != nullptr ? pClassDecl->Clone() : nullptr);
    copy->Reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        copy->Add(items[i]->Clone());
    return copy;
}
