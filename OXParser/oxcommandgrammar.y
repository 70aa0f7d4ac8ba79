%{
// Grammar of the machine link's command language. Each rule builds the parse
// node of its left side; every node is registered with the parser's node
// manager, which destroys them all when the parse fails.
#include "oxcommandgrammar.h"

#include "oxcommandlexer.h"
#include "oxcommandnodes.h"
#include "oxcommandparser.h"
#include "oxdeclaration.h"
#include "oxdefinition.h"
#include "oxexpression.h"

// The parse stack starts with 100 entries and doubles up to its bound (see
// OXCommandGrammarDefaultMaxDepth), which limits the nesting that one text
// can bring to the recursive stages after the parse.
#define YYINITSTACKSIZE 100
#define YYMAXDEPTH OXCommandGrammarDefaultMaxDepth

#define NM (&parser->GetNodeManager())
// A grammar action that reported through yyerror ends the parse with failure.
#define OX_STOP_IF_ASKED()                         \
    do {                                           \
        if (parser->StopRequested()) YYABORT;      \
    } while (0)
%}

%pure-parser
%parse-param { OXCommandParser* parser }
%lex-param { OXCommandParser* parser }

%union {
    OXParserNode* node;
    OXParserString* string;
    OXParserNumber* number;
    OXParserSymbol* symbol;
    OXCommand* command;
    OXExpression* expression;
    OXExpressionList* expressionList;
    OXEnumInitializer* enumInitializer;
    OXEnumInitializerList* enumInitializerList;
    OXClassDeclaration* classDecl;
    OXTemplateArgumentList* templateArguments;
    OXTemplateParameterList* templateParameters;
    OXMemberDeclarationList* memberDeclarations;
    OXAttributeDeclaration* attributeDecl;
    OXFunctionDeclaration* functionDecl;
    OXParameterDeclList* parameterDecls;
    OXParameterDeclaration* parameterDecl;
    OXConstraintList* constraintList;
    OXConstraintInterval* constraintInterval;
    OXValueExpression* valueExpression;
    OXMemberModifier* memberModifier;
    OXUnitSpecification* unitSpecification;
    OXUnitFactor* unitFactor;
    OXUnitId* unitId;
    OXAccessRight* accessRight;
}

%{
static int yylex(YYSTYPE* lval, OXCommandParser* parser);
static void yyerror(OXCommandParser* parser, const char* message);
%}

%token <string> STRING 257
%token <number> UNSIGNED_NUMBER 258
%token <number> SIGNED_NUMBER 259
%token <symbol> SYMBOL 260
%token KW_CLASS 261
%token KW_ENUM 262
%token KW_NEW 263
%token KW_UPD 264
%token KW_DEL 265
%token KW_EXE 266
%token KW_RES 267
%token KW_EXC 268
%token KW_CONST 269
%token KW_NULL 270
%token RANGE 271
%token KW_AR_USER 272
%token KW_AR_ADMIN 273
%token KW_AR_SERVICE 274
%token KW_AR_RAD 275
%token KW_AR_NON 276
%token END_CHARACTER 277

%type <command> singleCommand classDefinition enumDefinition newCommand updateCommand
%type <command> deletionCommand executionCommand resultCommand exceptionCommand
%type <enumInitializerList> enumInitializerList
%type <enumInitializer> enumInitializer
%type <symbol> className attributeName functionName parameterName
%type <classDecl> baseClass classDeclaration
%type <templateArguments> templateArgumentList templateArguments
%type <templateParameters> templateParameterList templateParameters
%type <memberDeclarations> memberDeclarationList
%type <node> memberDeclaration
%type <attributeDecl> attributeDeclaration
%type <functionDecl> functionDeclaration
%type <parameterDecls> parameterDeclList parameterDecls
%type <parameterDecl> parameterDeclaration
%type <constraintList> constraintSpecification constraintList
%type <constraintInterval> constraintInterval
%type <valueExpression> defaultValue valueExpression
%type <memberModifier> memberModifier
%type <unitSpecification> unitSpecification unitSpec
%type <unitFactor> unitMultiplier unitDivisor unitFactor
%type <unitId> unitId
%type <accessRight> accessRightSpecification accessRight
%type <expressionList> expressionList expressions
%type <expression> expression reference constant
%type <number> functionId executeId objectId

