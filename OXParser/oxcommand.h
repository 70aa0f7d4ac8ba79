// Base of the command nodes: what one text of the machine link does to the
// store, and how it tells the handler about it.
#pragma once

#include "oxnodeinterfaces.h"
#include "oxparsernode.h"

class OXClassManager;
class OXObjectManager;
class OXExecuteManager;
class OXObjectHandler;

class OXCommand : public OXParserNode, public OXExecuteResult {
  public:
    // Names of the result codes, "ER_OK" to "ER_INVALID_EXECUTE_ID".
    static const char* ExecuteResultString[ER_COUNT];
    static void InitializeExeResString();

    explicit OXCommand(OXParserNodeManager* manager) : OXParserNode(manager) {}

    virtual tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                                     OXExecuteManager& executions);
    virtual void Notify(OXObjectHandler& handler);
    virtual void Cleanup();
};
