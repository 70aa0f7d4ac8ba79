// The hand-written reader against the generated grammar: every text gives the
// same result, message, tree and printed lines both ways, and the reader
// takes the valid commands and leaves everything else to the grammar.
#include "treedump.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

struct Case {
    std::string text;
    bool fast;  // taken by the hand-written reader
};

class FastReaderTest : public ::testing::Test {
  public:
    void SetUp() override { ASSERT_TRUE(parser.Create(nullptr)); }

    // Result, message, tree and what was printed, with one reader.
    std::string Outcome(const std::string& text, bool fast) {
        CaptureStdout();
        std::string outcome = treedump::ParseWith(parser, fast, text.data(), text.size());
        return outcome + "|" + GetCapturedStdout();
    }

    void Check(const std::vector<Case>& cases) {
        for (const Case& c : cases) {
            std::string grammar = Outcome(c.text, false);
            EXPECT_FALSE(parser.ReadFast());
            std::string fast = Outcome(c.text, true);
            EXPECT_EQ(parser.ReadFast(), c.fast) << c.text;
            EXPECT_EQ(fast, grammar) << c.text;
        }
    }

    void Run(const char* command) {
        std::string text = command;
        ASSERT_EQ(parser.Parse(&text[0]), 0) << command << parser.GetErrorStr();
    }

    OXCommandParser parser;
};

const std::vector<Case> kCases = {
    // Every production, valid.
    {"class Motor<class T, class U> : Device<list<T>> { const number Speed : \"rpm\" * 1 / 10 "
     "! AR_ADMIN; T Value : Unit * Mul / Div ! Access; string Name; list<number> Points ! 3; "
     "100 $ void Start(number Dir {0..1, 5.., ..-2, 7, \"a\"..x, null} = 0, string Mode = "
     "\"auto\" : L\"s\" ! AR_NON, number N = Lim ! AR_RAD) : \"s\" ! AR_SERVICE; 7 $ void "
     "Stop() ! AR_USER; 8 $ T Get(number A, number B); };",
     true},
    {"class Empty {};", true},
    {"enum OnOff { \"Off\"=0, \"On\"=+1, \"Dup\"=1, \"Neg\"=-3, };", true},
    {"new Motor<number>(1, \"M\", 1500, list<number>(1, 2, -4), Pos(10, (1, 2), "
     "Pair<number, string>(7, \"x\")), @5, @-6, null, ());",
     true},
    {"\t upd -5 (+2)\r\n;\n", true},
    {"upd 1 ();", true},
    {"del 12 (1, \"a\\\"b\\n\");", true},
    {"exe 2  $   100 . 102 (5);", true},
    {"exe 3 $ -1.7 ();", true},
    {"res 4 : (1, 2);", true},
    {"res 4 : Pos(1);", true},
    {"exc 5 : \"failed\";", true},
    {"res 6 : null;", true},
    {"upd 1 (123456789012345, 1234567890123456, -99999999999999999999, 00012);", true},
    {"upd 1 (" + std::string(400, '9') + ");", false},
    {"upd 1 (L\"x\", L\"\");", true},
    // Nesting up to the reader's bound, and past it.
    {"upd 1 (" + std::string(OXFastReader::kMaxNesting, '(') +
         std::string(OXFastReader::kMaxNesting, ')') + ");",
     true},
    {"upd 1 (" + std::string(OXFastReader::kMaxNesting + 1, '(') +
         std::string(OXFastReader::kMaxNesting + 1, ')') + ");",
     false},
    {"upd 1 (" + std::string(20000, '(') + std::string(20000, ')') + ");", false},
    // Syntax errors and their recovery, invalid characters, trailing text.
    {"", false},
    {";", false},
    {"upd 5 (1)", false},
    {"upd 5 (1):", false},
    {"upd 5 (1); x", false},
    {"upd 5 (1);;", false},
    {"upd 5 (1; upd 5 (2);", false},
    {"new Motor(1)", false},
    {"new Motor(1) x;", false},
    {"del 3 (1)", false},
    {"new\x7f Motor(\"a\", ~2)\f;", false},
    {"upd 5 (\"a\nb\");", false},
    {"upd 5 (1, );", false},
    {"upd 5 (1..2);", false},
    {"upd x (1);", false},
    {"exe 2 $ 100 . -102 (5);", false},
    {"exe -2 $ 100 . 102 (5);", false},
    {"res -4 : 1;", false},
    {"res 4 : x;", false},
    {"enum E { A=1, };", false},
    {"enum E { \"A\"=1 };", false},
    {"enum E { };", false},
    {"class A { -5 $ void F(); };", false},
    {"class AR_USER {};", false},
    {"class A { number x ! AR_ADMIN x; };", false},
    {"class A { number x ! ; };", false},
    {"class A { number x : ; };", false},
    {"class A { number x : \"u\" * ; };", false},
    {"class A { 1 $ void F(number a {}); };", false},
    {"class A { 1 $ void F(number a {..}); };", false},
    {"class A { 1 $ void F(number a,); };", false},
    {"class A { number x } ;", false},
    {"class A<class> {};", false},
    {"class A<T> {};", false},
    {"new list<>(1);", false},
    {"new A<B(1);", false},
    {"upd 1 (\"abc);", false},
    {"upd 1 (1 2);", false},
    {"upd 1 (-);", false},
    {"upd 1 (@x);", false},
};

TEST_F(FastReaderTest, BothReadersAgreeWithoutTheAccessRightEnum) {
    Check(kCases);
}

TEST_F(FastReaderTest, BothReadersAgreeWithTheAccessRightEnumAndAStore) {
    Run("enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, "
        "\"AR_RAD\"=3, \"AR_NON\"=4, };");
    Run("class Object { const number Id; };");
    Check(kCases);
    // The whole cycle on the store is the same as before: the reader's tree
    // is executed like the grammar's.
    Run("class Item : Object { string Name ! AR_ADMIN; number Value : \"mm\" * 1 / 10; };");
    Run("new Item(10, \"a\", 5);");
    Run("upd 10 (\"b\", 6);");
    EXPECT_EQ(parser.GetObjectManager().GetObjectCount(), 1);
    EXPECT_TRUE(parser.ReadFast());
}

}  // namespace
