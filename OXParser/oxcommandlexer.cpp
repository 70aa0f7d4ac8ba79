#include "oxcommandlexer.h"

#include "oxcommandparser.h"
#include "oxexpression.h"

#include <cassert>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const size_t kInitialTextSize = 100;

bool IsLetter(unsigned c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsDigit(unsigned c) {
    return c >= '0' && c <= '9';
}

}  // namespace

OXCommandLexer::OXCommandLexer() : maxTextSize(INT_MAX) {
    textBuf = static_cast<char*>(malloc(kInitialTextSize));
    if (textBuf == nullptr) {
        fprintf(stderr, "lex text buffer overflow (%d)\n", 0);
        exit(1);
    }
    textSize = kInitialTextSize;
    textBuf[0] = '\0';
}

OXCommandLexer::~OXCommandLexer() {
    free(textBuf);
}

bool OXCommandLexer::Create(OXCommandParser& parser) {
    pParser = &parser;
    pInputStr = nullptr;
    textBuf[0] = '\0';
    return true;
}

void OXCommandLexer::SetInputStr(char* text) {
    pInputStr = text;
}

int OXCommandLexer::yygetchar() {
    assert(pInputStr);
    unsigned char c = static_cast<unsigned char>(*pInputStr);
    if (c != 0)
        ++pInputStr;
    return c;
}

OXParserNodeManager& OXCommandLexer::GetNodeManager() {
    return pParser->GetNodeManager();
}

void OXCommandLexer::SetText(const char* start, size_t length) {
    // The buffer doubles until the token fits; when it cannot, the scanner
    // gives up the process, as a generated scanner does.
    while (length + 1 > textSize) {
        size_t newSize = textSize * 2;
        char* grown = nullptr;
        if (textSize <= maxTextSize / 2)
            grown = static_cast<char*>(realloc(textBuf, newSize));
        if (grown == nullptr) {
            fprintf(stderr, "lex text buffer overflow (%d)\n", static_cast<int>(textSize));
            exit(1);
        }
        textBuf = grown;
        textSize = newSize;
    }
    memcpy(textBuf, start, length);
    textBuf[length] = '\0';
}

bool OXCommandLexer::Reserve(size_t length) {
    size_t size = textSize;
    while (length + 1 > size) {
        if (size > maxTextSize / 2)
            return false;
        size *= 2;
    }
    if (size != textSize) {
        char* grown = static_cast<char*>(realloc(textBuf, size));
        if (grown == nullptr)
            return false;
        textBuf = grown;
        textSize = size;
    }
    return true;
}

void OXCommandLexer::SetAtEnd(char* terminator) {
    pInputStr = terminator;
    textBuf[0] = '\0';
}

size_t OXCommandLexer::MatchString(const char* start) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(start) + 1;
    for (;;) {
        unsigned c = *p;
        if (c == '"')
            return static_cast<size_t>(p + 1 - reinterpret_cast<const unsigned char*>(start));
        if (c == 0 || c == '\n' || c == '\r')
            return 0;
        if (c == '\\') {
            unsigned next = p[1];
            if (next == 0 ||
                (!IsDigit(next) && strchr("\"',?\\abfnrtv", static_cast<int>(next)) == nullptr)) {
                return 0;
            }
            p += 2;
        } else {
            ++p;
        }
    }
}

namespace {

// Whether text (of the word's length) is the word.
template <size_t N>
bool Is(const char* text, const char (&word)[N]) {
    return memcmp(text, word, N - 1) == 0;
}

}  // namespace

int OXCommandLexer::KeywordOf(const char* text, size_t length) {
    // Only the keywords of this length and first letter can match: at most
    // two, told apart by one more letter.
    int token = OXTK_SYMBOL;
    switch (length) {
        case 3:
            switch (text[0]) {
                case 'n':
                    token = Is(text, "new") ? OXTK_KW_NEW : OXTK_SYMBOL;
                    break;
                case 'u':
                    token = Is(text, "upd") ? OXTK_KW_UPD : OXTK_SYMBOL;
                    break;
                case 'd':
                    token = Is(text, "del") ? OXTK_KW_DEL : OXTK_SYMBOL;
                    break;
                case 'r':
                    token = Is(text, "res") ? OXTK_KW_RES : OXTK_SYMBOL;
                    break;
                case 'e':
                    token = Is(text, "exe")   ? OXTK_KW_EXE
                            : Is(text, "exc") ? OXTK_KW_EXC
                                              : OXTK_SYMBOL;
                    break;
                default:
                    break;
            }
            break;
        case 4:
            token = Is(text, "enum") ? OXTK_KW_ENUM : Is(text, "null") ? OXTK_KW_NULL : OXTK_SYMBOL;
            break;
        case 5:
            token = Is(text, "class")   ? OXTK_KW_CLASS
                    : Is(text, "const") ? OXTK_KW_CONST
                                        : OXTK_SYMBOL;
            break;
        case 6:
            token = Is(text, "AR_RAD")   ? OXTK_KW_AR_RAD
                    : Is(text, "AR_NON") ? OXTK_KW_AR_NON
                                         : OXTK_SYMBOL;
            break;
        case 7:
            token = Is(text, "AR_USER") ? OXTK_KW_AR_USER : OXTK_SYMBOL;
            break;
        case 8:
            token = Is(text, "AR_ADMIN") ? OXTK_KW_AR_ADMIN : OXTK_SYMBOL;
            break;
        case 10:
            token = Is(text, "AR_SERVICE") ? OXTK_KW_AR_SERVICE : OXTK_SYMBOL;
            break;
        default:
            break;
    }
    return token;
}

