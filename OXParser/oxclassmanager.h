// Class table of one machine port: class name to definition, owning the
// definitions. After Initialize or Reset it holds the four built-in classes
// "list", "number", "string" and "void".
#pragma once

#include "oxnodeinterfaces.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

class OXClassManager {
  public:
    OXClassManager();
    OXClassManager(const OXClassManager&) = delete;
    OXClassManager& operator=(const OXClassManager&) = delete;
    ~OXClassManager();

    void Initialize() { Reset(); }
    // Destroys every definition and enters the built-in ones again.
    void Reset();
    // Takes ownership and returns true if the name is new; an existing name is
    // left untouched and the caller keeps the definition (false).
    bool Add(OXDefinitionInterface& definition);
    OXDefinitionInterface* Lookup(const std::string& className) const;
    size_t GetClassCount() const { return definitions.size(); }
    // Tells one life of the table's definitions from every other, in any
    // class table: a definition found under it stays the same until the next
    // Reset (definitions are never replaced), so a declaration may keep what
    // it found with the generation it found it in.
    unsigned long GetGeneration() const { return generation; }

  private:
    void Clear();

    // Keys are the definitions' own names.
    std::map<std::string_view, OXDefinitionInterface*, std::less<>> definitions;
    unsigned long generation = 0;
};
