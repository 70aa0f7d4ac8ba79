// Pending executions of one machine port: execution number to the declared
// class of its result. The table owns the declarations.
#pragma once

#include "oxnodeinterfaces.h"

#include <map>
#include <memory>

class OXExecuteManager {
  public:
    OXExecuteManager() = default;
    OXExecuteManager(const OXExecuteManager&) = delete;
    OXExecuteManager& operator=(const OXExecuteManager&) = delete;
    ~OXExecuteManager() { Reset(); }

    // Stores a copy of the declaration; number 0 and numbers in use are left
    // alone.
    void Add(long executeId, const OXClassDeclInterface& classDecl);
    const OXClassDeclInterface* Lookup(long executeId) const;
    // Takes the entry out of the table and hands its declaration to the
    // caller (null if there was none).
    std::unique_ptr<const OXClassDeclInterface> Remove(long executeId);
    void Reset();
    size_t GetCount() const { return declarations.size(); }

  private:
    std::map<long, const OXClassDeclInterface*> declarations;
};
