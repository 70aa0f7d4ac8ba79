#include "oxcommand.h"

const char* OXCommand::ExecuteResultString[OXCommand::ER_COUNT] = {};

void OXCommand::InitializeExeResString() {
    static const char* const names[ER_COUNT] = {"ER_OK",
                                                "ER_UNKNOWN_CLASS",
                                                "ER_NON_COMPLEX_CLASS_BASE_CLASS",
                                                "ER_DUPLICATED_CLASS_NAME",
                                                "ER_WRONG_REFERENCE_CLASS",
                                                "ER_INVALID_EXPRESSION_TYPE",
                                                "ER_INVALID_EXPRESSION_COUNT",
                                                "ER_INVALID_TEMPLATE_PARAMETER_COUNT",
                                                "ER_UNEXCPETED_TEMPLATE_PARAMETERS",
                                                "ER_INVALID_OBJECT_ID",
                                                "ER_OBJECT_ALREADY_EXISTS",
                                                "ER_NOT_AN_OBJECT_OBJECT",
                                                "ER_FACTOR_NOT_A_NUMBER",
                                                "ER_INVALID_FACTOR_ATTRIBUTE_NAME",
                                                "ER_ACCESS_RIGHT_NOT_A_NUMBER",
                                                "ER_ACCESS_RIGHT_ENUM_NOT_DEFINED",
                                                "ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME",
                                                "ER_UNIT_ID_NOT_A_STRING",
                                                "ER_INVALID_UNIT_ID_ATTRIBUTE_NAME",
                                                "ER_INVALID_FUNCTION_ID",
                                                "ER_INVALID_EXECUTE_ID"};
    for (int i = 0; i < ER_COUNT; ++i)
        ExecuteResultString[i] = names[i];
}

// The store side of the commands is filled in by the execution layer; the
// base gives success and does nothing, as every subclass calls it first.
tagExecuteResult OXCommand::Execute(OXClassManager&, OXObjectManager&, OXExecuteManager&) {
    return ER_OK;
}

void OXCommand::Notify(OXObjectHandler&) {}

void OXCommand::Cleanup() {}
