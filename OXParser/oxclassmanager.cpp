#include "oxclassmanager.h"

#include "oxdefinition.h"

#include <atomic>

namespace {

// Shared by all class tables, so that no two lives of any tables have the
// same generation.
std::atomic<unsigned long> lastGeneration{0};

}  // namespace

OXClassManager::OXClassManager() : generation(++lastGeneration) {}

OXClassManager::~OXClassManager() {
    Clear();
}

void OXClassManager::Clear() {
    generation = ++lastGeneration;
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
