// Cost of escaping a text for an XML message: the usual text without markup
// characters (a copy), and a text that needs every kind of escape.
#include "xmltext.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

void BM_XmlEscape_Plain(benchmark::State& state) {
    const std::string text = "Rinse tank temperature, zone 3";
    for (auto _ : state)
        benchmark::DoNotOptimize(XmlEscape(text));
}
BENCHMARK(BM_XmlEscape_Plain);

void BM_XmlEscape_Markup(benchmark::State& state) {
    const std::string text = "Level <min> & \"falling\" in tank <T1>";
    for (auto _ : state)
        benchmark::DoNotOptimize(XmlEscape(text));
}
BENCHMARK(BM_XmlEscape_Markup);

}  // namespace
