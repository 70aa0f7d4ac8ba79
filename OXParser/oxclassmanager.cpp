#include "oxclassmanager.h"

#include "oxdefinition.h"

OXClassManager::~OXClassManager() {
    Clear();
}

void OXClassManager::Clear() {
    for (auto& entry : definitions)
        delete entry.second;
    definitions.clear();
}

void OXClassManager::Reset() {
    Clear();
    Add(*new OXListDefinition());
    Add(*new OXNumberDefinition());
    Add(*new OXStringDefinition());
    Add(*new OXVoidDefinition());
}

bool OXClassManager::Add(OXDefinitionInterface& definition) {
    return definitions.emplace(std::string_view(definition.GetClassName()), &definition).second;
}

OXDefinitionInterface* OXClassManager::Lookup(const std::string& className) const {
    auto it = definitions.find(std::string_view(className));
    return it != definitions.end() ? it->second : nullptr;
}
