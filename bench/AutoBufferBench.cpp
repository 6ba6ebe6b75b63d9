// AutoBuffer appends against std::vector<unsigned char>::insert, and copies of a large buffer
// (which share the body) against copies of a vector of the same size.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "ka/kor/AutoBuffer.h"

namespace {

const unsigned char kPiece[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

void BM_AutoBufferAppend(benchmark::State& state) {
    const auto piece = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        ka::kor::AutoBuffer buffer;
        for (int i = 0; i < 4096; ++i) {
            buffer.Append(kPiece, piece);
        }
        benchmark::DoNotOptimize(buffer.Data());
    }
    state.SetBytesProcessed(state.iterations() * 4096 * piece);
}

void BM_VectorInsert(benchmark::State& state) {
    const auto piece = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        std::vector<unsigned char> buffer;
        for (int i = 0; i < 4096; ++i) {
            buffer.insert(buffer.end(), kPiece, kPiece + piece);
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * 4096 * piece);
}

// One copy made and dropped per iteration: the count goes up and down once.
void BM_AutoBufferCopy(benchmark::State& state) {
    const std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)), 7);
    const ka::kor::AutoBuffer source(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    for (auto _ : state) {
        ka::kor::AutoBuffer copy(source);
        benchmark::DoNotOptimize(copy.Data());
    }
}

void BM_VectorCopy(benchmark::State& state) {
    const std::vector<unsigned char> source(static_cast<std::size_t>(state.range(0)), 7);
    for (auto _ : state) {
        std::vector<unsigned char> copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}

BENCHMARK(BM_AutoBufferAppend)->Arg(1)->Arg(8)->Arg(16);
BENCHMARK(BM_VectorInsert)->Arg(1)->Arg(8)->Arg(16);
BENCHMARK(BM_AutoBufferCopy)->Arg(1024)->Arg(1 << 20)->Arg(16 << 20);
BENCHMARK(BM_VectorCopy)->Arg(1 << 20);

}  // namespace
