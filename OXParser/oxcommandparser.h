// Parser of the machine link's command language. One per machine port: it
// owns the lexer, the parse nodes of the running parse and the port's store.
#pragma once

#include "oxclassmanager.h"
#include "oxcommandlexer.h"
#include "oxexecutemanager.h"
#include "oxfastreader.h"
#include "oxobjecthandler.h"
#include "oxobjectmanager.h"
#include "oxparsernode.h"

#include <string>

class OXClassDeclaration;
class OXCommand;
class OXExpressionList;
class OXObjectVisitor;
class OXParserNumber;

class OXCommandParser {
  public:
    OXCommandParser() = default;
    ~OXCommandParser();

    bool Create(OXObjectHandler* handler);
    // The whole cycle of one command: 0 on success, 1 on failure (message in
    // GetErrorStr()).
    int Parse(char* text);
    // The grammar half of Parse: builds the command tree and leaves it as the
    // current command, without touching the store; same results and messages
    // as Parse up to there. The caller disposes of the tree (DropCommand).
    int ParseTree(char* text);
    // Destroys a tree that ParseTree left.
    void DropCommand();
    void Reset();
    // Whether complete, valid commands are read by the hand-written reader
    // (the default) or every text by the generated grammar. Both give the
    // same trees, calls and messages; the switch is there to compare them.
    void UseFastReader(bool on) { fastReader = on; }
    // Whether the hand-written reader took the last text.
    bool ReadFast() const { return readFast; }

    OXCommand* GetCommand() const { return pCommand; }
    const char* GetErrorStr() const { return errorStr.c_str(); }
    OXParserNodeManager& GetNodeManager() { return nodeManager; }
    OXObjectManager& GetObjectManager() { return objectManager; }
    OXClassManager& GetClassManager() { return classManager; }
    OXExecuteManager& GetExecuteManager() { return executeManager; }
    OXCommandLexer& GetLexer() { return lexer; }
    void VisitObjects(OXObjectVisitor& visitor);

    // Called by the grammar.
    void HandleCommand(OXCommand* command) { pCommand = command; }
    void CmdNew(OXClassDeclaration* classDecl, OXExpressionList* expressionList);
    void CmdDel(OXParserNumber* objectId, OXExpressionList* expressionList);
    // Replaces the message and asks the grammar to stop with failure once the
    // running action has ended.
    void yyerror(const char* message);
    bool StopRequested() const { return stopRequested; }
    void ClearStopRequest() { stopRequested = false; }

    OXCommandParser(const OXCommandParser&) = delete;
    OXCommandParser& operator=(const OXCommandParser&) = delete;

  private:
    // Steps of Parse after a successful grammar run: execute the command on
    // the store, notify the handler and clean up.
    int ExecuteCommand();

    // Declared first, so that it outlives every node the tables hold.
    OXParserNodeManager nodeManager;
    OXCommandLexer lexer;
    OXClassManager classManager;
    OXObjectManager objectManager;
    OXExecuteManager executeManager;
    OXFastReader reader{*this};
    OXObjectHandler* pHandler = nullptr;
    OXCommand* pCommand = nullptr;
    char* pInputStr = nullptr;
    std::string errorStr;
    bool initialized = false;
    bool stopRequested = false;
    bool fastReader = true;
    bool readFast = false;
};
