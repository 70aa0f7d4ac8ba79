// The host's parameter table: building it for the sample world (with its map
// file) and for a 10,000-object world (with a map of 1,000 number
// parameters), and the text of a dataset call.
#include "oxcommandparser.h"
#include "oxconf.h"
#include "oxgway_table.h"
#include "testprint.h"
#include "world.h"
#include "worldgen.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

namespace fs = std::filesystem;

// A machine store filled from controller texts, with the table files in a
// sandbox root and the five datasets.
struct TableWorld {
    explicit TableWorld(const std::vector<std::string>& texts) {
        char pattern[] = "/tmp/oxgw-bench-XXXXXX";
        root = mkdtemp(pattern);
        fs::create_directories(root + "/usr/torc2");
        fs::create_directories(root + "/etc/torc2");
        OxConfiguration::Instance()->SetAppPath(root);
        TestPrintSetMask(0, 0);
        parser.Create(&handler);
        for (const std::string& text : texts) {
            std::string buffer = text;
            parser.Parse(&buffer[0]);
        }
        for (OxGWayDataSet* set : {&application, &staticSet, &measure, &action, &material})
            sets[set->GetName()] = set;
    }
    ~TableWorld() {
        for (auto& entry : sets)
            entry.second->Clear();
        fs::remove_all(root);
    }
    void Write(const std::string& abs, const std::string& text) {
        std::ofstream(root + abs, std::ios::binary) << text;
    }
    void Build() {
        for (auto& entry : sets)
            entry.second->Clear();
        OxGWayTable table(0, sets, parser.GetObjectManager(), parser.GetClassManager(), nullptr);
        table.CreateParametersFromFile(root + "/usr/torc2/gway_map.txt");
        table.CollectSectionIds();
        table.CreateAlarmParameters();
        table.CreateFunctionParameters(nullptr, "127.0.0.1");
    }

    std::string root;
    OXObjectHandler handler;
    OXCommandParser parser;
    OxGWayDataSet application{"application"}, staticSet{"static"}, measure{"measure"},
        action{"action"}, material{"matetial"};
    OxGWayTable::DataSets sets;
};

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

std::unique_ptr<TableWorld> SampleWorld() {
    torcsim::World sample;
    std::string errors;
    const std::string dir = std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/";
    sample.Load(dir + "line.oxw", errors);
    auto world = std::make_unique<TableWorld>(sample.TransferTexts());
    world->Write("/usr/torc2/gway_map.txt", ReadText(dir + "gway_map.txt"));
    world->Write("/usr/torc2/gway_exclude.txt", ReadText(dir + "gway_exclude.txt"));
    world->Write("/etc/torc2/gway_language.txt", ReadText(dir + "gway_language.txt"));
    return world;
}

std::unique_ptr<TableWorld> LargeWorld() {
    auto world = std::make_unique<TableWorld>(TransferTexts());
    std::string map = "#Version 1\n";
    for (int i = 0; i < 1000; ++i)
        map += "measure : NumParameter ; " + std::to_string(30000 + i) + " ; \"Device " +
               std::to_string(i) + "\" ; " + std::to_string(kFirstId + 10 * i) + " ;\n";
    world->Write("/usr/torc2/gway_map.txt", map);
    return world;
}

void BuildTable(benchmark::State& state, TableWorld& world) {
    for (auto _ : state)
        world.Build();
    state.counters["parameters"] = world.staticSet.Count() + world.measure.Count() +
                                   world.application.Count() + world.action.Count() +
                                   world.material.Count();
}

void BM_GWayTableBuildSampleWorld(benchmark::State& state) {
    auto world = SampleWorld();
    BuildTable(state, *world);
}
BENCHMARK(BM_GWayTableBuildSampleWorld)->Unit(benchmark::kMicrosecond);

void BM_GWayTableBuildWorld10000(benchmark::State& state) {
    auto world = LargeWorld();
    BuildTable(state, *world);
}
BENCHMARK(BM_GWayTableBuildWorld10000)->Unit(benchmark::kMillisecond);

// The "measure" dataset of the sample world (the alarm slots and the
// sections' readings): one call's text.
void BM_GWayDatasetText(benchmark::State& state) {
    auto world = SampleWorld();
    world->Build();
    std::vector<char> buffer(64 * 1024);
    unsigned length = 0;
    for (auto _ : state) {
        world->measure.Text(buffer.data(), buffer.size(), length);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["bytes"] = length;
}
BENCHMARK(BM_GWayDatasetText);

}  // namespace
