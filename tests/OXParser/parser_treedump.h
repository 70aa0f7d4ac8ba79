// Test helper: renders a parse tree as a compact text, so that tests can
// compare node types and values of a whole tree at once.
#pragma once

#include <string>

class OXParserNode;

// "-" for a null node; see parser_treedump.cpp for the notation.
std::string DumpTree(const OXParserNode* node);
