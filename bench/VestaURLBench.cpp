// Parsing and rendering an item address, as Connect does for every item. Goal: parse and render
// of a typical absolute address under 1 microsecond on x86_64 (Release). Baseline: copying the
// text into a String, the least any parse must do to keep its names.

#include <benchmark/benchmark.h>

#include "ka/kor/VestaURL.h"

namespace {

using ka::kor::String;
using ka::kor::VestaURL;

const wchar_t kTypical[] = L"\\\\plant-db01.cell4\\DataServer\\Line2.Oven3.Temperature";

void BM_CopyTextBaseline(benchmark::State& state) {
    const String text(kTypical);
    for (auto _ : state) {
        String copy(text);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
BENCHMARK(BM_CopyTextBaseline);

void BM_Parse(benchmark::State& state) {
    const String text(kTypical);
    for (auto _ : state) {
        VestaURL url(text);
        benchmark::DoNotOptimize(url.begin());
    }
}
BENCHMARK(BM_Parse);

void BM_Render(benchmark::State& state) {
    const VestaURL url(kTypical);
    for (auto _ : state) {
        String text = url.str();
        benchmark::DoNotOptimize(text.c_str());
    }
}
BENCHMARK(BM_Render);

void BM_ParseAndRender(benchmark::State& state) {
    const String text(kTypical);
    for (auto _ : state) {
        const VestaURL url(text);
        String rendered = url.str();
        benchmark::DoNotOptimize(rendered.c_str());
    }
}
BENCHMARK(BM_ParseAndRender);

}  // namespace
