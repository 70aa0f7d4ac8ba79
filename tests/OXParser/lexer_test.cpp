// Scanning of the command language: tokens, longest match, invalid
// characters, numbers and strings.
#include "oxcommandlexer.h"
#include "oxcommandparser.h"
#include "oxexpression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

// One token as "code" or "code:value" for the tokens that carry a value.
std::string Describe(int token, const OXParserNode* value) {
    std::string text = std::to_string(token);
    if (auto* n = dynamic_cast<const OXParserNumber*>(value)) {
        char number[64];
        snprintf(number, sizeof number, "%g", n->GetValue());
        text += std::string(":") + number;
    } else if (auto* s = dynamic_cast<const OXParserString*>(value)) {
        text += ":[" + s->GetValue() + "]";
    } else if (auto* y = dynamic_cast<const OXParserSymbol*>(value)) {
        text += ":" + y->GetSymbol();
    }
    return text;
}

class LexerTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(parser.Create(nullptr)); }
    void TearDown() override { parser.GetNodeManager().Rollback(); }

    // All tokens of text, space separated; printed messages go to printed.
    std::string Scan(const std::string& text) {
        buffer.assign(text.begin(), text.end());
        buffer.push_back('\0');
        OXCommandLexer& lexer = parser.GetLexer();
        lexer.SetInputStr(buffer.data());
        // The value nodes of the previous scan are released.
        parser.GetNodeManager().Rollback();
        std::string tokens;
        CaptureStdout();
        for (;;) {
            OXParserNode* value = nullptr;
            int token = lexer.Lex(value);
            if (token == 0)
                break;
            if (!tokens.empty())
                tokens += " ";
            tokens += Describe(token, value);
        }
        printed = GetCapturedStdout();
        return tokens;
    }

    OXCommandParser parser;
    std::vector<char> buffer;
    std::string printed;
};

TEST_F(LexerTest, TokenSet) {
    EXPECT_EQ(Scan("class enum new upd del exe res exc const null .. AR_USER AR_ADMIN "
                   "AR_SERVICE AR_RAD AR_NON"),
              "261 262 263 264 265 266 267 268 269 270 271 272 273 274 275 276");
    EXPECT_EQ(Scan("=;:!$@<>(){}.,*/"), "61 59 58 33 36 64 60 62 40 41 123 125 46 44 42 47");
    EXPECT_EQ(Scan("42 -7 +3 name \"str\""), "258:42 259:-7 259:3 260:name 257:[str]");
    EXPECT_EQ(printed, "");
}

TEST_F(LexerTest, LongestMatchAndKeywords) {
    // Keywords win only over the same text; longer words are symbols.
    EXPECT_EQ(Scan("upd1 classy AR_USERS _x9 Upd L Lx null_"),
              "260:upd1 260:classy 260:AR_USERS 260:_x9 260:Upd 260:L 260:Lx 260:null_");
    EXPECT_EQ(Scan("1.5"), "258:1 46 258:5");
    EXPECT_EQ(Scan("100.100"), "258:100 46 258:100");
    EXPECT_EQ(Scan("1..5"), "258:1 271 258:5");
    EXPECT_EQ(Scan("..."), "271 46");
    EXPECT_EQ(Scan("1-2"), "258:1 259:-2");
    EXPECT_EQ(Scan("12abc -3x"), "258:12 260:abc 259:-3 260:x");
    EXPECT_EQ(Scan("a.b"), "260:a 46 260:b");
    EXPECT_EQ(printed, "");
}

TEST_F(LexerTest, WhiteSpaceAndInvalidCharacters) {
    EXPECT_EQ(Scan("\t\n\r a \t"), "260:a");
    EXPECT_EQ(printed, "");
    // Form feed and vertical tab are no white space.
    EXPECT_EQ(Scan("a\fb\vc"), "260:a 260:b 260:c");
    EXPECT_EQ(printed, "invalid character '0x0c'\ninvalid character '0x0b'\n");
    EXPECT_EQ(Scan("#%&'?[\\]^`|~"), "");
    EXPECT_EQ(printed,
              "invalid character '0x23'\ninvalid character '0x25'\ninvalid character '0x26'\n"
              "invalid character '0x27'\ninvalid character '0x3f'\ninvalid character '0x5b'\n"
              "invalid character '0x5c'\ninvalid character '0x5d'\ninvalid character '0x5e'\n"
              "invalid character '0x60'\ninvalid character '0x7c'\ninvalid character '0x7e'\n");
    // Control bytes and everything from 127 up, printed as unsigned bytes.
    EXPECT_EQ(Scan("\x01x\x1f\x7f\x80\xff"), "260:x");
    EXPECT_EQ(printed,
              "invalid character '0x01'\ninvalid character '0x1f'\ninvalid character '0x7f'\n"
              "invalid character '0x80'\ninvalid character '0xff'\n");
    // A sign without digits is invalid; the digits after a blank stand alone.
    EXPECT_EQ(Scan("- 1 + x -"), "258:1 260:x");
    EXPECT_EQ(printed,
              "invalid character '0x2d'\ninvalid character '0x2b'\ninvalid character '0x2d'\n");
}

