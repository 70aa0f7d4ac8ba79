// Parse cycle of OXCommandParser: error recovery and its messages, the
// transaction of parse nodes, and limits of nesting and token length.
#include "oxcommand.h"
#include "oxcommandgrammar.h"
#include "oxcommandnodes.h"
#include "oxcommandparser.h"
#include "oxexpression.h"
#include "parser_treedump.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

class ParserTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(parser.Create(nullptr)); }
    void TearDown() override { parser.DropCommand(); }

    // The grammar half only: these tests look at trees and messages, not at
    // the store.
    int Parse(const std::string& text) {
        buffer.assign(text.begin(), text.end());
        buffer.push_back('\0');
        parser.DropCommand();
        CaptureStdout();
        int result = parser.ParseTree(buffer.data());
        printed = GetCapturedStdout();
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u) << text;
        if (result != 0) {
            EXPECT_EQ(parser.GetCommand(), nullptr) << text;
        }
        return result;
    }

    // "ok" or the error message.
    std::string Outcome(const std::string& text) {
        return Parse(text) == 0 ? "ok" : parser.GetErrorStr();
    }

    std::string Tree() { return DumpTree(parser.GetCommand()); }

    OXCommandParser parser;
    std::vector<char> buffer;
    std::string printed;
};

TEST_F(ParserTest, ErrorRecoveryMessages) {
    struct Case {
        const char* text;
        const char* message;
    } cases[] = {
        {"exe 4 $ 100.100();", "ok"},
        // A complete command not followed by its semicolon.
        {"exe 4 $ 100.100()", "simicolon is missing"},
        {"exe 4 $ 100.100() exe", "simicolon is missing"},
        {"res 1 : 5 6;", "simicolon is missing"},
        {"class A {} x", "simicolon is missing"},
        {"upd 5 (1):", "simicolon is missing"},
        // Anything after the first semicolon: the recognised command is dropped.
        {"exe 4 $ 100.100(); exe 4 $ 100.100();", "syntaks error in command:"},
        {"upd 5 (1);;", "syntaks error in command:"},
        {"upd 5 (1); x", "syntax error"},
        {"upd 5 (1); ;", "syntaks error in command:"},
        // Errors before a command is complete skip to the next semicolon.
        {"foo", "syntax error"},
        {"foo;", "syntaks error in command:"},
        {";", "syntaks error in command:"},
        {"upd 5 (1", "syntax error"},
        {"upd 5 (1; upd 5 (2);", "syntaks error in command:"},
        {"res 1 : Foo x", "syntax error"},
        {"new Foo x;", "syntaks error in command:"},
        // Empty and blank input.
        {"", "syntax error"},
        {" \t\r\n ", "syntax error"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Outcome(c.text), c.message) << c.text;
}

TEST_F(ParserTest, EqualTextsGiveEqualTrees) {
    ASSERT_EQ(Parse("exe 2  $   100 . 102 (5);"), 0);
    std::string spaced = Tree();
    ASSERT_EQ(Parse("exe 2 $ 100.102(5);"), 0);
    EXPECT_EQ(Tree(), spaced);
    EXPECT_EQ(spaced, "exe(2 100.102 (5))");
}

TEST_F(ParserTest, InvalidCharactersInsideValidCommands) {
    EXPECT_EQ(Parse("upd 5 (#1);"), 0);
    EXPECT_EQ(printed, "invalid character '0x23'\n");
    EXPECT_EQ(Tree(), "upd(5 (1))");

    EXPECT_EQ(Parse("upd 5 (- 1);"), 0);
    EXPECT_EQ(printed, "invalid character '0x2d'\n");
    EXPECT_EQ(Tree(), "upd(5 (1))");

    EXPECT_EQ(Parse("new\x7f Motor(\"a\", ~2)\f;"), 0);
    EXPECT_EQ(printed,
              "invalid character '0x7f'\ninvalid character '0x7e'\ninvalid character '0x0c'\n");
    EXPECT_EQ(Tree(), "new(Motor (\"a\",2))");

    // A raw line feed inside a string: the quote is invalid and the inside
    // becomes tokens of the command.
    EXPECT_EQ(Parse("upd 5 (\"a\nb\");"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "syntaks error in command:");
    EXPECT_EQ(printed, "invalid character '0x22'\ninvalid character '0x22'\n");
    EXPECT_EQ(Parse("upd 5 (\"a\\nb\");"), 0);
    EXPECT_EQ(Tree(), "upd(5 (\"a\\nb\"))");
    EXPECT_EQ(printed, "");
    // An invalid character alone is no command.
    EXPECT_EQ(Parse("#"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "syntax error");
}

TEST_F(ParserTest, HugeNumbersAndLongTokens) {
    EXPECT_EQ(Parse("upd 5 (" + std::string(400, '7') + ");"), 0);
    EXPECT_EQ(printed, "number too big\n");
    EXPECT_EQ(Tree(), "upd(5 (inf))");

    std::string name(5000, 'N');
    std::string text(5000, 'T');
    EXPECT_EQ(Parse("new " + name + "(\"" + text + "\");"), 0);
    EXPECT_EQ(Tree(), "new(" + name + " (\"" + text + "\"))");
}

// "list<" written depth times around leaf, with the closing brackets.
std::string NestedLists(int depth, const std::string& leaf) {
    std::string text;
    text.reserve(static_cast<size_t>(depth) * 6 + leaf.size());
    for (int i = 0; i < depth; ++i)
        text += "list<";
    return text + leaf + std::string(static_cast<size_t>(depth), '>');
}

TEST_F(ParserTest, DeepNestingOfExpressionLists) {
    // Deep, but within the bound of the parse stack.
    const int depth = 9000;
    std::string nested = std::string(depth, '(') + "1" + std::string(depth, ')');
    EXPECT_EQ(Parse("upd 5 (" + nested + ");"), 0);
    // The innermost value sits under all the lists.
    auto* command = dynamic_cast<const OXUpdateCommand*>(parser.GetCommand());
    ASSERT_NE(command, nullptr);
    const OXExpression* expression = command->GetExpressionList();
    int levels = 0;
    while (auto* list = dynamic_cast<const OXExpressionList*>(expression)) {
        ASSERT_EQ(list->Count(), 1);
        expression = list->Get(0);
        ++levels;
    }
    EXPECT_EQ(levels, depth + 1);
    auto* number = dynamic_cast<const OXParserNumber*>(expression);
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number->GetValue(), 1);
    // Same depth, left open: the rollback must release every list.
    EXPECT_EQ(Parse("upd 5 (" + std::string(depth, '(') + "1;"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "syntaks error in command:");
    // Tagged lists nest as well.
    std::string tagged;
    for (int i = 0; i < 1000; ++i)
        tagged += "P(";
    tagged += std::string(1000, ')');
    EXPECT_EQ(Parse("new X(" + tagged + ");"), 0);
}

TEST_F(ParserTest, StackOverflowIsReportedAsFailure) {
    OXCommandGrammarSetMaxDepth(50);
    EXPECT_EQ(Parse("upd 5 (" + std::string(100, '(') + std::string(100, ')') + ");"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "yacc stack overflow");
    // Within the bound the same kind of text parses.
    EXPECT_EQ(Parse("upd 5 (" + std::string(20, '(') + std::string(20, ')') + ");"), 0);
    OXCommandGrammarSetMaxDepth(OXCommandGrammarDefaultMaxDepth);
}

TEST_F(ParserTest, NestingPastTheStackBoundIsRefusedAndTheStoreLivesOn) {
    // Whole cycles on a store: what the grammar lets through is cloned,
    // substituted and destroyed by recursion, so a frame nested past the
    // bound must fail in the grammar, and everything within it must survive
    // creation and the reset of the store.
    struct Case {
        std::string text;
        const char* message;
    } cases[] = {
        {"class Object { const number Id; };", ""},
        {"class Box<class T> : Object { T V; };", ""},
        {"new " + NestedLists(100000, "number") + "();", "yacc stack overflow"},
        {"class Deep : Object { " + NestedLists(200000, "number") + " Levels; };",
         "yacc stack overflow"},
        {"upd 5 (" + std::string(100000, '(') + std::string(100000, ')') + ");",
         "yacc stack overflow"},
        // A parameter that names the formal argument: its substitution has
        // no end.
        {"new Box<T<T>>(1, 2);", "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT"},
        {"new Box<T<list<T>, T>>(1, 2);", "Semantic Error: ER_INVALID_TEMPLATE_PARAMETER_COUNT"},
        // As deep as the bound allows.
        {"class Held : Object { " + NestedLists(4900, "number") + " Levels; };", ""},
        {"new Held(2, ());", ""},
        {"new Box<" + NestedLists(4900, "number") + ">(3, ());", ""},
        {"new " + NestedLists(4900, "number") + "();", "Semantic Error: ER_NOT_AN_OBJECT_OBJECT"},
        {"upd 2 (());", ""},
    };
    for (const Case& c : cases) {
        std::vector<char> text(c.text.begin(), c.text.end());
        text.push_back('\0');
        CaptureStdout();
        parser.Parse(text.data());
        GetCapturedStdout();
        EXPECT_STREQ(parser.GetErrorStr(), c.message) << c.text.substr(0, 60);
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u);
    }
    EXPECT_EQ(parser.GetObjectManager().GetObjectCount(), 2);
    parser.Reset();
    char next[] = "class Object { const number Id; };";
    EXPECT_EQ(parser.Parse(next), 0);
}

TEST_F(ParserTest, MessagesAreReplacedAndCleared) {
    EXPECT_EQ(Parse("foo"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "syntax error");
    EXPECT_EQ(Parse("upd 1 ();"), 0);
    EXPECT_STREQ(parser.GetErrorStr(), "");
    ASSERT_NE(parser.GetCommand(), nullptr);
    EXPECT_EQ(Parse("upd 1 ()"), 1);
    EXPECT_STREQ(parser.GetErrorStr(), "simicolon is missing");
    EXPECT_EQ(Parse("upd 1 ();"), 0);
    parser.Reset();
    EXPECT_EQ(parser.GetCommand(), nullptr);
    EXPECT_STREQ(parser.GetErrorStr(), "");
}

TEST_F(ParserTest, ParsersAreIndependent) {
    // One parser per port: a failure on one leaves the other's command alone.
    OXCommandParser other;
    ASSERT_TRUE(other.Create(nullptr));
    char good[] = "upd 7 (1);";
    ASSERT_EQ(other.ParseTree(good), 0);
    EXPECT_EQ(Parse("upd 5 (1"), 1);
    EXPECT_EQ(DumpTree(other.GetCommand()), "upd(7 (1))");
    EXPECT_STREQ(other.GetErrorStr(), "");
    other.DropCommand();
}

// A node with a child, as the grammar's nodes have, to watch destruction.
struct CountingNode : OXParserNode {
    CountingNode(OXParserNodeManager* manager, int* deaths, CountingNode* child = nullptr)
        : OXParserNode(manager), deaths(deaths), child(child) {}
    ~CountingNode() override {
        ++*deaths;
        delete child;
    }
    void Rollback() override {
        child = nullptr;
        OXParserNode::Rollback();
    }
    int* deaths;
    CountingNode* child;
};

TEST(ParserNodeManagerTest, RollbackDestroysEveryNodeOnceCommitKeepsThem) {
    OXParserNodeManager manager;
    int deaths = 0;
    manager.StartTransaction();
    auto* leaf = new CountingNode(&manager, &deaths);
    new CountingNode(&manager, &deaths, leaf);
    new CountingNode(&manager, &deaths);
    EXPECT_EQ(manager.GetNodeCount(), 3u);
    manager.Rollback();
    EXPECT_EQ(deaths, 3);
    EXPECT_EQ(manager.GetNodeCount(), 0u);

    deaths = 0;
    manager.StartTransaction();
    auto* root = new CountingNode(&manager, &deaths, new CountingNode(&manager, &deaths));
    manager.Commit();
    EXPECT_EQ(manager.GetNodeCount(), 0u);
    manager.Rollback();
    EXPECT_EQ(deaths, 0);
    // The committed tree belongs to its root.
    delete root;
    EXPECT_EQ(deaths, 2);

    // A node destroyed during a parse leaves the list.
    manager.StartTransaction();
    auto* dropped = new CountingNode(&manager, &deaths);
    new CountingNode(&manager, &deaths);
    delete dropped;
    EXPECT_EQ(manager.GetNodeCount(), 1u);
    manager.Rollback();
    EXPECT_EQ(deaths, 4);
}

TEST(ExecuteResultStringTest, NamesInCodeOrder) {
    OXCommand::InitializeExeResString();
    EXPECT_STREQ(OXCommand::ExecuteResultString[OXCommand::ER_OK], "ER_OK");
    EXPECT_STREQ(OXCommand::ExecuteResultString[8], "ER_UNEXCPETED_TEMPLATE_PARAMETERS");
    EXPECT_STREQ(OXCommand::ExecuteResultString[OXCommand::ER_INVALID_EXECUTE_ID],
                 "ER_INVALID_EXECUTE_ID");
    EXPECT_EQ(OXCommand::ER_INVALID_EXECUTE_ID, 20);
}

}  // namespace
