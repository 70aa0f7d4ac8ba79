#include "oxcommandparser.h"

#include "oxcommand.h"
#include "oxcommandgrammar.h"
#include "testprint.h"

#include <cassert>

OXCommandParser::~OXCommandParser() {
    if (initialized)
        Reset();
    ReleaseKeptCommand();
}

bool OXCommandParser::Create(OXObjectHandler* handler) {
    pHandler = handler;
    classManager.Reset();
    objectManager.Reset();
    if (!lexer.Create(*this))
        return false;
    errorStr.clear();
    initialized = true;
    return true;
}

int OXCommandParser::Parse(char* text) {
    assert(initialized);
    ReleaseKeptCommand();
    errorStr.clear();
    stopRequested = false;
    pCommand = nullptr;

    nodeManager.StartTransaction();
    pInputStr = text;
    lexer.SetInputStr(text);
    int result = OXCommandGrammarParse(*this);
    if (result == 0) {
        nodeManager.Commit();
    } else {
        // The manager destroys every node of the failed parse, the command
        // recognised before a later error included.
        pCommand = nullptr;
        nodeManager.Rollback();
    }

    if (result != 0) {
        if (errorStr.empty())
            errorStr = "Syntax Error: No Message";
        TestPrintF(TP_ALWAYS, "OXCommandParser::Parse: errorMsg = %s\n", errorStr.c_str());
        return 1;
    }
    if (pCommand == nullptr) {
        errorStr = "Error: No Command Created";
        TestPrintF(TP_ALWAYS, "OXCommandParser::Parse: errorMsg = %s\n", errorStr.c_str());
        return 1;
    }
    return ExecuteCommandPlaceholder();
}

int OXCommandParser::ExecuteCommandPlaceholder() {
    // Execute, Notify and Cleanup on the store come with the execution layer.
    pKeptCommand = pCommand;
    return 0;
}

void OXCommandParser::ReleaseKeptCommand() {
    if (pKeptCommand == nullptr)
        return;
    if (pCommand == pKeptCommand)
        pCommand = nullptr;
    delete pKeptCommand;
    pKeptCommand = nullptr;
}

void OXCommandParser::Reset() {
    assert(initialized);
    objectManager.Reset();
    classManager.Reset();
    ReleaseKeptCommand();
    pCommand = nullptr;
    pInputStr = nullptr;
    errorStr.clear();
}

void OXCommandParser::VisitObjects(OXObjectVisitor&) {
    // Forwards to the object table's Visit once the store provides it.
}

void OXCommandParser::CmdNew(OXClassDeclaration*, OXExpressionList*) {}

void OXCommandParser::CmdDel(OXParserNumber*, OXExpressionList*) {}

void OXCommandParser::yyerror(const char* message) {
    errorStr = message;
    stopRequested = true;
}
