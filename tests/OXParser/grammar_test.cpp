// The productions of the command language and the trees they build.
#include "oxcommand.h"
#include "oxcommandparser.h"
#include "parser_treedump.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct TreeCase {
    const char* text;
    const char* tree;
};

class GrammarTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(parser.Create(nullptr)); }
    void TearDown() override { parser.DropCommand(); }

    // Parses text and returns the dumped tree, or "FAIL: message".
    std::string Tree(const std::string& text) {
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        parser.DropCommand();
        int result = parser.ParseTree(buffer.data());
        EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 0u) << text;
        if (result != 0)
            return std::string("FAIL: ") + parser.GetErrorStr();
        EXPECT_STREQ(parser.GetErrorStr(), "") << text;
        return DumpTree(parser.GetCommand());
    }

    void Check(const std::vector<TreeCase>& cases) {
        for (const TreeCase& c : cases)
            EXPECT_EQ(Tree(c.text), c.tree) << c.text;
    }

    OXCommandParser parser;
};

TEST_F(GrammarTest, ObjectCommandsAndTheirIds) {
    Check({
        // 15, 36, 33, 72
        {"new Motor();", "new(Motor ())"},
        // 16, 85, 71, 74, 75, 98
        {"upd 5 (1);", "upd(5 (1))"},
        // 86: an object number may be signed
        {"upd -5 (+2);", "upd(-5 (2))"},
        // 17, 73
        {"del 12 (1, \"x\");", "del(12 (1,\"x\"))"},
        // 18, 84, 83
        {"exe 4 $ 100.100();", "exe(4 100.100 ())"},
        {"exe 2  $   100 . 102 (5);", "exe(2 100.102 (5))"},
        {"exe 2 $ 100.102(5);", "exe(2 100.102 (5))"},
        {"exe 1 $ -7.3(\"a\", @8);", "exe(1 -7.3 (\"a\",@8))"},
        // 19, 20 with a single expression and with a list
        {"res 7 : 12;", "res(7 12)"},
        {"res 7 : \"a\";", "res(7 \"a\")"},
        {"exc 7 : Exception(1, \"x\");", "exc(7 Exception(1,\"x\"))"},
        {"exc 0 : (1);", "exc(0 (1))"},
        // Tokens without white space between them
        {"upd\t5\r\n(1,2);", "upd(5 (1,2))"},
    });
}

TEST_F(GrammarTest, ExpressionsAndConstants) {
    Check({
        // 99, 100, 101 (null is the reference to 0), 79
        {"upd 1 (-3, \"s\", null, @0, @-4, @12);", "upd(1 (-3,\"s\",@0,@0,@-4,@12))"},
        // 77 with and without template parameters, 78, nested empty lists
        {"upd 1 (Pos(1, 2), (3, (4)), (), list<number>());",
         "upd(1 (Pos(1,2),(3,(4)),(),list<number>()))"},
        {"new list<Pair<number, string>>(Pair<number, string>(1, \"a\"));",
         "new(list<Pair<number,string>> (Pair<number,string>(1,\"a\")))"},
        // An expression list may be empty everywhere
        {"del 3 ();", "del(3 ())"},
        // Numbers are doubles; 1.5 is three tokens and no number
        {"upd 1 (007, 0);", "upd(1 (7,0))"},
    });
}

