// The command language: scanning, the productions and the trees they build,
// error recovery and its messages (no parse node left behind), the bound of
// nesting and of the lexer's text buffer.
#include "oxcommand.h"
#include "oxcommandlexer.h"
#include "oxcommandnodes.h"
#include "oxcommandparser.h"
#include "oxdeclaration.h"
#include "oxdefinition.h"
#include "oxexpression.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

std::string DumpTree(const OXParserNode* node);

std::string Num(double value) {
    char text[64];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

template <class List>
std::string Join(const List& list) {
    std::string text;
    for (int i = 0; i < list.Count(); ++i)
        text += (i != 0 ? "," : "") + DumpTree(list.Get(i));
    return text;
}

// Notation: numbers as %g, strings in double quotes, symbols bare, "@n" for
// references, "Class<params>(elements)" for expression lists, and named
// brackets for the command nodes. Class and enum definitions are checked on
// the objects the store makes of them.
std::string DumpTree(const OXParserNode* node) {
    if (node == nullptr)
        return "-";
    if (auto* n = dynamic_cast<const OXParserNumber*>(node))
        return Num(n->GetValue());
    if (auto* s = dynamic_cast<const OXParserString*>(node))
        return "\"" + s->GetValue() + "\"";
    if (auto* r = dynamic_cast<const OXReference*>(node))
        return "@" + DumpTree(r->GetReference());
    if (auto* l = dynamic_cast<const OXExpressionList*>(node))
        return (l->GetClassDecl() != nullptr ? DumpTree(l->GetClassDecl()) : "") + "(" + Join(*l) +
               ")";
    if (auto* y = dynamic_cast<const OXParserSymbol*>(node))
        return y->GetSymbol();
    if (auto* d = dynamic_cast<const OXClassDeclaration*>(node))
        return d->GetClassName() +
               (d->GetParameterList()->IsEmpty() ? "" : "<" + Join(*d->GetParameterList()) + ">");
    if (auto* c = dynamic_cast<const OXNewCommand*>(node))
        return "new(" + DumpTree(c->GetClassDecl()) + " " + DumpTree(c->GetExpressionList()) + ")";
    if (auto* c = dynamic_cast<const OXUpdateCommand*>(node))
        return "upd(" + DumpTree(c->GetObjectId()) + " " + DumpTree(c->GetExpressionList()) + ")";
    if (auto* c = dynamic_cast<const OXExecutionCommand*>(node))
        return "exe(" + DumpTree(c->GetExecuteId()) + " " + DumpTree(c->GetObjectId()) + "." +
               DumpTree(c->GetFunctionId()) + " " + DumpTree(c->GetExpressionList()) + ")";
    return std::string("?") + typeid(*node).name();
}

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// One token as "code" or "code:value" for the tokens that carry a value.
std::string Describe(int token, const OXParserNode* value) {
    std::string text = std::to_string(token);
    if (auto* n = dynamic_cast<const OXParserNumber*>(value))
        text += ":" + Num(n->GetValue());
    else if (auto* s = dynamic_cast<const OXParserString*>(value))
        text += ":[" + s->GetValue() + "]";
    else if (auto* y = dynamic_cast<const OXParserSymbol*>(value))
        text += ":" + y->GetSymbol();
    return text;
}

// A text, what it must give, and what the lexer must print on the way.
struct Case {
    std::string text;
    std::string expected;
    std::string printed = "";
};

std::string Invalid(const std::string& bytes) {
    std::string text;
    for (unsigned char c : bytes) {
        char line[32];
        snprintf(line, sizeof line, "invalid character '0x%02x'\n", c);
        text += line;
    }
    return text;
}

class LanguageTest : public ::testing::Test {
  public:
    void SetUp() override { ASSERT_TRUE(parser.Create(nullptr)); }
    void TearDown() override {
        parser.DropCommand();
        parser.GetNodeManager().Rollback();
    }

    // All tokens of text, space separated.
    std::string Scan(const std::string& text) {
        Load(text);
        OXCommandLexer& lexer = parser.GetLexer();
        lexer.SetInputStr(buffer.data());
        // The value nodes of the previous scan are released.
        parser.GetNodeManager().Rollback();
        std::string tokens;
        CaptureStdout();
        OXParserNode* value = nullptr;
        for (int token; (token = lexer.Lex(value)) != 0; value = nullptr)
            tokens += (tokens.empty() ? "" : " ") + Describe(token, value);
        printed = GetCapturedStdout();
        return tokens;
    }

    // The grammar half only: the dumped tree, or "FAIL: message".
    std::string Tree(const std::string& text) {
        Load(text);
        parser.DropCommand();
        CaptureStdout();
        int result = parser.ParseTree(buffer.data());
        printed = GetCapturedStdout();
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u) << text;
        if (result != 0) {
            EXPECT_EQ(parser.GetCommand(), nullptr) << text;
            return std::string("FAIL: ") + parser.GetErrorStr();
        }
        EXPECT_STREQ(parser.GetErrorStr(), "") << text;
        return DumpTree(parser.GetCommand());
    }

    void Check(std::string (LanguageTest::*run)(const std::string&),
               const std::vector<Case>& cases) {
        for (const Case& c : cases) {
            EXPECT_EQ((this->*run)(c.text), c.expected) << c.text.substr(0, 80);
            EXPECT_EQ(printed, c.printed) << c.text.substr(0, 80);
        }
    }

    void Load(const std::string& text) {
        buffer.assign(text.begin(), text.end());
        buffer.push_back('\0');
    }

    OXCommandParser parser;
    std::vector<char> buffer;
    std::string printed;
};