%start command

%%

command
    : singleCommand ';'
        { parser->HandleCommand($1); OX_STOP_IF_ASKED(); }
    | singleCommand error
        { parser->yyerror("simicolon is missing"); OX_STOP_IF_ASKED(); }
    | error ';'
        { parser->yyerror("syntaks error in command:"); OX_STOP_IF_ASKED(); }
    | error END_CHARACTER
        { parser->yyerror("syntaks error in singleCommand:"); OX_STOP_IF_ASKED(); }
    ;

singleCommand
    : classDefinition   { $$ = $1; }
    | enumDefinition    { $$ = $1; }
    | newCommand        { $$ = $1; }
    | updateCommand     { $$ = $1; }
    | deletionCommand   { $$ = $1; }
    | executionCommand  { $$ = $1; }
    | resultCommand     { $$ = $1; }
    | exceptionCommand  { $$ = $1; }
    ;

classDefinition
    : KW_CLASS className templateArgumentList baseClass '{' memberDeclarationList '}'
        { $$ = new OXClassDefinition(NM, $2, $3, $4, $6); }
    ;

enumDefinition
    : KW_ENUM className '{' enumInitializerList '}'
        { $$ = new OXEnumDefinition(NM, $2, $4); }
    ;

newCommand
    : KW_NEW classDeclaration '(' expressionList ')'
        {
            parser->CmdNew($2, $4);
            $$ = new OXNewCommand(NM, $2, $4);
            OX_STOP_IF_ASKED();
        }
    ;

updateCommand
    : KW_UPD objectId '(' expressionList ')'
        { $$ = new OXUpdateCommand(NM, $2, $4); }
    ;

deletionCommand
    : KW_DEL objectId '(' expressionList ')'
        {
            parser->CmdDel($2, $4);
            $$ = new OXDeletionCommand(NM, $2, $4);
            OX_STOP_IF_ASKED();
        }
    ;

executionCommand
    : KW_EXE executeId '$' objectId '.' functionId '(' expressionList ')'
        { $$ = new OXExecutionCommand(NM, $2, $4, $6, $8); }
    ;

resultCommand
    : KW_RES executeId ':' expression
        { $$ = new OXResultCommand(NM, $2, $4); }
    ;

exceptionCommand
    : KW_EXC executeId ':' expression
        { $$ = new OXExceptionCommand(NM, $2, $4); }
    ;

enumInitializerList
    : enumInitializerList enumInitializer ','
        { $1->Add($2); $$ = $1; }
    | enumInitializer ','
        { $$ = new OXEnumInitializerList(NM, $1); }
    ;

enumInitializer
    : STRING '=' UNSIGNED_NUMBER
        { $$ = new OXEnumInitializer(NM, $1, $3); }
    | STRING '=' SIGNED_NUMBER
        { $$ = new OXEnumInitializer(NM, $1, $3); }
    ;

className
    : SYMBOL  { $$ = $1; }
    ;

baseClass
    : ':' classDeclaration  { $$ = $2; }
    | /* empty */           { $$ = nullptr; }
    ;

templateArgumentList
    : '<' templateArguments '>'  { $$ = $2; }
    | /* empty */                { $$ = new OXTemplateArgumentList(NM); }
    ;

templateArguments
    : templateArguments ',' KW_CLASS SYMBOL  { $1->Add($4); $$ = $1; }
    | KW_CLASS SYMBOL                        { $$ = new OXTemplateArgumentList(NM, $2); }
    ;

templateParameterList
    : '<' templateParameters '>'  { $$ = $2; }
    | /* empty */                 { $$ = new OXTemplateParameterList(NM); }
    ;

