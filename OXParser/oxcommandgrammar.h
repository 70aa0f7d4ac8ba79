// Entry of the generated grammar of the command language.
#pragma once

class OXCommandParser;

// Runs the grammar over the parser's input: 0 when one command was
// recognised, 1 on failure (message through OXCommandParser::yyerror).
int OXCommandGrammarParse(OXCommandParser& parser);

// Bound of the parse stack in entries. The default stands for "as long as
// memory lasts"; a smaller bound limits what one text may cost. Past it the
// parse fails with "yacc stack overflow". Set once, before parsing.
const unsigned OXCommandGrammarDefaultMaxDepth = 0x10000000;
void OXCommandGrammarSetMaxDepth(unsigned depth);
