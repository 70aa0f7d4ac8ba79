// The store under a machine-sized world: 20 classes of 5 to 15 attributes
// (numbers with units, strings, enums, references, nested lists), a full
// transfer of 10,000 objects through Parse, then 100,000 positional updates
// as the controller sends them while the machine runs. Reports commands per
// second for both phases and heap bytes per stored object.
#include "oxcommandparser.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kClasses = 20;
constexpr int kObjects = 10000;
constexpr int kUpdates = 100000;
constexpr long kFirstId = 1000;

int AttributeCount(int cls) {
    return 5 + cls % 11;
}  // 5 .. 15

// The shape of attribute a of class c: 0 number with unit, 1 string, 2 enum,
// 3 reference, 4 list of numbers, 5 list of nested points.
int Kind(int cls, int a) {
    return (cls + a) % 6;
}

std::vector<std::string> World() {
    std::vector<std::string> texts = {
        "enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, \"AR_RAD\"=3, "
        "\"AR_NON\"=4, };",
        "enum OnOff { \"Off\"=0, \"On\"=1, };",
        "class Object { const number Id; };",
        "class Point { number X; number Y; };",
        "class Root : Object { number ObjectCount; };",
    };
    for (int c = 0; c < kClasses; ++c) {
        std::string text = "class Device" + std::to_string(c) + " : Object { ";
        for (int a = 0; a < AttributeCount(c); ++a) {
            std::string name = " A" + std::to_string(a);
            switch (Kind(c, a)) {
                case 0:
                    text += "number" + name + " : \"mm\" * 1 / 10 ! AR_SERVICE; ";
                    break;
                case 1:
                    text += "string" + name + "; ";
                    break;
                case 2:
                    text += "OnOff" + name + "; ";
                    break;
                case 3:
                    text += "Object" + name + "; ";
                    break;
                case 4:
                    text += "list<number>" + name + "; ";
                    break;
                default:
                    text += "list<Point>" + name + "; ";
                    break;
            }
        }
        texts.push_back(text + "};");
    }
    // The root announces the count: the classes' objects plus itself.
    texts.push_back("new Root(1, " + std::to_string(kObjects + 1) + ");");
    return texts;
}

// The values of one object of class c, after its number.
std::string Values(int c, long id, int round) {
    std::string text;
    char number[32];
    for (int a = 0; a < AttributeCount(c); ++a) {
        text += ", ";
        switch (Kind(c, a)) {
            case 0:
                // Integers only: fractions come from the unit divisor.
                snprintf(number, sizeof number, "%d5", static_cast<int>(id % 1000) + round);
                text += number;
                break;
            case 1:
                text += "\"Device " + std::to_string(id) + " state " + std::to_string(round) + "\"";
                break;
            case 2:
                text += std::to_string((id + round) % 2);
                break;
            case 3:
                text += "@1";
                break;
            case 4:
                text += "(1, 2, 3, " + std::to_string(round) + ")";
                break;
            default:
                text += "(Point(1, 2), Point(3, " + std::to_string(round) + "))";
                break;
        }
    }
    return text;
}

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
    std::vector<std::string> texts = World();
    for (long i = 0; i < kObjects; ++i) {
        long id = kFirstId + i;
        int c = static_cast<int>(i % kClasses);
        texts.push_back("new Device" + std::to_string(c) + "(" + std::to_string(id) +
                        Values(c, id, 0) + ");");
    }
    return Buffers(texts);
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
        size_t before = mallinfo2().uordblks;
        state.ResumeTiming();
        if (!Run(*parser, texts, state)) {
            delete parser;
            break;
        }
        state.PauseTiming();
        if (parser->GetObjectManager().InSync() != 1)
            state.SkipWithError("transfer incomplete");
        bytesPerObject = static_cast<double>(mallinfo2().uordblks - before) / (kObjects + 1);
        delete parser;
        state.ResumeTiming();
    }
    state.counters["commands/s"] = benchmark::Counter(
        static_cast<double>(texts.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
    state.counters["heap_bytes/object"] = bytesPerObject;
}
BENCHMARK(BM_FullTransfer)->Unit(benchmark::kMillisecond);

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
    state.counters["commands/s"] = benchmark::Counter(
        static_cast<double>(updates.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Updates)->Unit(benchmark::kMillisecond);

}  // namespace
