// Fuzz target: arbitrary bytes, as a zero-terminated text, through one parser
// of the command language. Every input must end in success or a clean failure
// with every node released.
#include "oxcommandparser.h"

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static OXCommandParser* parser = [] {
        auto* p = new OXCommandParser;
        p->Create(nullptr);
        return p;
    }();
    std::vector<char> text(size + 1);
    if (size != 0)
        memcpy(text.data(), data, size);
    text[size] = '\0';
    int result = parser->Parse(text.data());
    // A success has a command; a failure has a message and no command.
    if (result == 0 && parser->GetCommand() == nullptr)
        __builtin_trap();
    if (result != 0 && (parser->GetCommand() != nullptr || parser->GetErrorStr()[0] == '\0')) {
        __builtin_trap();
    }
    if (parser->GetNodeManager().GetNodeCount() != 0)
        __builtin_trap();
    return 0;
}
