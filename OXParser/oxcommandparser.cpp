#include "oxcommandparser.h"

#include "oxcommand.h"
#include "oxcommandgrammar.h"
#include "testprint.h"

#include <cassert>

OXCommandParser::~OXCommandParser() {
    if (initialized)
        Reset();
}

bool OXCommandParser::Create(OXObjectHandler* handler) {
    pHandler = handler;
    OXCommand::InitializeExeResString();
    classManager.Initialize();
    objectManager.Initialize(classManager);
    objectManager.Reset();
    executeManager.Reset();
    if (!lexer.Create(*this))
        return false;
    errorStr.clear();
    initialized = true;
    return true;
}

int OXCommandParser::Parse(char* text) {
    if (ParseTree(text) != 0)
        return 1;
    return ExecuteCommand();
}

void OXCommandParser::DropCommand() {
    delete pCommand;
    pCommand = nullptr;
}

int OXCommandParser::ParseTree(char* text) {
    assert(initialized);
    errorStr.clear();
    stopRequested = false;
    pCommand = nullptr;

    nodeManager.StartTransaction();
    pInputStr = text;
    OXFastReader::tagOutcome outcome = OXFastReader::FR_DECLINED;
    if (fastReader)
        outcome = reader.Read(text);
    int result;
    readFast = outcome != OXFastReader::FR_DECLINED;
    if (!readFast) {
        // The reader has called nothing and printed nothing; its nodes go,
        // and the generated grammar reads the text with its messages.
        nodeManager.Rollback();
        nodeManager.StartTransaction();
        lexer.SetInputStr(text);
        result = OXCommandGrammarParse(*this);
    } else {
        result = outcome == OXFastReader::FR_ACCEPTED ? 0 : 1;
    }
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
    return 0;
}

int OXCommandParser::ExecuteCommand() {
    // The command is this function's from here on: a handler may Reset the
    // parser while it is told (a result ends the start conversation).
    OXCommand* command = pCommand;
    pCommand = nullptr;
    int status = 0;
    OXCommand::tagExecuteResult result =
        command->Execute(classManager, objectManager, executeManager);
    if (result == OXCommand::ER_OK) {
        if (pHandler != nullptr) {
            TestPrintF(0x80, "OXCommandParser::Parse: Notify\n");
            command->Notify(*pHandler);
        }
    } else {
        errorStr = "Semantic Error: ";
        errorStr += OXCommand::ExecuteResultString[result];
        TestPrintF(TP_ALWAYS, "OXCommandParser::Parse: errorMsg = %s\n", errorStr.c_str());
        status = 1;
    }
    // Cleanup destroys the command, unless it is a definition now in the
    // class table.
    command->Cleanup();
    return status;
}

void OXCommandParser::Reset() {
    assert(initialized);
    objectManager.Reset();
    classManager.Reset();
    executeManager.Reset();
    DropCommand();
    pInputStr = nullptr;
    errorStr.clear();
}

void OXCommandParser::VisitObjects(OXObjectVisitor& visitor) {
    objectManager.Visit(visitor);
}

void OXCommandParser::CmdNew(OXClassDeclaration*, OXExpressionList*) {}

void OXCommandParser::CmdDel(OXParserNumber*, OXExpressionList*) {}

void OXCommandParser::yyerror(const char* message) {
    errorStr = message;
    stopRequested = true;
}
