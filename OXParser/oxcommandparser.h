// Parser of the machine link's command language.
// Placeholder until the grammar lands: it accepts any text and builds nothing.
#pragma once

#include "oxclassmanager.h"
#include "oxobjecthandler.h"
#include "oxobjectmanager.h"

#include <string>

class OXCommandParser {
public:
    bool Create(OXObjectHandler* handler);
    // 0 on success, 1 on failure (message in GetErrorStr()).
    int Parse(char* text);
    void Reset();

    const char* GetErrorStr() const { return errorStr_.c_str(); }
    OXObjectManager& GetObjectManager() { return objectManager_; }
    OXClassManager& GetClassManager() { return classManager_; }

private:
    OXObjectHandler* handler_ = nullptr;
    OXClassManager classManager_;
    OXObjectManager objectManager_;
    std::string errorStr_;
    bool initialized_ = false;
};
