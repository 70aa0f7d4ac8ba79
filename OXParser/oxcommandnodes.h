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

// A command that names a table object by its number, with a list of
// values: the common part of upd and del.
class OXObjectValuesCommand : public OXCommand {
  public:
    OXObjectValuesCommand(OXParserNodeManager* manager, OXParserNumber* objectId,
                          OXExpressionList* expressionList);
    ~OXObjectValuesCommand() override;
    void Rollback() override;

    const OXParserNumber* GetObjectId() const { return pObjectId; }
    const OXExpressionList* GetExpressionList() const { return pExpressionList; }

  protected:
    OXParserNumber* pObjectId;
    OXExpressionList* pExpressionList;
};

// "upd id (values);"
class OXUpdateCommand : public OXObjectValuesCommand {
  public:
    using OXObjectValuesCommand::OXObjectValuesCommand;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

  private:
    OXObject* pUpdateObject = nullptr;
};

// "del id (last values);"
class OXDeletionCommand : public OXObjectValuesCommand {
  public:
    using OXObjectValuesCommand::OXObjectValuesCommand;
    ~OXDeletionCommand() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Notify(OXObjectHandler& handler) override;
    void Cleanup() override;

  private:
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

// What "res" and "exc" share: the execute id of the awaited reply and the
// value, which Execute makes into the reply's object.
class OXReplyCommand : public OXCommand {
  public:
    ~OXReplyCommand() override;
    void Rollback() override;
    tagExecuteResult Execute(OXClassManager& classes, OXObjectManager& objects,
                             OXExecuteManager& executions) override;
    void Cleanup() override;

    const OXParserNumber* GetExecuteId() const { return pExecuteId; }
    const OXExpression* GetExpression() const { return pExpression; }

  protected:
    OXReplyCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                   OXExpression* expression);
    // Makes the reply's object of the value, for the execute id.
    virtual tagExecuteResult MakeReply(long executeId, OXObject*& reply, OXClassManager& classes,
                                       OXObjectManager& objects, OXExecuteManager& executions) = 0;
    unsigned long ReplyExecuteId() const;

    OXParserNumber* pExecuteId;
    OXExpression* pExpression;
    // Owned, unless the value names an object of the table (a reference).
    OXObject* pReplyObject = nullptr;
    bool ownsReply = true;
};

// "res executeId : value;"
class OXResultCommand : public OXReplyCommand {
  public:
    OXResultCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                    OXExpression* expression)
        : OXReplyCommand(manager, executeId, expression) {}
    void Notify(OXObjectHandler& handler) override;

  private:
    tagExecuteResult MakeReply(long executeId, OXObject*& reply, OXClassManager& classes,
                               OXObjectManager& objects, OXExecuteManager& executions) override;
};

// "exc executeId : value;"
class OXExceptionCommand : public OXReplyCommand {
  public:
    OXExceptionCommand(OXParserNodeManager* manager, OXParserNumber* executeId,
                       OXExpression* expression)
        : OXReplyCommand(manager, executeId, expression) {}
    void Notify(OXObjectHandler& handler) override;

  private:
    tagExecuteResult MakeReply(long executeId, OXObject*& reply, OXClassManager& classes,
                               OXObjectManager& objects, OXExecuteManager& executions) override;
};