templateParameters
    : templateParameters ',' classDeclaration  { $1->Add($3); $$ = $1; }
    | classDeclaration                         { $$ = new OXTemplateParameterList(NM, $1); }
    ;

classDeclaration
    : className templateParameterList  { $$ = new OXClassDeclaration(NM, $1, $2); }
    ;

memberDeclarationList
    : memberDeclarationList memberDeclaration ';'  { $1->Add($2); $$ = $1; }
    | /* empty */                                  { $$ = new OXMemberDeclarationList(NM); }
    ;

memberDeclaration
    : functionDeclaration   { $$ = $1; }
    | attributeDeclaration  { $$ = $1; }
    ;

attributeDeclaration
    : memberModifier classDeclaration attributeName unitSpecification accessRightSpecification
        { $$ = new OXAttributeDeclaration(NM, $1, $2, $3, $4, $5); }
    ;

functionDeclaration
    : functionId '$' classDeclaration functionName '(' parameterDeclList ')' unitSpecification accessRightSpecification
        { $$ = new OXFunctionDeclaration(NM, $1, $3, $4, $6, $8, $9); }
    ;

parameterDeclList
    : parameterDecls  { $$ = $1; }
    | /* empty */     { $$ = new OXParameterDeclList(NM); }
    ;

parameterDecls
    : parameterDecls ',' parameterDeclaration  { $1->Add($3); $$ = $1; }
    | parameterDeclaration                     { $$ = new OXParameterDeclList(NM, $1); }
    ;

parameterDeclaration
    : classDeclaration parameterName constraintSpecification defaultValue unitSpecification accessRightSpecification
        { $$ = new OXParameterDeclaration(NM, $1, $2, $3, $4, $5, $6); }
    ;

constraintSpecification
    : '{' constraintList '}'  { $$ = $2; }
    | /* empty */             { $$ = new OXConstraintList(NM); }
    ;

constraintList
    : constraintList ',' constraintInterval  { $1->Add($3); $$ = $1; }
    | constraintInterval                     { $$ = new OXConstraintList(NM, $1); }
    ;

constraintInterval
    : valueExpression RANGE                  { $$ = new OXConstraintInterval(NM, $1, nullptr); }
    | valueExpression RANGE valueExpression  { $$ = new OXConstraintInterval(NM, $1, $3); }
    | RANGE valueExpression                  { $$ = new OXConstraintInterval(NM, nullptr, $2); }
    | valueExpression                        { $$ = new OXConstraintInterval(NM, $1, $1); }
    ;

defaultValue
    : '=' valueExpression  { $$ = $2; }
    | /* empty */          { $$ = nullptr; }
    ;

memberModifier
    : KW_CONST     { $$ = new OXMemberModifier(NM, OXMM_CONST); }
    | /* empty */  { $$ = new OXMemberModifier(NM, OXMM_NORMAL); }
    ;

unitSpecification
    : ':' unitSpec  { $$ = $2; }
    | /* empty */   { $$ = new OXUnitSpecification(NM, nullptr, nullptr, nullptr); }
    ;

unitSpec
    : unitId unitMultiplier unitDivisor  { $$ = new OXUnitSpecification(NM, $1, $2, $3); }
    ;

unitMultiplier
    : '*' unitFactor  { $$ = $2; }
    | /* empty */     { $$ = new OXUnitFactorConstant(NM, nullptr); }
    ;

unitDivisor
    : '/' unitFactor  { $$ = $2; }
    | /* empty */     { $$ = new OXUnitFactorConstant(NM, nullptr); }
    ;

