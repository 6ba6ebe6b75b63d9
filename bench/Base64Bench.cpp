// Base64Encode and Base64Decode of 1 MiB against two baselines in the same program: a plain
// one-character-per-step codec (the usual textbook loop) and memcpy of the same bytes, the
// ceiling for any code that touches every byte once.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ka/kor/Base64Decode.h"
#include "ka/kor/Base64Encode.h"

namespace {

constexpr std::uint32_t kSize = 1 << 20;
const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::vector<unsigned char> Input() {
    std::vector<unsigned char> bytes(kSize);
    std::uint32_t x = 12345;
    for (unsigned char& b : bytes) {
        x = x * 1103515245 + 12345;
        b = static_cast<unsigned char>(x >> 16);
    }
    return bytes;
}

std::string PlainEncode(const unsigned char* p, std::size_t n) {
    std::string out;
    out.reserve((n + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= n; i += 3) {
        out += kAlphabet[p[i] >> 2];
        out += kAlphabet[((p[i] & 3) << 4) | (p[i + 1] >> 4)];
        out += kAlphabet[((p[i + 1] & 15) << 2) | (p[i + 2] >> 6)];
        out += kAlphabet[p[i + 2] & 63];
    }
    if (n - i == 1) {
        out += kAlphabet[p[i] >> 2];
        out += kAlphabet[(p[i] & 3) << 4];
        out += "==";
    } else if (n - i == 2) {
        out += kAlphabet[p[i] >> 2];
        out += kAlphabet[((p[i] & 3) << 4) | (p[i + 1] >> 4)];
        out += kAlphabet[(p[i + 1] & 15) << 2];
        out += '=';
    }
    return out;
}

int PlainValue(char c) {
    const char* at = std::strchr(kAlphabet, c);
    return c != '\0' && at != nullptr ? static_cast<int>(at - kAlphabet) : -1;
}

std::string PlainDecode(const std::string& text) {
    std::string out;
    out.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    int count = 0;
    for (char c : text) {
        if (c == '=') {
            break;
        }
        const int v = PlainValue(c);
        if (v < 0) {
            return std::string();
        }
        bits = (bits << 6) | static_cast<std::uint32_t>(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out += static_cast<char>(bits >> count);
        }
    }
    return out;
}

void BM_Base64Encode(benchmark::State& state) {
    const std::vector<unsigned char> bytes = Input();
    for (auto _ : state) {
        const ka::kor::AString text =
            ka::kor::Base64Encode(ka::kor::BufferWrapper(bytes.data(), kSize));
        benchmark::DoNotOptimize(text.c_str());
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}

void BM_Base64Decode(benchmark::State& state) {
    const std::vector<unsigned char> bytes = Input();
    const ka::kor::AString text =
        ka::kor::Base64Encode(ka::kor::BufferWrapper(bytes.data(), kSize));
    for (auto _ : state) {
        const ka::kor::AString back = ka::kor::Base64Decode(text);
        benchmark::DoNotOptimize(back.c_str());
    }
    // Measured in decoded bytes, like the encoder.
    state.SetBytesProcessed(state.iterations() * kSize);
}

void BM_PlainEncode(benchmark::State& state) {
    const std::vector<unsigned char> bytes = Input();
    for (auto _ : state) {
        const std::string text = PlainEncode(bytes.data(), kSize);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}

void BM_PlainDecode(benchmark::State& state) {
    const std::vector<unsigned char> bytes = Input();
    const std::string text = PlainEncode(bytes.data(), kSize);
    for (auto _ : state) {
        const std::string back = PlainDecode(text);
        benchmark::DoNotOptimize(back.data());
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}

void BM_Memcpy(benchmark::State& state) {
    const std::vector<unsigned char> bytes = Input();
    std::vector<unsigned char> copy(kSize);
    for (auto _ : state) {
        std::memcpy(copy.data(), bytes.data(), kSize);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}

BENCHMARK(BM_Base64Encode);
BENCHMARK(BM_Base64Decode);
BENCHMARK(BM_PlainEncode);
BENCHMARK(BM_PlainDecode);
BENCHMARK(BM_Memcpy);

}  // namespace