TEST_F(LanguageTest, Tokens) {
    const std::string big(400, '9');
    Check(
        &LanguageTest::Scan,
        {
            {"class enum new upd del exe res exc const null .. AR_USER AR_ADMIN AR_SERVICE AR_RAD "
             "AR_NON",
             "261 262 263 264 265 266 267 268 269 270 271 272 273 274 275 276"},
            {"42 -7 +3 name \"str\"", "258:42 259:-7 259:3 260:name 257:[str]"},
            // Keywords win only over the same text; longer words are symbols.
            {"upd1 classy AR_USERS _x9 Upd L Lx null_",
             "260:upd1 260:classy 260:AR_USERS 260:_x9 260:Upd 260:L 260:Lx 260:null_"},
            {"1.5 1..5 ...", "258:1 46 258:5 258:1 271 258:5 271 46"},
            {"1-2 12abc -3x a.b", "258:1 259:-2 258:12 260:abc 259:-3 260:x 260:a 46 260:b"},
            // Form feed and vertical tab are no white space.
            {"\t\n\r a\fb\vc", "260:a 260:b 260:c", Invalid("\f\v")},
            // Control bytes and everything from 127 up, printed as unsigned bytes.
            {"\x01x\x1f\x7f\x80\xff", "260:x", Invalid("\x01\x1f\x7f\x80\xff")},
            {big + " -" + big, "258:inf 259:-inf", "number too big\nnumber too big\n"},
            // Escapes stay as written; with the L prefix the first character
            // removed is the L.
            {"\"a\\nb\" \"\\\"\\'\\,\\0\\9\\?\\\\\\a\\b\\f\\n\\r\\t\\v\"",
             "257:[a\\nb] 257:[\\\"\\'\\,\\0\\9\\?\\\\\\a\\b\\f\\n\\r\\t\\v]"},
            {"L\"ab\" L\"\" xL\"ab\"", "257:[\"ab] 257:[\"] 260:xL 257:[ab]"},
            // Incomplete strings: the quote is invalid, the inside is scanned as
            // tokens, and a later quote may start a string of its own.
            {"\"a\\x\" \"b\"", "260:a 260:x 257:[ ] 260:b", Invalid("\"\\\"")},
        });
}

TEST(LexerDeathTest, TextBufferOverflowEndsTheProcess) {
    // In an invalid command and in a valid one alike.
    for (const std::string& text :
         {"upd 5 (" + std::string(300, 'x') + ");", "upd 5 (\"" + std::string(300, 'x') + "\");"}) {
        EXPECT_EXIT(
            {
                OXCommandParser parser;
                parser.Create(nullptr);
                parser.GetLexer().SetMaxTextSize(200);
                std::string copy = text;
                parser.Parse(&copy[0]);
            },
            ::testing::ExitedWithCode(1), "lex text buffer overflow \\(200\\)");
    }
}