TEST_F(GrammarTest, ClassDefinitions) {
    Check({
        // 13, 25, 29, 27, 38
        {"class A {};", "class(A<> : - {})"},
        // 28, 30, 31, 26, 32, 34, 35
        {"class Box<class T, class U> : Base<T, list<U>> {};",
         "class(Box<T,U> : Base<T,list<U>> {})"},
        // 37, 40, 41, 59, 61, 68
        {"class A { number X; };",
         "class(A<> : - {attr(plain number X unit(\"\"*1/1) right(AR_USER));})"},
        // 58, 60, 62, 63, 65, 87, 89, 67, 94 (the example of the language)
        {"class Motor : Device { const number Speed : \"rpm\" * 1 / 10 ! AR_ADMIN; "
         "100 $ void Start(number Dir {0..1} = 0); };",
         "class(Motor<> : Device {attr(const number Speed unit(\"rpm\"*1/10) right(AR_ADMIN));"
         "func(100 void Start(param(number Dir {[0..1]} =0 unit(\"\"*1/1) right(AR_USER))) "
         "unit(\"\"*1/1) right(AR_USER));})"},
        // 64, 66, 88, 90, 91, 92, 93, 95, 96, 97
        {"class U { a b : Unit; c d : \"m\" * Mul; e f : \"s\" / Div; g h ! 3; i j ! Right; "
         "k l ! AR_USER; m n ! AR_SERVICE; o p ! AR_RAD; q r ! AR_NON; };",
         "class(U<> : - {attr(plain a b unit($Unit*1/1) right(AR_USER));"
         "attr(plain c d unit(\"m\"*$Mul/1) right(AR_USER));"
         "attr(plain e f unit(\"s\"*1/$Div) right(AR_USER));"
         "attr(plain g h unit(\"\"*1/1) right(3));"
         "attr(plain i j unit(\"\"*1/1) right($Right));"
         "attr(plain k l unit(\"\"*1/1) right(AR_USER));"
         "attr(plain m n unit(\"\"*1/1) right(AR_SERVICE));"
         "attr(plain o p unit(\"\"*1/1) right(AR_RAD));"
         "attr(plain q r unit(\"\"*1/1) right(AR_NON));})"},
        // 39, 42, 43, 44, 45, 46, 47, 48, 49, 50-55, 56, 57, 69, 70
        {"class F { 1 $ number G(number a {..5, 1.., 3, x..y, -2..\"z\"} = -1 : \"s\" ! 3, "
         "string b) : \"u\" ! AR_SERVICE; 2 $ void H(); };",
         "class(F<> : - {func(1 number G(param(number a {[-..5],[1..-],[=3],[$x..$y],[-2..\"z\"]} "
         "=-1 unit(\"s\"*1/1) right(3)),param(string b {} =- unit(\"\"*1/1) right(AR_USER))) "
         "unit(\"u\"*1/1) right(AR_SERVICE));func(2 void H() unit(\"\"*1/1) right(AR_USER));})"},
        // Default values: a symbol, a string and null
        {"class D { 3 $ void F(number a = Limit, string s = \"x\", Obj o = null); };",
         "class(D<> : - {func(3 void F(param(number a {} =$Limit unit(\"\"*1/1) right(AR_USER)),"
         "param(string s {} =\"x\" unit(\"\"*1/1) right(AR_USER)),"
         "param(Obj o {} =@0 unit(\"\"*1/1) right(AR_USER))) unit(\"\"*1/1) right(AR_USER));})"},
        // Keywords are case-sensitive and win only on the whole word
        {"class Class : classy { Upd upd1; AR_USERS x ! AR_USERS; };",
         "class(Class<> : classy {attr(plain Upd upd1 unit(\"\"*1/1) right(AR_USER));"
         "attr(plain AR_USERS x unit(\"\"*1/1) right($AR_USERS));})"},
    });
}

TEST_F(GrammarTest, EnumDefinitions) {
    Check({
        // 14, 21, 22, 23, 24: every initializer with its comma, the last one too
        {"enum Colour { \"Red\"=0, \"Green\"=1, };", "enum(Colour {\"Red\"=0,\"Green\"=1,})"},
        {"enum E { \"minus\"=-2, \"plus\"=+3, };", "enum(E {\"minus\"=-2,\"plus\"=3,})"},
        // Enum texts keep escapes as written; the L prefix keeps the quote
        {"enum E { \"a\\\"b\"=1, L\"w\"=2, };", "enum(E {\"a\\\"b\"=1,\"\"w\"=2,})"},
        // Two texts for one value: the first one written stays
        {"enum E { \"a\"=1, \"b\"=1, \"c\"=2, };", "enum(E {\"a\"=1,\"c\"=2,})"},
    });
}

TEST_F(GrammarTest, NearMissesAreSyntaxErrors) {
    Check({
        // Enum names must be strings
        {"enum E { A=1, };", "FAIL: syntaks error in command:"},
        // Without the last comma
        {"enum E { \"a\"=1, \"b\"=2 };", "FAIL: syntaks error in command:"},
        {"enum E { };", "FAIL: syntaks error in command:"},
        // A function number must be unsigned
        {"class A { -5 $ void F(); };", "FAIL: syntaks error in command:"},
        {"exe 1 $ 5.-2();", "FAIL: syntaks error in command:"},
        // ...and so must an execute number
        {"exe -1 $ 5.2();", "FAIL: syntaks error in command:"},
        {"res -1 : 5;", "FAIL: syntaks error in command:"},
        // A keyword is no class name
        {"class AR_USER {};", "FAIL: syntaks error in command:"},
        {"class upd {};", "FAIL: syntaks error in command:"},
        {"new null();", "FAIL: syntaks error in command:"},
        // Members end with a semicolon
        {"class A { number X };", "FAIL: syntaks error in command:"},
        // No fraction syntax, and a range is no expression
        {"upd 1 (1.5);", "FAIL: syntaks error in command:"},
        {"upd 1 (1..2);", "FAIL: syntaks error in command:"},
        // Template arguments need "class", parameters must not have it
        {"class B<T> {};", "FAIL: syntaks error in command:"},
        {"new B<class T>();", "FAIL: syntaks error in command:"},
        // A reference needs an object number
        {"upd 1 (@x);", "FAIL: syntaks error in command:"},
        // Object numbers are no expressions of a class
        {"upd x (1);", "FAIL: syntaks error in command:"},
    });
}

}  // namespace
