#include "oxcommandnodes.h"

#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxexecutemanager.h"
#include "oxobject.h"
#include "oxobjecthandler.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cassert>

namespace {

// The object of the table that a command names, as a complex object; null
// for number 0 and for numbers not in the table.
OXComplexObject* LookupComplex(OXObjectManager& objects, const OXParserNumber& number) {
    long id = OXDoubleToLong(number.GetValue());
    if (id == 0)
        return nullptr;
    return OXObjectCast<OXComplexObject>(objects.Lookup(id));
}

// Makes a value of a class named in the command itself ("number" for an
// unregistered result, "Exception" for an exception), without storing it.
tagExecuteResult CreateOfClass(const char* className, OXObject*& out, OXClassManager& classes,
                               OXObjectManager& objects, const OXExpression& expression) {
    OXClassDeclaration declaration(nullptr, new OXClassName(nullptr, className),
                                   new OXTemplateParameterList(nullptr));
    return declaration.CreateInstance(out, classes, objects, expression, SO_NO_STORE);
}

// A value made without storing is the command's own, but a reference gives
// an object of the table, which the command must leave alone.
bool IsTableObject(OXObjectManager& objects, const OXObject* object) {
    if (object == nullptr)
        return false;
    long id = object->GetObjectId();
    return id != 0 && objects.Lookup(id) == object;
}

}  // namespace

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
    tagExecuteResult result = OXCommand::Execute(classes, objects, executions);
    if (result != ER_OK)
        return result;
    return pClassDecl->CreateInstance(pNewObject, classes, objects, *pExpressionList,
                                      SO_STORE_OBJECT);
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

OXObjectValuesCommand::OXObjectValuesCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                                             OXExpressionList* expressionList)
    : OXCommand(manager), pObjectId(objectId), pExpressionList(expressionList) {
    assert(pObjectId && pExpressionList);
}

OXObjectValuesCommand::~OXObjectValuesCommand() {
    delete pObjectId;
    delete pExpressionList;
}

void OXObjectValuesCommand::Rollback() {
    pObjectId = nullptr;
    pExpressionList = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXUpdateCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                          OXExecuteManager& executions) {
    tagExecuteResult result = OXCommand::Execute(classes, objects, executions);
    if (result != ER_OK)
        return result;
    long id = OXDoubleToLong(pObjectId->GetValue());
    OXObject* object = id != 0 ? objects.Lookup(id) : nullptr;
    if (object == nullptr)
        return ER_INVALID_OBJECT_ID;
    // Only objects with a number are in the table, and only complex ones have one.
    auto* complex = OXObjectCast<OXComplexObject>(object);
    assert(complex);
    int index = 0;
    result = complex->Update(classes, objects, *pExpressionList, index);
    pUpdateObject = complex;
    return result;
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

OXDeletionCommand::~OXDeletionCommand() {
    delete pDeletedObject;
}

tagExecuteResult OXDeletionCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                            OXExecuteManager& executions) {
    tagExecuteResult result = OXCommand::Execute(classes, objects, executions);
    if (result != ER_OK)
        return result;
    OXComplexObject* object = LookupComplex(objects, *pObjectId);
    if (object == nullptr)
        return ER_INVALID_OBJECT_ID;
    // The last values are written before the object goes; it goes also when
    // they do not fit.
    int index = 0;
    result = object->Update(classes, objects, *pExpressionList, index);
    objects.Remove(*object);
    pDeletedObject = object;
    return result;
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
    tagExecuteResult result = OXCommand::Execute(classes, objects, executions);
    if (result != ER_OK)
        return result;
    OXObject* object = objects.Lookup(OXDoubleToLong(pObjectId->GetValue()));
    if (object == nullptr)
        return ER_INVALID_OBJECT_ID;
    auto* function = dynamic_cast<const OXFunctionDeclaration*>(
        object->GetFunction(OXDoubleToLong(pFunctionId->GetValue())));
    if (function == nullptr)
        return ER_INVALID_FUNCTION_ID;
    executions.Add(OXDoubleToLong(pExecuteId->GetValue()), *function->GetResultDeclaration());
    return ER_OK;
}

// Nothing to tell; the node has done its work and is released like the others.
void OXExecutionCommand::Cleanup() {
    delete this;
}

// ------------------------------------------------------------ res and exc

OXReplyCommand::OXReplyCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                               OXExpression* expression)
    : OXCommand(manager), pExecuteId(executeId), pExpression(expression) {
    assert(pExecuteId && pExpression);
}

OXReplyCommand::~OXReplyCommand() {
    delete pExecuteId;
    delete pExpression;
    if (ownsReply)
        delete pReplyObject;
}

void OXReplyCommand::Rollback() {
    pExecuteId = nullptr;
    pExpression = nullptr;
    OXCommand::Rollback();
}

tagExecuteResult OXReplyCommand::Execute(OXClassManager& classes, OXObjectManager& objects,
                                         OXExecuteManager& executions) {
    tagExecuteResult result = OXCommand::Execute(classes, objects, executions);
    if (result != ER_OK)
        return result;
    result = MakeReply(OXDoubleToLong(pExecuteId->GetValue()), pReplyObject, classes, objects,
                       executions);
    ownsReply = !IsTableObject(objects, pReplyObject);
    return result;
}

void OXReplyCommand::Cleanup() {
    delete this;
}

unsigned long OXReplyCommand::ReplyExecuteId() const {
    return static_cast<unsigned long>(OXDoubleToLong(pExecuteId->GetValue()));
}

tagExecuteResult OXResultCommand::MakeReply(long executeId, OXObject*& reply,
                                            OXClassManager& classes, OXObjectManager& objects,
                                            OXExecuteManager& executions) {
    if (const OXClassDeclInterface* declaration = executions.Lookup(executeId)) {
        tagExecuteResult result =
            declaration->CreateInstance(reply, classes, objects, *pExpression, SO_NO_STORE);
        executions.Remove(executeId);
        return result;
    }
    // An unregistered result is expected to be a number.
    return CreateOfClass("number", reply, classes, objects, *pExpression);
}

void OXResultCommand::Notify(OXObjectHandler& handler) {
    if (pReplyObject != nullptr)
        handler.ResultReceived(ReplyExecuteId(), *pReplyObject);
}

tagExecuteResult OXExceptionCommand::MakeReply(long executeId, OXObject*& reply,
                                               OXClassManager& classes, OXObjectManager& objects,
                                               OXExecuteManager& executions) {
    executions.Remove(executeId);
    // The class "Exception" comes from the controller; without it the
    // exception cannot be made (ER_UNKNOWN_CLASS).
    return CreateOfClass("Exception", reply, classes, objects, *pExpression);
}

void OXExceptionCommand::Notify(OXObjectHandler& handler) {
    if (pReplyObject != nullptr)
        handler.ExceptionReceived(ReplyExecuteId(), *pReplyObject);
}
