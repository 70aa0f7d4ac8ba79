// Base of the command nodes: what one text of the machine link does to the
// store, and how it tells the handler about it.
#pragma once

#include "oxparsernode.h"

class OXClassManager;
class OXObjectManager;
class OXExecuteManager;
class OXObjectHandler;

class OXCommand : public OXParserNode {
  public:
    enum tagExecuteResult {
        ER_OK = 0,
        ER_UNKNOWN_CLASS,
        ER_NON_COMPLEX_CLASS_BASE_CLASS,
        ER_DUPLICATED_CLASS_NAME,
        ER_WRONG_REFERENCE_CLASS,
        ER_INVALID_EXPRESSION_TYPE,
        ER_INVALID_EXPRESSION_COUNT,
        ER_INVALID_TEMPLATE_PARAMETER_COUNT,
        ER_UNEXCPETED_TEMPLATE_PARAMETERS,
        ER_INVALID_OBJECT_ID,
        ER_OBJECT_ALREADY_EXISTS,
        ER_NOT_AN_OBJECT_OBJECT,
        ER_FACTOR_NOT_A_NUMBER,
        ER_INVALID_FACTOR_ATTRIBUTE_NAME,
        ER_ACCESS_RIGHT_NOT_A_NUMBER,
        ER_ACCESS_RIGHT_ENUM_NOT_DEFINED,
        ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME,
        ER_UNIT_ID_NOT_A_STRING,
        ER_INVALID_UNIT_ID_ATTRIBUTE_NAME,
        ER_INVALID_FUNCTION_ID,
        ER_INVALID_EXECUTE_ID,
        ER_COUNT
    };

    // Names of the result codes, "ER_OK" to "ER_INVALID_EXECUTE_ID".
    static const char* ExecuteResultString[ER_COUNT];
    static void InitializeExeResString();

    explicit OXCommand(OXParserNodeManager* manager) : OXParserNode(manager) {}

    virtual tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                                     OXExecuteManager& executions);
    virtual void Notify(OXObjectHandler& handler);
    virtual void Cleanup();
};

using tagExecuteResult = OXCommand::tagExecuteResult;
