// Cost of TestPrintF in the caller's thread: switched off, and switched on.
#include "oxconf.h"
#include "testprint.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

struct PrintFixture {
    PrintFixture() {
        char tmpl[] = "/tmp/oxgw-bench-XXXXXX";
        root = mkdtemp(tmpl);
        std::filesystem::create_directories(root + "/var/log/debug");
        OxConfiguration::Instance()->SetAppPath(root);
        logToConsole = false;
        TestPrintTask::Instance();
    }
    std::string root;
};

PrintFixture& Fixture() {
    static PrintFixture fixture;
    return fixture;
}

void BM_TestPrintF_Off(benchmark::State& state) {
    Fixture();
    TestPrintSetMask(0, 0);
    for (auto _ : state) {
        TestPrintF(32, "MDIEditLink::TransmitCommand %s\n", "exe 1 $ 100.101 (-1);");
    }
}
BENCHMARK(BM_TestPrintF_Off);

void BM_TestPrintF_On(benchmark::State& state) {
    Fixture();
    TestPrintSetMask(0, 32);
    long n = 0;
    for (auto _ : state) {
        TestPrintF(32, "MDIEditLink::TransmitCommand %s %ld\n", "exe 1 $ 100.101 (-1);", ++n);
        // Let the writer keep up now and then so the queue is not simply full.
        if ((n & 1023) == 0)
            usleep(2000);
    }
    TestPrintSetMask(0, 0);
}
BENCHMARK(BM_TestPrintF_On);

}  // namespace
