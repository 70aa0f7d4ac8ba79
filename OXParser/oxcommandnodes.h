// The commands that act on objects: new, upd, del, exe, res and exc.
#pragma once

#include "oxcommand.h"
#include "oxdeclaration.h"
#include "oxexpression.h"

class OXObject;

// "new Class(values);"
class OXNewCommand : public OXCommand {
  public:
    OXNewCommand(OXParserNodeManager* manager, OXClassDeclaration* classDecl,
                 OXExpressionList* expressionList);
    ~OXNewCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

    const OXClassDeclaration* GetClassDecl() const { return pClassDecl; }
    const OXExpressionList* GetExpressionList() const { return pExpressionList; }

  private:
    OXClassDeclaration* pClassDecl;
    OXExpressionList* pExpressionList;
    OXObject* pNewObject = nullptr;
};

// "upd id (values);"
class OXUpdateCommand : public OXCommand {
  public:
    OXUpdateCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                    OXExpressionList* expressionList);
    ~OXUpdateCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

    const OXParserNumber* GetObjectId() const { return pObjectId; }
    const OXExpressionList* GetExpressionList() const { return pExpressionList; }

  private:
    OXParserNumber* pObjectId;
    OXExpressionList* pExpressionList;
    OXObject* pUpdateObject = nullptr;
};

// "del id (last values);"
class OXDeletionCommand : public OXCommand {
  public:
    OXDeletionCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                      OXExpressionList* expressionList);
    ~OXDeletionCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

    const OXParserNumber* GetObjectId() const { return pObjectId; }
    const OXExpressionList* GetExpressionList() const { return pExpressionList; }

  private:
    OXParserNumber* pObjectId;
    OXExpressionList* pExpressionList;
    // Owned from Execute until the command is destroyed.
    OXObject* pDeletedObject = nullptr;
};

// "exe executeId $ objectId . functionId (arguments);"
class OXExecutionCommand : public OXCommand {
  public:
    OXExecutionCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                       OXParserNumber* objectId, OXParserNumber* functionId,
                       OXExpressionList* expressionList);
    ~OXExecutionCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Cleanup() override;

    const OXParserNumber* GetExecuteId() const { return pExecuteId; }
    const OXParserNumber* GetObjectId() const { return pObjectId; }
    const OXParserNumber* GetFunctionId() const { return pFunctionId; }
    const OXExpressionList* GetExpressionList() const { return pExpressionList; }

  private:
    OXParserNumber* pExecuteId;
    OXParserNumber* pObjectId;
    OXParserNumber* pFunctionId;
    OXExpressionList* pExpressionList;
};

// "res executeId : value;"
class OXResultCommand : public OXCommand {
  public:
    OXResultCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                    OXExpression* expression);
    ~OXResultCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

    const OXParserNumber* GetExecuteId() const { return pExecuteId; }
    const OXExpression* GetExpression() const { return pExpression; }

  private:
    OXParserNumber* pExecuteId;
    OXExpression* pExpression;
    // Owned.
    OXObject* pResultObject = nullptr;
};

// "exc executeId : value;"
class OXExceptionCommand : public OXCommand {
  public:
    OXExceptionCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                       OXExpression* expression);
    ~OXExceptionCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

    const OXParserNumber* GetExecuteId() const { return pExecuteId; }
    const OXExpression* GetExpression() const { return pExpression; }

  private:
    OXParserNumber* pExecuteId;
    OXExpression* pExpression;
    // Owned.
    OXObject* pExceptionObject = nullptr;
};
