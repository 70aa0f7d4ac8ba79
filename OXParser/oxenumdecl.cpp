#include "oxenumdecl.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"

#include <cassert>

OXEnumInitializer::OXEnumInitializer(OXParserNodeManager* manager, OXParserString* name,
                                     OXParserNumber* value)
    : OXParserNode(manager), pName(name), pValue(value) {
    assert(pName && pValue);
}

OXEnumInitializer::~OXEnumInitializer() {
    delete pName;
    delete pValue;
}

void OXEnumInitializer::Rollback() {
    pName = nullptr;
    pValue = nullptr;
    OXParserNode::Rollback();
}

OXEnumInitializerList::OXEnumInitializerList(OXParserNodeManager* manager, OXEnumInitializer* first)
    : OXParserNode(manager) {
    Add(first);
}

OXEnumInitializerList::~OXEnumInitializerList() {
    for (auto& entry : initializers)
        delete entry.second;
}

void OXEnumInitializerList::Rollback() {
    initializers.clear();
    dense.clear();
    order.clear();
    OXParserNode::Rollback();
}

void OXEnumInitializerList::Add(OXEnumInitializer* initializer) {
    if (initializer == nullptr)
        return;
    if (!initializers.emplace(initializer->GetValue(), initializer).second) {
        // The map keeps one text per value; the first one written stays.
        delete initializer;
        return;
    }
    int value = initializer->GetValue();
    order.push_back(value);
    if (value >= 0 && value < kDenseLimit) {
        if (static_cast<size_t>(value) >= dense.size())
            dense.resize(static_cast<size_t>(value) + 1, nullptr);
        dense[static_cast<size_t>(value)] = initializer;
    }
}

const std::string* OXEnumInitializerList::LookupEnumStr(int value) const {
    if (value >= 0 && value < kDenseLimit) {
        auto index = static_cast<size_t>(value);
        return index < dense.size() && dense[index] != nullptr ? &dense[index]->GetName() : nullptr;
    }
    auto it = initializers.find(value);
    return it != initializers.end() ? &it->second->GetName() : nullptr;
}

int OXEnumInitializerList::LookupEnumVal(const std::string& name) const {
    for (int value : order) {
        const OXEnumInitializer* initializer = initializers.at(value);
        if (initializer->GetName() == name)
            return initializer->GetValue();
    }
    return -1;
}

const OXEnumInitializer* OXEnumInitializerList::GetEnumInitializer(int index) const {
    if (index < 0 || index >= Count())
        return nullptr;
    return initializers.at(order[static_cast<size_t>(index)]);
}