TEST_F(LexerTest, Numbers) {
    EXPECT_EQ(Scan("0 000123 -0 +18446744073709551616"), "258:0 258:123 259:-0 259:1.84467e+19");
    EXPECT_EQ(printed, "");

    std::string big(400, '9');
    EXPECT_EQ(Scan(big + " -" + big), "258:inf 259:-inf");
    EXPECT_EQ(printed, "number too big\nnumber too big\n");
}

TEST_F(LexerTest, Strings) {
    // Escapes stay as written.
    EXPECT_EQ(Scan("\"a\\nb\""), "257:[a\\nb]");
    EXPECT_EQ(Scan("\"\\\"\\'\\,\\0\\9\\?\\\\\\a\\b\\f\\n\\r\\t\\v\""),
              "257:[\\\"\\'\\,\\0\\9\\?\\\\\\a\\b\\f\\n\\r\\t\\v]");
    EXPECT_EQ(Scan("\"\" \"\t\x01\xff#\""), "257:[] 257:[\t\x01\xff#]");
    // With the L prefix the first character removed is the L.
    EXPECT_EQ(Scan("L\"ab\" L\"\""), "257:[\"ab] 257:[\"]");
    EXPECT_EQ(Scan("xL\"ab\""), "260:xL 257:[ab]");
    EXPECT_EQ(printed, "");
}

TEST_F(LexerTest, IncompleteStringsFallBackToTheirInside) {
    // A bad escape: the quote is invalid, the inside is scanned as tokens, and
    // the last quote finds no end either.
    EXPECT_EQ(Scan("\"a\\qb\""), "260:a 260:qb");
    EXPECT_EQ(printed,
              "invalid character '0x22'\ninvalid character '0x5c'\ninvalid character '0x22'\n");
    // A raw line feed inside.
    EXPECT_EQ(Scan("\"ab\ncd\""), "260:ab 260:cd");
    EXPECT_EQ(printed, "invalid character '0x22'\ninvalid character '0x22'\n");
    EXPECT_EQ(Scan("\"ab\rcd"), "260:ab 260:cd");
    EXPECT_EQ(printed, "invalid character '0x22'\n");
    // A later quote of the inside may start a string of its own.
    EXPECT_EQ(Scan("\"a\\x\" \"b\""), "260:a 260:x 257:[ ] 260:b");
    EXPECT_EQ(printed,
              "invalid character '0x22'\ninvalid character '0x5c'\ninvalid character '0x22'\n");
    // An incomplete L string is the symbol L and an invalid quote.
    EXPECT_EQ(Scan("L\"ab"), "260:L 260:ab");
    EXPECT_EQ(printed, "invalid character '0x22'\n");
    // A backslash at the very end.
    EXPECT_EQ(Scan("\"ab\\"), "260:ab");
    EXPECT_EQ(printed, "invalid character '0x22'\ninvalid character '0x5c'\n");
}

TEST_F(LexerTest, LongTokensAreReadWhole) {
    std::string symbol(5000, 's');
    std::string text(5000, 't');
    EXPECT_EQ(Scan(symbol + " \"" + text + "\""), "260:" + symbol + " 257:[" + text + "]");
    EXPECT_STREQ(parser.GetLexer().GetText(), "");
    EXPECT_EQ(printed, "");
    std::string digits(5000, '1');
    EXPECT_EQ(Scan(digits), "258:inf");
    EXPECT_EQ(printed, "number too big\n");
}

TEST_F(LexerTest, GetCharReturnsUnsignedBytesAndStaysAtTheEnd) {
    char text[] = "a\xff";
    OXCommandLexer& lexer = parser.GetLexer();
    lexer.SetInputStr(text);
    EXPECT_EQ(lexer.yygetchar(), 'a');
    EXPECT_EQ(lexer.yygetchar(), 255);
    EXPECT_EQ(lexer.yygetchar(), 0);
    EXPECT_EQ(lexer.yygetchar(), 0);
    OXParserNode* value = nullptr;
    EXPECT_EQ(lexer.Lex(value), 0);
    EXPECT_EQ(value, nullptr);
}

TEST_F(LexerTest, ValueNodesBelongToTheNodeManager) {
    EXPECT_EQ(Scan("1 x \"s\" class ;"), "258:1 260:x 257:[s] 261 59");
    EXPECT_EQ(parser.GetNodeManager().GetNodeCount(), 3u);
}

TEST(LexerDeathTest, TextBufferOverflowEndsTheProcess) {
    EXPECT_EXIT(
        {
            OXCommandParser parser;
            parser.Create(nullptr);
            parser.GetLexer().SetMaxTextSize(200);
            std::string text = "upd 5 (" + std::string(300, 'x') + ");";
            parser.Parse(&text[0]);
        },
        ::testing::ExitedWithCode(1), "lex text buffer overflow \\(200\\)");
}

}  // namespace
