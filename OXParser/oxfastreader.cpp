#include "oxfastreader.h"

#include "oxaccessright.h"
#include "oxclassdecl.h"
#include "oxcommandlexer.h"
#include "oxcommandnodes.h"
#include "oxcommandparser.h"
#include "oxdefinition.h"
#include "oxenumdecl.h"
#include "oxexpression.h"
#include "oxmemberdecl.h"
#include "oxunitdecl.h"
#include "oxvaluedecl.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>

namespace {

// Byte classes of the scanner, as the lexer sorts them.
enum : unsigned char {
    CC_OTHER,  // starts no token: the lexer reports it
    CC_SPACE,
    CC_PUNCT,  // a token of its own
    CC_DIGIT,
    CC_LETTER,
    CC_END,
    CC_DOT,
    CC_QUOTE,
    CC_SIGN,
};

struct CharClasses {
    unsigned char of[256];
    constexpr CharClasses() : of() {
        of[0] = CC_END;
        of[static_cast<unsigned char>('\t')] = CC_SPACE;
        of[static_cast<unsigned char>('\n')] = CC_SPACE;
        of[static_cast<unsigned char>('\r')] = CC_SPACE;
        of[static_cast<unsigned char>(' ')] = CC_SPACE;
        const char punct[] = "=;:!$@<>(){},*/";
        for (const char* p = punct; *p != '\0'; ++p)
            of[static_cast<unsigned char>(*p)] = CC_PUNCT;
        for (int c = '0'; c <= '9'; ++c)
            of[c] = CC_DIGIT;
        for (int c = 'a'; c <= 'z'; ++c)
            of[c] = CC_LETTER;
        for (int c = 'A'; c <= 'Z'; ++c)
            of[c] = CC_LETTER;
        of[static_cast<unsigned char>('_')] = CC_LETTER;
        of[static_cast<unsigned char>('.')] = CC_DOT;
        of[static_cast<unsigned char>('"')] = CC_QUOTE;
        of[static_cast<unsigned char>('-')] = CC_SIGN;
        of[static_cast<unsigned char>('+')] = CC_SIGN;
    }
};

constexpr CharClasses kClasses;

inline unsigned ClassOf(const char* p) {
    return kClasses.of[static_cast<unsigned char>(*p)];
}

inline bool IsDigit(const char* p) {
    return ClassOf(p) == CC_DIGIT;
}

inline bool IsWordChar(const char* p) {
    unsigned c = ClassOf(p);
    return c == CC_LETTER || c == CC_DIGIT;
}

// The lexer's rule for numbers: up to 15 digits are exact in a double, and
// strtod would give the same; longer ones go through strtod.
bool NumberValue(const char* text, size_t length, double& value) {
    const char* p = text;
    const char* end = text + length;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    if (end - p <= 15) {
        long long n = 0;
        for (; p != end; ++p)
            n = n * 10 + (*p - '0');
        value = static_cast<double>(n);
        if (negative)
            value = -value;
        return true;
    }
    std::string copy(text, length);
    errno = 0;
    value = strtod(copy.c_str(), nullptr);
    // The lexer reports a number too big; the generated grammar reads it.
    return !((value == HUGE_VAL || value == -HUGE_VAL) && errno == ERANGE);
}

bool StartsConstant(int kind) {
    return kind == OXTK_UNSIGNED_NUMBER || kind == OXTK_SIGNED_NUMBER || kind == OXTK_STRING ||
           kind == OXTK_KW_NULL;
}

}  // namespace

OXFastReader::OXFastReader(OXCommandParser& p) : parser(p), nm(&p.GetNodeManager()) {}