TEST_F(LanguageTest, TreesAndErrorRecovery) {
    Check(&LanguageTest::Tree,
          {
              // 15, 36, 33, 72
              {"new Motor();", "new(Motor ())"},
              // 16, 85, 71, 74, 75, 98; 86: an object number may be signed
              {"upd -5 (+2);", "upd(-5 (2))"},
              // 18, 84, 83
              {"exe 2  $   100 . 102 (5);", "exe(2 100.102 (5))"},
              // 99, 100, 101 (null is the reference to 0), 79
              {"upd 1 (-3, \"s\", null, @0, @-4, @12);", "upd(1 (-3,\"s\",@0,@0,@-4,@12))"},
              // 77 with and without template parameters, 78, nested empty lists
              {"upd 1 (Pos(1, 2), (3, (4)), (), list<number>());",
               "upd(1 (Pos(1,2),(3,(4)),(),list<number>()))"},
              {"new list<Pair<number, string>>(Pair<number, string>(1, \"a\"));",
               "new(list<Pair<number,string>> (Pair<number,string>(1,\"a\")))"},
              // Enum names are strings
              {"enum E { A=1, };", "FAIL: syntaks error in command:"},
              // Function numbers are unsigned; a keyword is no class name; a
              // range is no expression
              {"class A { -5 $ void F(); };", "FAIL: syntaks error in command:"},
              {"class AR_USER {};", "FAIL: syntaks error in command:"},
              {"upd 1 (1..2);", "FAIL: syntaks error in command:"},
              // A complete command not followed by its semicolon.
              {"upd 5 (1):", "FAIL: simicolon is missing"},
              // Anything after the first semicolon: the recognised command is dropped.
              {"upd 5 (1); x", "FAIL: syntax error"},
              // Errors before a command is complete skip to the next semicolon.
              {"foo", "FAIL: syntax error"},
              {"upd 5 (1; upd 5 (2);", "FAIL: syntaks error in command:"},
              // Invalid characters inside valid commands are skipped.
              {"new\x7f Motor(\"a\", ~2)\f;", "new(Motor (\"a\",2))", Invalid("\x7f~\f")},
              // A raw line feed inside a string: the quote is invalid and the
              // inside becomes tokens of the command.
              {"upd 5 (\"a\nb\");", "FAIL: syntaks error in command:", Invalid("\"\"")},
          });
}

// "list<" written depth times around leaf, with the closing brackets.
std::string NestedLists(int depth, const std::string& leaf) {
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "list<";
    return text + leaf + std::string(static_cast<size_t>(depth), '>');
}

TEST_F(LanguageTest, NestingPastTheStackBoundIsRefusedAndTheStoreLivesOn) {
    // Whole cycles on a store: what the grammar lets through is cloned,
    // substituted and destroyed by recursion, so a frame nested past the
    // bound must fail in the grammar, and everything within it must survive
    // creation and the reset of the store.
    struct Step {
        std::string text;
        const char* message;
    } steps[] = {
        {"class Object { const number Id; };", ""},
        {"class Box<class T> : Object { T V; };", ""},
        {"class Deep : Object { " + NestedLists(200000, "number") + " Levels; };",
         "yacc stack overflow"},
        {"upd 5 (" + std::string(100000, '(') + std::string(100000, ')') + ");",
         "yacc stack overflow"},
        // A parameter that names the formal argument: its substitution has
        // no end.
        {"new Box<T<T>>(1, 2);", "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT"},
        // As deep as the bound allows.
        {"class Held : Object { " + NestedLists(4900, "number") + " Levels; };", ""},
        {"new Held(2, ());", ""},
        {"new Box<" + NestedLists(4900, "number") + ">(3, ());", ""},
        // A value nested within the parse bound passes the grammar and ends
        // at the bound of value creation.
        {"upd 2 (" + std::string(4900, '(') + std::string(4900, ')') + ");",
         "Semantic Error: ER_INVALID_EXPRESSION_COUNT"},
    };
    for (const Step& s : steps) {
        Load(s.text);
        CaptureStdout();
        parser.Parse(buffer.data());
        GetCapturedStdout();
        EXPECT_STREQ(parser.GetErrorStr(), s.message) << s.text.substr(0, 60);
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u);
    }
    EXPECT_EQ(parser.GetObjectManager().GetObjectCount(), 2);
    parser.Reset();
    Load("class Object { const number Id; };");
    EXPECT_EQ(parser.Parse(buffer.data()), 0);
}

TEST_F(LanguageTest, ParsersAreIndependent) {
    // One parser per port: a failure on one leaves the other's command alone.
    OXCommandParser other;
    ASSERT_TRUE(other.Create(nullptr));
    char good[] = "upd 7 (1);";
    ASSERT_EQ(other.ParseTree(good), 0);
    EXPECT_EQ(Tree("upd 5 (1"), "FAIL: syntax error");
    EXPECT_EQ(DumpTree(other.GetCommand()), "upd(7 (1))");
    EXPECT_STREQ(other.GetErrorStr(), "");
    other.DropCommand();
}

}  // namespace
