#include "xmltext.h"

std::string XmlEscape(const std::string& text) {
    size_t at = text.find_first_of("&<>\"");
    if (at == std::string::npos)
        return text;
    std::string escaped(text, 0, at);
    escaped.reserve(text.size() + 16);
    for (; at < text.size(); ++at) {
        switch (text[at]) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += text[at];
        }
    }
    return escaped;
}
