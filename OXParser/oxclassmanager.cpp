#include "oxclassmanager.h"

namespace {

// Stand-in for the built-in definitions of the grammar's node files
// (OXListDefinition, OXNumberDefinition, OXStringDefinition,
// OXVoidDefinition); it carries only the class name.
class OXBuiltinDefinitionPlaceholder : public OXDefinitionInterface {
  public:
    explicit OXBuiltinDefinitionPlaceholder(const char* name) : name(name) {}
    const std::string& GetClassName() const override { return name; }

  private:
    std::string name;
};

}  // namespace

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
    Add(*new OXBuiltinDefinitionPlaceholder("list"));
    Add(*new OXBuiltinDefinitionPlaceholder("number"));
    Add(*new OXBuiltinDefinitionPlaceholder("string"));
    Add(*new OXBuiltinDefinitionPlaceholder("void"));
}

bool OXClassManager::Add(OXDefinitionInterface& definition) {
    return definitions.emplace(std::string_view(definition.GetClassName()), &definition).second;
}

OXDefinitionInterface* OXClassManager::Lookup(const std::string& className) const {
    auto it = definitions.find(std::string_view(className));
    return it != definitions.end() ? it->second : nullptr;
}
