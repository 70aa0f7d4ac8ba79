#include "oxexecutemanager.h"

void OXExecuteManager::Add(long executeId, const OXClassDeclInterface& classDecl) {
    if (executeId == 0 || declarations.count(executeId) != 0)
        return;
    declarations.emplace(executeId, classDecl.Clone());
}

const OXClassDeclInterface* OXExecuteManager::Lookup(long executeId) const {
    auto it = declarations.find(executeId);
    return it != declarations.end() ? it->second : nullptr;
}

std::unique_ptr<const OXClassDeclInterface> OXExecuteManager::Remove(long executeId) {
    auto it = declarations.find(executeId);
    if (it == declarations.end())
        return nullptr;
    std::unique_ptr<const OXClassDeclInterface> declaration(it->second);
    declarations.erase(it);
    return declaration;
}

void OXExecuteManager::Reset() {
    for (auto& entry : declarations)
        delete entry.second;
    declarations.clear();
}