void OXFastReader::Next() {
    const char* p = pos;
    while (ClassOf(p) == CC_SPACE)
        ++p;
    const char* end = p + 1;
    int kind;
    unsigned cls = ClassOf(p);
    // Punctuation is half of all tokens: tested first, apart from the rest.
    if (cls == CC_PUNCT) {
        tok.kind = static_cast<unsigned char>(*p);
        tok.start = p;
        tok.length = 1;
        if (longestToken == 0)
            longestToken = 1;
        pos = end;
        return;
    }
    switch (cls) {
        case CC_END:
            kind = OXTK_END_OF_INPUT;
            end = p;
            break;
        case CC_DOT:
            if (p[1] == '.') {
                kind = OXTK_RANGE;
                end = p + 2;
            } else {
                kind = '.';
            }
            break;
        case CC_QUOTE: {
            size_t length = OXCommandLexer::MatchString(p);
            kind = length != 0 ? static_cast<int>(OXTK_STRING) : kInvalid;
            end = p + length;
            break;
        }
        case CC_SIGN:
            if (!IsDigit(p + 1)) {
                kind = kInvalid;
                break;
            }
            ++end;
            while (IsDigit(end))
                ++end;
            kind = OXTK_SIGNED_NUMBER;
            break;
        case CC_DIGIT:
            while (IsDigit(end))
                ++end;
            kind = OXTK_UNSIGNED_NUMBER;
            break;
        case CC_LETTER:
            if (*p == 'L' && p[1] == '"') {
                size_t length = OXCommandLexer::MatchString(p + 1);
                if (length != 0) {
                    kind = OXTK_STRING;
                    end = p + 1 + length;
                    break;
                }
            }
            while (IsWordChar(end))
                ++end;
            kind = OXCommandLexer::KeywordOf(p, static_cast<size_t>(end - p));
            break;
        default:
            kind = kInvalid;
            break;
    }
    size_t length = static_cast<size_t>(end - p);
    if (length > longestToken)
        longestToken = length;
    tok.kind = kind;
    tok.start = p;
    tok.length = length;
    pos = end;
}

bool OXFastReader::Accept(int kind) {
    if (tok.kind != kind)
        return false;
    Next();
    return true;
}

template <class Items, class ReadItem>
bool OXFastReader::MoreItems(Items& list, ReadItem read) {
    while (Accept(',')) {
        auto* item = read();
        if (item == nullptr)
            return false;
        list.Add(item);
    }
    return true;
}

OXExpressionList* OXFastReader::Arguments() {
    if (!Accept('('))
        return nullptr;
    OXExpressionList* list = ExpressionList();
    return list != nullptr && Accept(')') ? list : nullptr;
}

OXParserSymbol* OXFastReader::Symbol() {
    if (tok.kind != OXTK_SYMBOL)
        return nullptr;
    auto* symbol = new OXParserSymbol(nm, std::string(tok.start, tok.length));
    Next();
    return symbol;
}

OXParserNumber* OXFastReader::Number() {
    if (tok.kind != OXTK_UNSIGNED_NUMBER && tok.kind != OXTK_SIGNED_NUMBER)
        return nullptr;
    double value;
    if (!NumberValue(tok.start, tok.length, value)) {
        numberTooBig = true;
        return nullptr;
    }
    auto* number = new OXParserNumber(nm, value);
    Next();
    return number;
}

OXParserNumber* OXFastReader::UnsignedNumber() {
    return tok.kind == OXTK_UNSIGNED_NUMBER ? Number() : nullptr;
}

OXParserString* OXFastReader::String() {
    if (tok.kind != OXTK_STRING)
        return nullptr;
    // The text less its first and last character, as the lexer takes it.
    auto* string = new OXParserString(nm, std::string(tok.start + 1, tok.length - 2));
    Next();
    return string;
}

OXExpression* OXFastReader::Constant() {
    switch (tok.kind) {
        case OXTK_UNSIGNED_NUMBER:
        case OXTK_SIGNED_NUMBER:
            return Number();
        case OXTK_STRING:
            return String();
        case OXTK_KW_NULL:
            Next();
            return new OXReference(nm, new OXParserNumber(nm, 0));
        default:
            return nullptr;
    }
}

