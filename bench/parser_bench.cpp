// Parsing speed of the command language: tokens and tree, no store. The text
// is 10,000 mixed commands (class definitions, new with nested lists, upd),
// each parsed as the machine link hands it over, one command per ParseTree.
// The same with the generated grammar alone, which reads every text that is
// not a complete, valid command.
#include "oxcommandparser.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<std::string> MakeCommands(int count) {
    std::vector<std::string> commands;
    commands.reserve(static_cast<size_t>(count));
    char text[1024];
    for (int i = 0; i < count; ++i) {
        switch (i % 4) {
            case 0:
                snprintf(text, sizeof text,
                         "class Motor%d<class T> : Device { const number Speed : \"rpm\" * 1 / 10 "
                         "! AR_ADMIN; T Value : Unit * UnitMul / UnitDiv ! Access; "
                         "string Name; list<number> Points; 100 $ void Start(number Dir {0..1, "
                         "5..} = 0, string Mode = \"auto\") : \"s\" ! AR_SERVICE; };",
                         i);
                break;
            case 1:
                snprintf(text, sizeof text,
                         "new Motor%d<number>(%d, \"Motor %d\", 1500, list<number>(1, 2, 3, -4), "
                         "Pos(10, 20, (1, 2), Pair<number, string>(7, \"x\")), @%d, null);",
                         i - 1, 1000 + i, i, i % 97);
                break;
            case 2:
                snprintf(text, sizeof text, "upd %d (%d, \"state %d\", (1, (2, (3, 4))), @0);",
                         1000 + i, i * 7, i);
                break;
            default:
                snprintf(text, sizeof text, "upd %d (%d);", 1000 + i, i);
                break;
        }
        commands.emplace_back(text);
    }
    return commands;
}

// The valid commands go through the hand-written reader; with fast false,
// through the generated grammar, which reads every other text.
void ParseMixedCommands(benchmark::State& state, bool fast) {
    std::vector<std::string> commands = MakeCommands(10000);
    size_t bytes = 0;
    for (const std::string& command : commands)
        bytes += command.size();
    OXCommandParser parser;
    parser.Create(nullptr);
    parser.UseFastReader(fast);
    std::vector<std::vector<char>> texts;
    for (const std::string& command : commands) {
        texts.emplace_back(command.begin(), command.end());
        texts.back().push_back('\0');
    }
    for (auto _ : state) {
        size_t trees = 0;
        size_t fastReads = 0;
        for (std::vector<char>& text : texts) {
            // The grammar half only: tokens and tree, no store. The text is
            // read in place and not changed.
            if (parser.ParseTree(text.data()) != 0)
                state.SkipWithError(parser.GetErrorStr());
            if (parser.GetCommand() != nullptr)
                ++trees;
            if (parser.ReadFast())
                ++fastReads;
            parser.DropCommand();
        }
        if (trees != texts.size()) {
            state.SkipWithError("not every command gave a tree");
            break;
        }
        if (fastReads != (fast ? texts.size() : 0)) {
            state.SkipWithError("the commands did not take the reader under test");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
    state.counters["commands"] = static_cast<double>(commands.size());
}
void BM_ParseMixedCommands(benchmark::State& state) {
    ParseMixedCommands(state, true);
}
BENCHMARK(BM_ParseMixedCommands)->Unit(benchmark::kMillisecond);

void BM_GrammarOnlyMixedCommands(benchmark::State& state) {
    ParseMixedCommands(state, false);
}
BENCHMARK(BM_GrammarOnlyMixedCommands)->Unit(benchmark::kMillisecond);

}  // namespace
