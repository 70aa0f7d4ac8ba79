// Text for XML attribute values and element content. Every writer of an XML
// message passes the texts that come from outside (the machine's names and
// units, language files, user ids, file contents, error texts) through it,
// so a markup character in them cannot break a client's stream. Text without
// markup characters keeps its bytes.
#pragma once

#include <string>

// "&", "<", ">" and '"' as "&amp;", "&lt;", "&gt;" and "&quot;".
std::string XmlEscape(const std::string& text);
