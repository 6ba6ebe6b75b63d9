// The library's UTF-8 coder against the C library's iconv doing the same conversions on the same
// input, and its case-insensitive comparison against wcscasecmp. Throughput is counted in UTF-8
// bytes for both directions, so the figures of a pair compare directly.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

#include "ka/kor/Utf8ToWide.h"
#include "ka/kor/WideToUtf8.h"
#include "ka/kor/osdep/StringCaseCompare.h"

namespace {

constexpr std::size_t kMinBytes = 64 * 1024;

// English prose with an occasional accented word: the common case for names and messages.
const std::string& AsciiHeavy() {
    static const std::string text = [] {
        const std::string line =
            "The quick brown fox jumps over the lazy dog near the caf\xC3\xA9 on Main Street; "
            "temperatures stay between 12 and 18 degrees while sensors report every second.\n";
        std::string s;
        while (s.size() < kMinBytes) {
            s += line;
        }
        return s;
    }();
    return text;
}

// Greek, Cyrillic, CJK and the odd character outside the basic plane between ASCII words.
const std::string& Mixed() {
    static const std::string text = [] {
        const std::string line =
            "Pump \xCE\xB1\xCE\xBB\xCF\x86\xCE\xB1 \xD0\xB4\xD0\xB0\xD0\xB2\xD0\xBB\xD0\xB5"
            "\xD0\xBD\xD0\xB8\xD0\xB5 \xE6\xB8\xA9\xE5\xBA\xA6\xE8\xA8\x88 42 \xF0\x9F\x94\xA5 "
            "\xE3\x83\x9D\xE3\x83\xB3\xE3\x83\x97 \xD1\x81\xD1\x82\xD0\xB0\xD1\x82\xD1\x83\xD1"
            "\x81 ok\n";
        std::string s;
        while (s.size() < kMinBytes) {
            s += line;
        }
        return s;
    }();
    return text;
}

std::vector<wchar_t> Decoded(const std::string& utf8) {
    wchar_t* w = ka::kor::Utf8ToWide(utf8.data(), static_cast<unsigned>(utf8.size()));
    std::vector<wchar_t> v(w, w + std::wcslen(w));
    delete[] w;
    return v;
}

void Utf8ToWide(benchmark::State& state, const std::string& in) {
    for (auto _ : state) {
        wchar_t* w = ka::kor::Utf8ToWide(in.data(), static_cast<unsigned>(in.size()));
        benchmark::DoNotOptimize(w);
        delete[] w;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

// The descriptor is opened once, outside the timed loop; the output is allocated per run as the
// library's coder allocates it.
void IconvUtf8ToWide(benchmark::State& state, const std::string& in) {
    iconv_t cd = iconv_open("WCHAR_T", "UTF-8");
    for (auto _ : state) {
        wchar_t* w = new wchar_t[in.size() + 1];
        char* ip = const_cast<char*>(in.data());
        std::size_t il = in.size();
        char* op = reinterpret_cast<char*>(w);
        std::size_t ol = in.size() * sizeof(wchar_t);
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        if (iconv(cd, &ip, &il, &op, &ol) == static_cast<std::size_t>(-1)) {
            state.SkipWithError("iconv failed");
        }
        benchmark::DoNotOptimize(w);
        delete[] w;
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

void WideToUtf8(benchmark::State& state, const std::string& utf8) {
    const std::vector<wchar_t> in = Decoded(utf8);
    for (auto _ : state) {
        char* s = ka::kor::WideToUtf8(in.data(), in.data() + in.size());
        benchmark::DoNotOptimize(s);
        delete[] s;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * utf8.size()));
}

void IconvWideToUtf8(benchmark::State& state, const std::string& utf8) {
    const std::vector<wchar_t> in = Decoded(utf8);
    iconv_t cd = iconv_open("UTF-8", "WCHAR_T");
    for (auto _ : state) {
        char* s = new char[utf8.size() + 1];
        char* ip = reinterpret_cast<char*>(const_cast<wchar_t*>(in.data()));
        std::size_t il = in.size() * sizeof(wchar_t);
        char* op = s;
        std::size_t ol = utf8.size();
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        if (iconv(cd, &ip, &il, &op, &ol) == static_cast<std::size_t>(-1)) {
            state.SkipWithError("iconv failed");
        }
        benchmark::DoNotOptimize(s);
        delete[] s;
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * utf8.size()));
}

BENCHMARK_CAPTURE(Utf8ToWide, ascii, AsciiHeavy());
BENCHMARK_CAPTURE(IconvUtf8ToWide, ascii, AsciiHeavy());
BENCHMARK_CAPTURE(Utf8ToWide, mixed, Mixed());
BENCHMARK_CAPTURE(IconvUtf8ToWide, mixed, Mixed());
BENCHMARK_CAPTURE(WideToUtf8, ascii, AsciiHeavy());
BENCHMARK_CAPTURE(IconvWideToUtf8, ascii, AsciiHeavy());
BENCHMARK_CAPTURE(WideToUtf8, mixed, Mixed());
BENCHMARK_CAPTURE(IconvWideToUtf8, mixed, Mixed());

// Two texts equal but for case, so the whole length is compared; items are characters.
struct CasePair {
    std::wstring lower;
    std::wstring upper;
};

const CasePair& Pair() {
    static const CasePair pair = [] {
        CasePair p;
        for (wchar_t c : Decoded(AsciiHeavy())) {
            p.lower += static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
            p.upper += static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
        }
        return p;
    }();
    return pair;
}

void StringCaseCompare(benchmark::State& state) {
    const CasePair& p = Pair();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            ka::kor::osdep::StringCaseCompare(p.lower.c_str(), p.upper.c_str()));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * p.lower.size()));
}

void Wcscasecmp(benchmark::State& state) {
    const CasePair& p = Pair();
    for (auto _ : state) {
        benchmark::DoNotOptimize(wcscasecmp(p.lower.c_str(), p.upper.c_str()));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * p.lower.size()));
}

BENCHMARK(StringCaseCompare);
BENCHMARK(Wcscasecmp);

}  // namespace