OXFastReader::tagOutcome OXFastReader::Read(const char* text) {
    pos = text;
    longestToken = 0;
    depth = 0;
    numberTooBig = false;
    elements.clear();
    Next();

    OXCommand* command = nullptr;
    OXClassDeclaration* newClass = nullptr;
    OXParserNumber* deletedId = nullptr;
    OXExpressionList* values = nullptr;
    switch (tok.kind) {
        case OXTK_KW_CLASS:
            Next();
            command = ClassDefinition();
            break;
        case OXTK_KW_ENUM:
            Next();
            command = EnumDefinition();
            break;
        case OXTK_KW_NEW:
            Next();
            newClass = ClassDeclaration();
            if (newClass == nullptr || (values = Arguments()) == nullptr)
                return FR_DECLINED;
            break;
        case OXTK_KW_UPD:
        case OXTK_KW_DEL: {
            bool deletion = tok.kind == OXTK_KW_DEL;
            Next();
            OXParserNumber* id = Number();
            // The object an update names is walked once the command is read:
            // its parts are asked for while the values are read.
            if (id != nullptr && !deletion)
                parser.GetObjectManager().Prefetch(OXDoubleToLong(id->GetValue()));
            if (id == nullptr || (values = Arguments()) == nullptr)
                return FR_DECLINED;
            if (deletion)
                deletedId = id;
            else
                command = new OXUpdateCommand(nm, id, values);
            break;
        }
        case OXTK_KW_EXE: {
            Next();
            OXParserNumber* executeId = UnsignedNumber();
            if (executeId == nullptr || !Accept('$'))
                return FR_DECLINED;
            OXParserNumber* objectId = Number();
            if (objectId == nullptr || !Accept('.'))
                return FR_DECLINED;
            OXParserNumber* functionId = UnsignedNumber();
            if (functionId == nullptr || (values = Arguments()) == nullptr)
                return FR_DECLINED;
            command = new OXExecutionCommand(nm, executeId, objectId, functionId, values);
            break;
        }
        case OXTK_KW_RES:
        case OXTK_KW_EXC: {
            bool result = tok.kind == OXTK_KW_RES;
            Next();
            OXParserNumber* executeId = UnsignedNumber();
            if (executeId == nullptr || !Accept(':'))
                return FR_DECLINED;
            OXExpression* value = Expression();
            if (value == nullptr)
                return FR_DECLINED;
            if (result)
                command = new OXResultCommand(nm, executeId, value);
            else
                command = new OXExceptionCommand(nm, executeId, value);
            break;
        }
        default:
            return FR_DECLINED;
    }
    if (command == nullptr && newClass == nullptr && deletedId == nullptr)
        return FR_DECLINED;
    // One command, its semicolon and the end of the text: nothing else is
    // taken, and nothing has reached the parser yet.
    if (!Accept(';') || tok.kind != OXTK_END_OF_INPUT || numberTooBig)
        return FR_DECLINED;
    OXCommandLexer& lexer = parser.GetLexer();
    if (!lexer.Reserve(longestToken))
        return FR_DECLINED;

    // The calls of the grammar's actions, in their order.
    if (newClass != nullptr) {
        parser.CmdNew(newClass, values);
        command = new OXNewCommand(nm, newClass, values);
        if (parser.StopRequested())
            return FR_ABORTED;
    } else if (deletedId != nullptr) {
        parser.CmdDel(deletedId, values);
        command = new OXDeletionCommand(nm, deletedId, values);
        if (parser.StopRequested())
            return FR_ABORTED;
    }
    parser.HandleCommand(command);
    if (parser.StopRequested())
        return FR_ABORTED;
    lexer.SetAtEnd(const_cast<char*>(tok.start));
    return FR_ACCEPTED;
}

OXCommand* OXFastReader::ClassDefinition() {
    OXParserSymbol* name = Symbol();
    if (name == nullptr)
        return nullptr;
    OXTemplateArgumentList* arguments;
    if (Accept('<')) {
        if (!Accept(OXTK_KW_CLASS))
            return nullptr;
        OXParserSymbol* argument = Symbol();
        if (argument == nullptr)
            return nullptr;
        arguments = new OXTemplateArgumentList(nm, argument);
        if (!MoreItems(*arguments, [this] { return Accept(OXTK_KW_CLASS) ? Symbol() : nullptr; }) ||
            !Accept('>'))
            return nullptr;
    } else {
        arguments = new OXTemplateArgumentList(nm);
    }
    OXClassDeclaration* base = nullptr;
    if (Accept(':') && (base = ClassDeclaration()) == nullptr)
        return nullptr;
    if (!Accept('{'))
        return nullptr;
    auto* members = new OXMemberDeclarationList(nm);
    while (!Accept('}')) {
        if (!MemberDeclaration(*members) || !Accept(';'))
            return nullptr;
    }
    return new OXClassDefinition(nm, name, arguments, base, members);
}

OXCommand* OXFastReader::EnumDefinition() {
    OXParserSymbol* name = Symbol();
    if (name == nullptr || !Accept('{'))
        return nullptr;
    OXEnumInitializerList* list = nullptr;
    do {
        OXParserString* text = String();
        if (text == nullptr || !Accept('='))
            return nullptr;
        OXParserNumber* value = Number();
        if (value == nullptr || !Accept(','))
            return nullptr;
        auto* initializer = new OXEnumInitializer(nm, text, value);
        if (list == nullptr)
            list = new OXEnumInitializerList(nm, initializer);
        else
            list->Add(initializer);
    } while (!Accept('}'));
    return new OXEnumDefinition(nm, name, list);
}

