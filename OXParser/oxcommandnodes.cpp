#include "oxcommandnodes.h"

#include "oxobjecthandler.h"
#include "testprint.h"

#include <cassert>

// Execute works on the store and is filled in by the execution layer; until
// then each command gives the base's success and keeps no object. The objects
// a command owns (deleted, result and exception objects) are destroyed with
// the command once the store provides them.

// ------------------------------------------------------------ new

OXNewCommand::OXNewCommand(OXParserNodeManager* manager, OXClassDeclaration* classDecl,
                           OXExpressionList* expressionList)
    : OXCommand(manager), pClassDecl(classDecl), pExpressionList(expressionList) {
    assert(pClassDecl && pExpressionList);
}

OXNewCommand::~OXNewCommand() {
    delete pClassDecl;
    delete pExpressionList;
}

void OXNewCommand::Rollback() {
    pClassDecl = nullptr;
    pExpressionList = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXNewCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                       OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

void OXNewCommand::Notify(OXObjectHandler& handler) {
    // The object lives in the object table; the command only pointed at it.
    if (pNewObject != nullptr)
        handler.NewObject(*pNewObject);
    pNewObject = nullptr;
}

void OXNewCommand::Cleanup() {
    delete this;
}

// ------------------------------------------------------------ upd

OXUpdateCommand::OXUpdateCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                                 OXExpressionList* expressionList)
    : OXCommand(manager), pObjectId(objectId), pExpressionList(expressionList) {
    assert(pObjectId && pExpressionList);
}

OXUpdateCommand::~OXUpdateCommand() {
    delete pObjectId;
    delete pExpressionList;
}

void OXUpdateCommand::Rollback() {
    pObjectId = nullptr;
    pExpressionList = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXUpdateCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                          OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

void OXUpdateCommand::Notify(OXObjectHandler& handler) {
    if (pUpdateObject != nullptr) {
        handler.UpdatedObject(*pUpdateObject);
        pUpdateObject = nullptr;
    } else {
        TestPrintF(TP_PARSER, "pUpdateObject was NULL!\n");
    }
}

void OXUpdateCommand::Cleanup() {
    delete this;
}

// ------------------------------------------------------------ del

OXDeletionCommand::OXDeletionCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                                     OXExpressionList* expressionList)
    : OXCommand(manager), pObjectId(objectId), pExpressionList(expressionList) {
    assert(pObjectId && pExpressionList);
}

OXDeletionCommand::~OXDeletionCommand() {
    delete pObjectId;
    delete pExpressionList;
}

void OXDeletionCommand::Rollback() {
    pObjectId = nullptr;
    pExpressionList = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXDeletionCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                            OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

void OXDeletionCommand::Notify(OXObjectHandler& handler) {
    if (pDeletedObject != nullptr)
        handler.DeletedObject(*pDeletedObject);
}

void OXDeletionCommand::Cleanup() {
    delete this;
}

// ------------------------------------------------------------ exe

OXExecutionCommand::OXExecutionCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                                       OXParserNumber* objectId, OXParserNumber* functionId,
                                       OXExpressionList* expressionList)
    : OXCommand(manager),
      pExecuteId(executeId),
      pObjectId(objectId),
      pFunctionId(functionId),
      pExpressionList(expressionList) {
    assert(pExecuteId && pObjectId && pFunctionId && pExpressionList);
}

OXExecutionCommand::~OXExecutionCommand() {
    delete pExecuteId;
    delete pObjectId;
    delete pFunctionId;
    delete pExpressionList;
}

void OXExecutionCommand::Rollback() {
    pExecuteId = nullptr;
    pObjectId = nullptr;
    pFunctionId = nullptr;
    pExpressionList = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXExecutionCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                             OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

// ------------------------------------------------------------ res

OXResultCommand::OXResultCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                                 OXExpression* expression)
    : OXCommand(manager), pExecuteId(executeId), pExpression(expression) {
    assert(pExecuteId && pExpression);
}

OXResultCommand::~OXResultCommand() {
    delete pExecuteId;
    delete pExpression;
}

void OXResultCommand::Rollback() {
    pExecuteId = nullptr;
    pExpression = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXResultCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                          OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

void OXResultCommand::Notify(OXObjectHandler& handler) {
    if (pResultObject != nullptr) {
        handler.ResultReceived(static_cast<unsigned long>(OXDoubleToLong(pExecuteId->GetValue())),
                               *pResultObject);
    }
}

void OXResultCommand::Cleanup() {
    delete this;
}

// ------------------------------------------------------------ exc

OXExceptionCommand::OXExceptionCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                                       OXExpression* expression)
    : OXCommand(manager), pExecuteId(executeId), pExpression(expression) {
    assert(pExecuteId && pExpression);
}

OXExceptionCommand::~OXExceptionCommand() {
    delete pExecuteId;
    delete pExpression;
}

void OXExceptionCommand::Rollback() {
    pExecuteId = nullptr;
    pExpression = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXExceptionCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                             OXExecuteManager& executions) {
    return OXCommand::Execute(classes, objects, executions);
}

void OXExceptionCommand::Notify(OXObjectHandler& handler) {
    if (pExceptionObject != nullptr) {
        handler.ExceptionReceived(
            static_cast<unsigned long>(OXDoubleToLong(pExecuteId->GetValue())), *pExceptionObject);
    }
}

void OXExceptionCommand::Cleanup() {
    delete this;
}
