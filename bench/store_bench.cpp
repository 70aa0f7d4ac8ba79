// The store under a machine-sized world: 20 classes of 5 to 15 attributes
// (numbers with units, strings, enums, references, nested lists), a full
// transfer of 10,000 objects through Parse, then 100,000 positional updates
// as the controller sends them while the machine runs. Reports commands per
// second for both phases and heap bytes per stored object.
#include "oxcommand.h"
#include "oxcommandparser.h"
#include "oxstorepool.h"
#include "worldgen.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<std::vector<char>> Buffers(const std::vector<std::string>& texts) {
    std::vector<std::vector<char>> buffers;
    buffers.reserve(texts.size());
    for (const std::string& text : texts) {
        buffers.emplace_back(text.begin(), text.end());
        buffers.back().push_back('\0');
    }
    return buffers;
}

std::vector<std::vector<char>> Transfer() {
    return Buffers(TransferTexts());
}

std::vector<std::vector<char>> Updates() {
    std::vector<std::string> texts;
    texts.reserve(kUpdates);
    for (long u = 0; u < kUpdates; ++u) {
        long i = (u * 7919) % kObjects;  // spread over the table
        long id = kFirstId + i;
        int c = static_cast<int>(i % kClasses);
        // The constant Id takes no value: the update starts with A0.
        texts.push_back("upd " + std::to_string(id) + " (" +
                        Values(c, id, static_cast<int>(u % 50)).substr(2) + ");");
    }
    return Buffers(texts);
}

// False, with the benchmark marked failed, at the first text that fails.
bool Run(OXCommandParser& parser, std::vector<std::vector<char>>& texts, benchmark::State& state) {
    for (std::vector<char>& text : texts) {
        if (parser.Parse(text.data()) != 0) {
            fprintf(stderr, "%s: %.200s\n", parser.GetErrorStr(), text.data());
            state.SkipWithError(parser.GetErrorStr());
            return false;
        }
    }
    return true;
}

void BM_FullTransfer(benchmark::State& state) {
    std::vector<std::vector<char>> texts = Transfer();
    double bytesPerObject = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto* parser = new OXCommandParser;
        parser->Create(nullptr);
        // The store's pool keeps its memory apart from the heap, and reuses
        // the blocks the last round freed: both counted as they are used.
        size_t before = mallinfo2().uordblks + OXStoreUsedBytes();
        state.ResumeTiming();
        if (!Run(*parser, texts, state)) {
            delete parser;
            break;
        }
        state.PauseTiming();
        if (parser->GetObjectManager().InSync() != 1)
            state.SkipWithError("transfer incomplete");
        bytesPerObject = static_cast<double>(mallinfo2().uordblks + OXStoreUsedBytes() - before) /
                         (kObjects + 1);
        delete parser;
        state.ResumeTiming();
    }
    state.counters["commands/s"] = benchmark::Counter(
        static_cast<double>(texts.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
    state.counters["heap_bytes/object"] = bytesPerObject;
}
BENCHMARK(BM_FullTransfer)->Unit(benchmark::kMillisecond);

// Whether update u of Updates() is what the store holds: the string
// attribute of its object holds u's round.
bool Reached(OXCommandParser& parser, long u) {
    long i = (u * 7919) % kObjects;
    int c = static_cast<int>(i % kClasses);
    OXObject* object = parser.GetObjectManager().Lookup(kFirstId + i);
    for (int a = 0; a < AttributeCount(c) && object != nullptr; ++a) {
        if (Kind(c, a) != 1)
            continue;
        std::string expected = "Device " + std::to_string(kFirstId + i) + " state " +
                               std::to_string(static_cast<int>(u % 50));
        return object->GetString("A" + std::to_string(a)) == expected;
    }
    return false;
}

void BM_Updates(benchmark::State& state) {
    std::vector<std::vector<char>> world = Transfer();
    std::vector<std::vector<char>> updates = Updates();
    OXCommandParser parser;
    parser.Create(nullptr);
    if (!Run(parser, world, state))
        return;
    for (auto _ : state) {
        if (!Run(parser, updates, state))
            break;
    }
    // The last update's text must be in its object: the string attribute of
    // the last object updated holds that round.
    if (!Reached(parser, kUpdates - 1))
        state.SkipWithError("the updates did not reach the store");
    state.counters["commands/s"] = benchmark::Counter(
        static_cast<double>(updates.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Updates)->Unit(benchmark::kMillisecond);

// The store's half of the same updates: the first 10,000 (one per object)
// are parsed once, outside the timing, and each tree is executed ten times,
// so that 100,000 updates are applied as in BM_Updates without the grammar.
void BM_UpdatesApply(benchmark::State& state) {
    std::vector<std::vector<char>> world = Transfer();
    std::vector<std::vector<char>> updates = Updates();
    updates.resize(kObjects);
    OXCommandParser parser;
    parser.Create(nullptr);
    if (!Run(parser, world, state))
        return;
    std::vector<OXCommand*> trees;
    trees.reserve(updates.size());
    for (std::vector<char>& text : updates) {
        if (parser.ParseTree(text.data()) != 0 || parser.GetCommand() == nullptr) {
            state.SkipWithError(parser.GetErrorStr());
            break;
        }
        trees.push_back(parser.GetCommand());
        parser.HandleCommand(nullptr);
    }
    constexpr int kRounds = kUpdates / kObjects;
    bool failed = trees.size() != updates.size();
    for (auto _ : state) {
        if (failed)
            break;
        for (int round = 0; round < kRounds && !failed; ++round) {
            for (OXCommand* tree : trees)
                failed =
                    failed || tree->Execute(parser.GetClassManager(), parser.GetObjectManager(),
                                            parser.GetExecuteManager()) != OXCommand::ER_OK;
        }
        if (failed)
            state.SkipWithError("an update failed");
    }
    for (OXCommand* tree : trees)
        delete tree;
    if (!Reached(parser, kObjects - 1))
        state.SkipWithError("the updates did not reach the store");
    state.counters["commands/s"] =
        benchmark::Counter(static_cast<double>(kRounds) * static_cast<double>(kObjects) *
                               static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(BM_UpdatesApply)->Unit(benchmark::kMillisecond);

}  // namespace
