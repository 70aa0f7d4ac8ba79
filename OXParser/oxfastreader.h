// Hand-written reader of the command language for the texts the machine
// sends all day: it scans the whole text in one pass and builds the very
// nodes the generated grammar builds, through the same constructors, with the
// parser's calls (CmdNew, CmdDel, HandleCommand) in the same order.
//
// It takes only complete, valid commands. On anything else (a syntax error,
// a byte that starts no token, a number too big for a double, a token the
// lexer's buffer could not hold, nesting past a bound well inside the
// grammar's stack) it gives up before any call into the parser and without a
// message; its nodes are then the node manager's to roll back, and the
// generated grammar reads the same text, with its messages and recovery.
#pragma once

#include <cstddef>
#include <vector>

class OXAccessRight;
class OXClassDeclaration;
class OXCommand;
class OXCommandParser;
class OXConstraintInterval;
class OXExpression;
class OXExpressionList;
class OXMemberDeclarationList;
class OXParameterDeclaration;
class OXParserNode;
class OXParserNodeManager;
class OXParserNumber;
class OXParserString;
class OXParserSymbol;
class OXUnitFactor;
class OXUnitSpecification;
class OXValueExpression;

class OXFastReader {
  public:
    enum tagOutcome {
        FR_ACCEPTED,  // the command is the parser's current command
        FR_ABORTED,   // a call into the parser asked to stop: the parse failed
        FR_DECLINED,  // not taken: the generated grammar must read the text
    };

    // Deepest nesting of expression lists and template parameter lists the
    // reader takes. A level costs the grammar's stack at most six entries,
    // so this stays far inside its bound (OXCommandGrammarDefaultMaxDepth).
    static const int kMaxNesting = 256;

    explicit OXFastReader(OXCommandParser& parser);
    tagOutcome Read(const char* text);

    OXFastReader(const OXFastReader&) = delete;
    OXFastReader& operator=(const OXFastReader&) = delete;

  private:
    struct Token {
        int kind;  // lexer token code; kInvalid for a byte the lexer reports
        const char* start;
        size_t length;
    };
    static const int kInvalid = -1;

    void Next();
    bool Accept(int kind);
    // The items after the first of a list separated by ",": each one read()
    // gives is added to list; false at the first that fails.
    template <class Items, class ReadItem>
    bool MoreItems(Items& list, ReadItem read);

    OXParserSymbol* Symbol();
    OXParserNumber* Number();
    // A number without a sign, or null.
    OXParserNumber* UnsignedNumber();
    OXParserString* String();
    OXExpression* Constant();

    OXCommand* ClassDefinition();
    OXCommand* EnumDefinition();
    OXClassDeclaration* ClassDeclaration();
    bool MemberDeclaration(OXMemberDeclarationList& members);
    OXParameterDeclaration* ParameterDeclaration();
    OXConstraintInterval* ConstraintInterval();
    OXValueExpression* ValueExpression();
    OXUnitSpecification* UnitSpecification();
    OXUnitFactor* UnitFactor();
    OXAccessRight* AccessRightSpecification();
    OXExpressionList* ExpressionList();
    // "(" expressionList ")", or null.
    OXExpressionList* Arguments();
    OXExpression* Expression();

    OXCommandParser& parser;
    OXParserNodeManager* nm;
    const char* pos = nullptr;
    Token tok{};
    size_t longestToken = 0;
    int depth = 0;
    bool numberTooBig = false;
    // Elements of the expression lists being read, innermost last.
    std::vector<OXExpression*> elements;
};
