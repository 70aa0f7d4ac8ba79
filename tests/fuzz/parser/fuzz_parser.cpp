// Fuzz target: arbitrary bytes, as a zero-terminated text, through one parser
// of the command language and into its store. The store starts from a fixed
// prelude of definitions and objects, so that fuzzed commands reach the
// execution of new, upd, del, res and exc. Every input must end in success
// or a clean failure, with every node released and the command consumed.
// Each input is first read both by the hand-written reader and by the
// generated grammar alone: result, message and tree must be the same.
#include "../../OXParser/treedump.h"
#include "oxcommandparser.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char* const kPrelude[] = {
    "enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, \"AR_RAD\"=3, "
    "\"AR_NON\"=4, };",
    "class Object { const number Id; };",
    "class Exception { number Code; string Text; };",
    "enum OnOff { \"Off\"=0, \"On\"=1, };",
    "class Item : Object { string Name; number Value : \"mm\" * 1 / 10; OnOff State; "
    "list<number> Samples; };",
    "class Holder : Object { Item Child; list<Item> Items; };",
    "class Box<class T> : Object { T V; };",
    "class Counter : Object { number ObjectCount; };",
    "new Item(10, \"a\", 5, 1, (1, 2, 3));",
    "new Holder(20, Item(21, \"b\", 1, 0, ()), (Item(22, \"c\", 2, 1, (4)), null));",
    "new Box<string>(30, \"x\");",
};

void Prelude(OXCommandParser& parser) {
    for (const char* command : kPrelude) {
        std::vector<char> text(command, command + strlen(command) + 1);
        parser.Parse(text.data());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static OXCommandParser* parser = [] {
        auto* p = new OXCommandParser;
        p->Create(nullptr);
        Prelude(*p);
        return p;
    }();
    // Keep the store small and the runs comparable.
    if (parser->GetObjectManager().GetObjectCount() > 200) {
        parser->Reset();
        Prelude(*parser);
    }
    const char* bytes = reinterpret_cast<const char*>(data);
    if (treedump::ParseWith(*parser, true, bytes, size) !=
        treedump::ParseWith(*parser, false, bytes, size))
        __builtin_trap();
    std::vector<char> text(size + 1);
    if (size != 0)
        memcpy(text.data(), data, size);
    text[size] = '\0';
    int result = parser->Parse(text.data());
    // The command is consumed by the cycle; a failure has a message.
    if (parser->GetCommand() != nullptr)
        __builtin_trap();
    if (result != 0 && parser->GetErrorStr()[0] == '\0')
        __builtin_trap();
    if (parser->GetNodeManager().GetNodeCount() != 0)
        __builtin_trap();
    return 0;
}