OXClassDeclaration* OXFastReader::ClassDeclaration() {
    OXParserSymbol* name = Symbol();
    if (name == nullptr)
        return nullptr;
    OXTemplateParameterList* parameters;
    if (Accept('<')) {
        if (++depth > kMaxNesting)
            return nullptr;
        OXClassDeclaration* parameter = ClassDeclaration();
        if (parameter == nullptr)
            return nullptr;
        parameters = new OXTemplateParameterList(nm, parameter);
        if (!MoreItems(*parameters, [this] { return ClassDeclaration(); }) || !Accept('>'))
            return nullptr;
        --depth;
    } else {
        parameters = new OXTemplateParameterList(nm);
    }
    return new OXClassDeclaration(nm, name, parameters);
}

bool OXFastReader::MemberDeclaration(OXMemberDeclarationList& members) {
    if (tok.kind == OXTK_UNSIGNED_NUMBER) {
        OXParserNumber* id = Number();
        if (id == nullptr || !Accept('$'))
            return false;
        OXClassDeclaration* type = ClassDeclaration();
        if (type == nullptr)
            return false;
        OXParserSymbol* name = Symbol();
        if (name == nullptr || !Accept('('))
            return false;
        OXParameterDeclList* parameters;
        if (tok.kind == ')') {
            parameters = new OXParameterDeclList(nm);
        } else {
            auto* parameter = ParameterDeclaration();
            if (parameter == nullptr)
                return false;
            parameters = new OXParameterDeclList(nm, parameter);
            if (!MoreItems(*parameters, [this] { return ParameterDeclaration(); }))
                return false;
        }
        if (!Accept(')'))
            return false;
        OXUnitSpecification* unit = UnitSpecification();
        if (unit == nullptr || (tok.kind != '!' && tok.kind != ';'))
            return false;
        OXAccessRight* right = AccessRightSpecification();
        if (right == nullptr)
            return false;
        members.Add(new OXFunctionDeclaration(nm, id, type, name, parameters, unit, right));
        return true;
    }
    OXMemberModifier* modifier;
    if (Accept(OXTK_KW_CONST))
        modifier = new OXMemberModifier(nm, OXMM_CONST);
    else if (tok.kind == OXTK_SYMBOL)
        modifier = new OXMemberModifier(nm, OXMM_NORMAL);
    else
        return false;
    OXClassDeclaration* type = ClassDeclaration();
    if (type == nullptr)
        return false;
    OXParserSymbol* name = Symbol();
    if (name == nullptr)
        return false;
    OXUnitSpecification* unit = UnitSpecification();
    if (unit == nullptr || (tok.kind != '!' && tok.kind != ';'))
        return false;
    OXAccessRight* right = AccessRightSpecification();
    if (right == nullptr)
        return false;
    members.Add(new OXAttributeDeclaration(nm, modifier, type, name, unit, right));
    return true;
}

OXParameterDeclaration* OXFastReader::ParameterDeclaration() {
    OXClassDeclaration* type = ClassDeclaration();
    if (type == nullptr)
        return nullptr;
    OXParserSymbol* name = Symbol();
    if (name == nullptr)
        return nullptr;
    OXConstraintList* constraints;
    if (Accept('{')) {
        OXConstraintInterval* interval = ConstraintInterval();
        if (interval == nullptr)
            return nullptr;
        constraints = new OXConstraintList(nm, interval);
        if (!MoreItems(*constraints, [this] { return ConstraintInterval(); }) || !Accept('}'))
            return nullptr;
    } else {
        constraints = new OXConstraintList(nm);
    }
    OXValueExpression* defaultValue = nullptr;
    if (Accept('=') && (defaultValue = ValueExpression()) == nullptr)
        return nullptr;
    OXUnitSpecification* unit = UnitSpecification();
    if (unit == nullptr || (tok.kind != '!' && tok.kind != ',' && tok.kind != ')'))
        return nullptr;
    OXAccessRight* right = AccessRightSpecification();
    if (right == nullptr)
        return nullptr;
    return new OXParameterDeclaration(nm, type, name, constraints, defaultValue, unit, right);
}

