#include "oxexpression.h"

#include "oxdeclaration.h"

#include <cassert>
#include <climits>
#include <cmath>

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
    : OXExpression(manager), pReference(reference) {
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
    : OXExpression(manager), pClassDecl(classDecl) {
    Add(first);
}

OXExpressionList::~OXExpressionList() {
    // Lists nest as deep as the peer writes them, so they are taken apart
    // with a work list instead of recursive destructors: an inner list hands
    // its elements over before it is destroyed.
    std::vector<OXExpression*> pending;
    pending.swap(list);
    while (!pending.empty()) {
        OXExpression* expression = pending.back();
        pending.pop_back();
        if (expression->GetKind() == OXExpressionKind::LIST) {
            auto* inner = static_cast<OXExpressionList*>(expression);
            pending.insert(pending.end(), inner->list.begin(), inner->list.end());
            inner->list.clear();
        }
        delete expression;
    }
    delete pClassDecl;
}

void OXExpressionList::Rollback() {
    list.clear();
    pClassDecl = nullptr;
    OXExpression::Rollback();
}

void OXExpressionList::Add(OXExpression* expression) {
    if (expression != nullptr)
        list.push_back(expression);
}

void OXExpressionList::SetClassDecl(OXClassDeclaration* pCDecl) {
    assert(!pClassDecl && pCDecl);
    pClassDecl = pCDecl;
}

const OXExpression* OXExpressionList::Get(int index) const {
    if (index < 0 || index >= Count())
        return nullptr;
    return list[static_cast<size_t>(index)];
}

OXExpression* OXExpressionList::Clone() const {
    auto* copy = new OXExpressionList(nullptr, nullptr,
                                      pClassDecl != nullptr ? pClassDecl->Clone() : nullptr);
    for (const OXExpression* expression : list)
        copy->Add(expression->Clone());
    return copy;
}