int OXCommandLexer::Lex(OXParserNode*& value) {
    assert(pInputStr);
    value = nullptr;
    for (;;) {
        const char* start = pInputStr;
        unsigned c = static_cast<unsigned char>(*start);
        switch (c) {
            case 0:
                // The terminator: end of input, and the pointer stays on it.
                textBuf[0] = '\0';
                return OXTK_END_OF_INPUT;
            case '\t':
            case '\n':
            case '\r':
            case ' ':
                ++pInputStr;
                continue;
            case '=':
            case ';':
            case ':':
            case '!':
            case '$':
            case '@':
            case '<':
            case '>':
            case '(':
            case ')':
            case '{':
            case '}':
            case ',':
            case '*':
            case '/':
                SetText(start, 1);
                ++pInputStr;
                return static_cast<int>(c);
            case '.':
                if (start[1] == '.') {
                    SetText(start, 2);
                    pInputStr += 2;
                    return OXTK_RANGE;
                }
                SetText(start, 1);
                ++pInputStr;
                return '.';
            case '"': {
                size_t length = MatchString(start);
                if (length == 0)
                    break;  // incomplete: the quote is an invalid character
                SetText(start, length);
                pInputStr += length;
                value = ConvertString(textBuf);
                return OXTK_STRING;
            }
            case '-':
            case '+': {
                if (!IsDigit(static_cast<unsigned char>(start[1])))
                    break;
                const char* end = start + 1;
                while (IsDigit(static_cast<unsigned char>(*end)))
                    ++end;
                SetText(start, static_cast<size_t>(end - start));
                pInputStr = const_cast<char*>(end);
                value = ConvertNumber(textBuf, false);
                return OXTK_SIGNED_NUMBER;
            }
            default:
                if (IsDigit(c)) {
                    const char* end = start + 1;
                    while (IsDigit(static_cast<unsigned char>(*end)))
                        ++end;
                    SetText(start, static_cast<size_t>(end - start));
                    pInputStr = const_cast<char*>(end);
                    value = ConvertNumber(textBuf, false);
                    return OXTK_UNSIGNED_NUMBER;
                }
                if (IsLetter(c)) {
                    // L"..." is a string whose value keeps the opening quote;
                    // an L before anything else starts a symbol.
                    if (c == 'L' && start[1] == '"') {
                        size_t length = MatchString(start + 1);
                        if (length != 0) {
                            SetText(start, length + 1);
                            pInputStr += length + 1;
                            value = ConvertString(textBuf);
                            return OXTK_STRING;
                        }
                    }
                    const char* end = start + 1;
                    while (IsLetter(static_cast<unsigned char>(*end)) ||
                           IsDigit(static_cast<unsigned char>(*end))) {
                        ++end;
                    }
                    size_t length = static_cast<size_t>(end - start);
                    SetText(start, length);
                    pInputStr = const_cast<char*>(end);
                    int token = KeywordOf(textBuf, length);
                    if (token == OXTK_SYMBOL)
                        value = ConvertSymbol(textBuf);
                    return token;
                }
                break;
        }
        // A byte that starts no token is reported and skipped; the parser
        // only sees the tokens around it.
        printf("invalid character '0x%02x'\n", c);
        ++pInputStr;
    }
}

namespace {

// The value of an optionally signed integer of at most 15 digits, which a
// double holds exactly, so that strtod would give the same; false for any
// other text.
bool ShortInteger(const char* text, double& value) {
    const char* p = text;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    long long n = 0;
    int digits = 0;
    for (; IsDigit(static_cast<unsigned char>(*p)); ++p, ++digits) {
        if (digits == 15)
            return false;
        n = n * 10 + (*p - '0');
    }
    if (*p != '\0' || digits == 0)
        return false;
    value = static_cast<double>(n);
    if (negative)
        value = -value;
    return true;
}

}  // namespace

OXParserNode* OXCommandLexer::ConvertNumber(const char* text, bool) {
    double value;
    if (ShortInteger(text, value))
        return new OXParserNumber(&GetNodeManager(), value);
    errno = 0;
    value = strtod(text, nullptr);
    if ((value == HUGE_VAL || value == -HUGE_VAL) && errno == ERANGE)
        printf("number too big\n");
    return new OXParserNumber(&GetNodeManager(), value);
}

OXParserNode* OXCommandLexer::ConvertString(const char* text) {
    // The token text less its first and last character; escapes stay as
    // written, and for L"..." the L goes and the opening quote stays.
    size_t length = strlen(text);
    return new OXParserString(&GetNodeManager(), std::string(text + 1, length - 2));
}

OXParserNode* OXCommandLexer::ConvertSymbol(const char* text) {
    return new OXParserSymbol(&GetNodeManager(), text);
}