OXConstraintInterval* OXFastReader::ConstraintInterval() {
    if (Accept(OXTK_RANGE)) {
        OXValueExpression* high = ValueExpression();
        return high != nullptr ? new OXConstraintInterval(nm, nullptr, high) : nullptr;
    }
    OXValueExpression* low = ValueExpression();
    if (low == nullptr)
        return nullptr;
    if (!Accept(OXTK_RANGE))
        return new OXConstraintInterval(nm, low, low);
    if (tok.kind != OXTK_SYMBOL && !StartsConstant(tok.kind))
        return new OXConstraintInterval(nm, low, nullptr);
    OXValueExpression* high = ValueExpression();
    return high != nullptr ? new OXConstraintInterval(nm, low, high) : nullptr;
}

OXValueExpression* OXFastReader::ValueExpression() {
    if (tok.kind == OXTK_SYMBOL)
        return new OXValueExpressionSymbol(nm, Symbol());
    OXExpression* constant = Constant();
    return constant != nullptr ? new OXValueExpressionConstant(nm, constant) : nullptr;
}

OXUnitSpecification* OXFastReader::UnitSpecification() {
    if (!Accept(':'))
        return new OXUnitSpecification(nm, nullptr, nullptr, nullptr);
    OXUnitId* id;
    if (tok.kind == OXTK_STRING)
        id = new OXUnitIdConstant(nm, String());
    else if (tok.kind == OXTK_SYMBOL)
        id = new OXUnitIdSymbol(nm, Symbol());
    else
        return nullptr;
    OXUnitFactor* mul;
    if (!Accept('*'))
        mul = new OXUnitFactorConstant(nm, nullptr);
    else if ((mul = UnitFactor()) == nullptr)
        return nullptr;
    OXUnitFactor* div;
    if (!Accept('/'))
        div = new OXUnitFactorConstant(nm, nullptr);
    else if ((div = UnitFactor()) == nullptr)
        return nullptr;
    return new OXUnitSpecification(nm, id, mul, div);
}

OXUnitFactor* OXFastReader::UnitFactor() {
    if (tok.kind == OXTK_SYMBOL)
        return new OXUnitFactorSymbol(nm, Symbol());
    OXParserNumber* factor = UnsignedNumber();
    return factor != nullptr ? new OXUnitFactorConstant(nm, factor) : nullptr;
}

// Called with the token after the access right's place already checked to
// be one that may follow it, so that an access right of the class table is
// looked up only where the grammar looks it up too.
OXAccessRight* OXFastReader::AccessRightSpecification() {
    OXClassManager& classes = parser.GetClassManager();
    if (!Accept('!'))
        return new OXAccessRightEnum(nm, classes, "AR_USER");
    const char* name;
    switch (tok.kind) {
        case OXTK_UNSIGNED_NUMBER: {
            OXParserNumber* right = Number();
            return right != nullptr ? new OXAccessRightConstant(nm, right) : nullptr;
        }
        case OXTK_SYMBOL:
            return new OXAccessRightSymbol(nm, Symbol());
        case OXTK_KW_AR_USER:
            name = "AR_USER";
            break;
        case OXTK_KW_AR_ADMIN:
            name = "AR_ADMIN";
            break;
        case OXTK_KW_AR_SERVICE:
            name = "AR_SERVICE";
            break;
        case OXTK_KW_AR_RAD:
            name = "AR_RAD";
            break;
        case OXTK_KW_AR_NON:
            name = "AR_NON";
            break;
        default:
            return nullptr;
    }
    Next();
    return new OXAccessRightEnum(nm, classes, name);
}

OXExpressionList* OXFastReader::ExpressionList() {
    if (tok.kind == ')')
        return new OXExpressionList(nm);
    if (++depth > kMaxNesting)
        return nullptr;
    // The elements wait on the shared stack, so that the list's vector is
    // made once at its size.
    size_t base = elements.size();
    do {
        OXExpression* expression = Expression();
        if (expression == nullptr)
            return nullptr;
        elements.push_back(expression);
    } while (Accept(','));
    auto* list = new OXExpressionList(nm);
    list->Reserve(elements.size() - base);
    for (size_t i = base; i < elements.size(); ++i)
        list->Add(elements[i]);
    elements.resize(base);
    --depth;
    return list;
}

OXExpression* OXFastReader::Expression() {
    switch (tok.kind) {
        case '@': {
            Next();
            OXParserNumber* id = Number();
            return id != nullptr ? new OXReference(nm, id) : nullptr;
        }
        case '(':
            return Arguments();
        case OXTK_SYMBOL: {
            OXClassDeclaration* type = ClassDeclaration();
            OXExpressionList* list = type != nullptr ? Arguments() : nullptr;
            if (list == nullptr)
                return nullptr;
            list->SetClassDecl(type);
            return list;
        }
        default:
            return Constant();
    }
}