accessRightSpecification
    : '!' accessRight  { $$ = $2; }
    | /* empty */      { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_USER"); }
    ;

valueExpression
    : constant       { $$ = new OXValueExpressionConstant(NM, $1); }
    | attributeName  { $$ = new OXValueExpressionSymbol(NM, $1); }
    ;

expressionList
    : expressions  { $$ = $1; }
    | /* empty */  { $$ = new OXExpressionList(NM); }
    ;

expressions
    : expressions ',' expression  { $1->Add($3); $$ = $1; }
    | expression                  { $$ = new OXExpressionList(NM, $1, nullptr); }
    ;

expression
    : constant                                  { $$ = $1; }
    | reference                                 { $$ = $1; }
    | classDeclaration '(' expressionList ')'   { $3->SetClassDecl($1); $$ = $3; }
    | '(' expressionList ')'                    { $$ = $2; }
    ;

reference
    : '@' objectId  { $$ = new OXReference(NM, $2); }
    ;

attributeName
    : SYMBOL  { $$ = $1; }
    ;

functionName
    : SYMBOL  { $$ = $1; }
    ;

parameterName
    : SYMBOL  { $$ = $1; }
    ;

functionId
    : UNSIGNED_NUMBER  { $$ = $1; }
    ;

executeId
    : UNSIGNED_NUMBER  { $$ = $1; }
    ;

objectId
    : UNSIGNED_NUMBER  { $$ = $1; }
    | SIGNED_NUMBER    { $$ = $1; }
    ;

unitFactor
    : UNSIGNED_NUMBER  { $$ = new OXUnitFactorConstant(NM, $1); }
    | SYMBOL           { $$ = new OXUnitFactorSymbol(NM, $1); }
    ;

unitId
    : STRING  { $$ = new OXUnitIdConstant(NM, $1); }
    | SYMBOL  { $$ = new OXUnitIdSymbol(NM, $1); }
    ;

accessRight
    : UNSIGNED_NUMBER  { $$ = new OXAccessRightConstant(NM, $1); }
    | SYMBOL           { $$ = new OXAccessRightSymbol(NM, $1); }
    | KW_AR_USER       { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_USER"); }
    | KW_AR_ADMIN      { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_ADMIN"); }
    | KW_AR_SERVICE    { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_SERVICE"); }
    | KW_AR_RAD        { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_RAD"); }
    | KW_AR_NON        { $$ = new OXAccessRightEnum(NM, parser->GetClassManager(), "AR_NON"); }
    ;

constant
    : UNSIGNED_NUMBER  { $$ = $1; }
    | SIGNED_NUMBER    { $$ = $1; }
    | STRING           { $$ = $1; }
    | KW_NULL          { $$ = new OXReference(NM, new OXParserNumber(NM, 0)); }
    ;

%%

static_assert(STRING == OXTK_STRING && UNSIGNED_NUMBER == OXTK_UNSIGNED_NUMBER &&
                  SIGNED_NUMBER == OXTK_SIGNED_NUMBER && SYMBOL == OXTK_SYMBOL &&
                  KW_CLASS == OXTK_KW_CLASS && KW_NULL == OXTK_KW_NULL &&
                  RANGE == OXTK_RANGE && KW_AR_NON == OXTK_KW_AR_NON &&
                  END_CHARACTER == OXTK_END_CHARACTER,
              "token codes of grammar and lexer agree");

static int yylex(YYSTYPE* lval, OXCommandParser* parser) {
    OXParserNode* value = nullptr;
    int token = parser->GetLexer().Lex(value);
    switch (token) {
        case STRING:
            lval->string = static_cast<OXParserString*>(value);
            break;
        case UNSIGNED_NUMBER:
        case SIGNED_NUMBER:
            lval->number = static_cast<OXParserNumber*>(value);
            break;
        case SYMBOL:
            lval->symbol = static_cast<OXParserSymbol*>(value);
            break;
        default:
            lval->node = nullptr;
            break;
    }
    return token;
}

// The parser's own messages ("syntax error", "yacc stack overflow"). A syntax
// error alone does not stop the parse: recovery may still reach one of the
// error rules, whose message then replaces it.
static void yyerror(OXCommandParser* parser, const char* message) {
    parser->yyerror(message);
    parser->ClearStopRequest();
}

int OXCommandGrammarParse(OXCommandParser& parser) { return yyparse(&parser) == 0 ? 0 : 1; }

