// Entry of the generated grammar of the command language.
#pragma once

class OXCommandParser;

// Runs the grammar over the parser's input: 0 when one command was
// recognised, 1 on failure (message through OXCommandParser::yyerror).
int OXCommandGrammarParse(OXCommandParser& parser);

// Bound of the parse stack in entries. Every later stage that walks a tree
// (cloning and destroying declarations, template substitution, creation of
// values) recurses once per level of nesting, and a level costs the grammar
// at least one entry (two for a class declaration "list<"). The bound keeps
// that recursion far inside the process stack: 10000 entries are at most
// 5000 levels of class declarations, about 2 MB of stack in a Debug build
// with AddressSanitizer, against the 8 MB of the main thread. The machine's
// own commands stay below 100 entries. Past the bound the parse fails with
// "yacc stack overflow".
const unsigned OXCommandGrammarDefaultMaxDepth = 10000;
