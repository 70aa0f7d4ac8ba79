// Scanner of the machine link's command language: cuts a zero-terminated text
// into tokens and builds the value node of those that carry one.
#pragma once

#include <cstddef>

class OXCommandParser;
class OXParserNode;
class OXParserNodeManager;

// Token codes above the character tokens, which are the character's code.
enum tagOXToken {
    OXTK_END_OF_INPUT = 0,
    OXTK_STRING = 257,
    OXTK_UNSIGNED_NUMBER = 258,
    OXTK_SIGNED_NUMBER = 259,
    OXTK_SYMBOL = 260,
    OXTK_KW_CLASS = 261,
    OXTK_KW_ENUM = 262,
    OXTK_KW_NEW = 263,
    OXTK_KW_UPD = 264,
    OXTK_KW_DEL = 265,
    OXTK_KW_EXE = 266,
    OXTK_KW_RES = 267,
    OXTK_KW_EXC = 268,
    OXTK_KW_CONST = 269,
    OXTK_KW_NULL = 270,
    OXTK_RANGE = 271,
    OXTK_KW_AR_USER = 272,
    OXTK_KW_AR_ADMIN = 273,
    OXTK_KW_AR_SERVICE = 274,
    OXTK_KW_AR_RAD = 275,
    OXTK_KW_AR_NON = 276,
    OXTK_END_CHARACTER = 277,
};

class OXCommandLexer {
  public:
    OXCommandLexer();
    ~OXCommandLexer();

    // Binds the lexer to the parser whose node manager takes the value nodes.
    bool Create(OXCommandParser& parser);
    // The text is not copied and must live until parsing ends.
    void SetInputStr(char* text);
    // The next byte, 0 to 255; 0 at the end of the text, where it stays.
    int yygetchar();

    // The next token; 0 at the end of the input. value receives the token's
    // node (registered with the node manager) or null.
    int Lex(OXParserNode*& value);
    // Text of the last token.
    const char* GetText() const { return textBuf; }

    OXParserNode* ConvertNumber(const char* text, bool isUnsigned);
    OXParserNode* ConvertString(const char* text);
    OXParserNode* ConvertSymbol(const char* text);

    OXParserNodeManager& GetNodeManager();

    // Bounds the token text buffer (default: what an int can count). A token
    // that does not fit ends the process, as when memory runs out.
    void SetMaxTextSize(size_t size) { maxTextSize = size; }
    // Grows the text buffer as a token of length bytes would; false, with
    // nothing changed, where such a token would end the process.
    bool Reserve(size_t length);
    // Leaves the lexer as after the last token of a text: on its terminator,
    // with an empty token text.
    void SetAtEnd(char* terminator);

    OXCommandLexer(const OXCommandLexer&) = delete;
    OXCommandLexer& operator=(const OXCommandLexer&) = delete;

  private:
    friend class OXFastReader;

    void SetText(const char* start, size_t length);
    // Length of the complete string whose opening quote is at p, or 0.
    static size_t MatchString(const char* p);
    static int KeywordOf(const char* text, size_t length);

    OXCommandParser* pParser = nullptr;
    char* pInputStr = nullptr;
    char* textBuf = nullptr;
    size_t textSize = 0;
    size_t maxTextSize;
};
