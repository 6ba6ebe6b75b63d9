#include "ka/kor/WideToUtf8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/Utf8ToWide.h"

namespace {

using ka::kor::EncodeUtf8;
using ka::kor::GetUtf8EncodingBytes;
using ka::kor::GetUtf8StringLength;
using ka::kor::Utf8ToWide;
using ka::kor::WideToUtf8;

std::string Encode(const std::vector<std::uint32_t>& chars) {
    std::vector<wchar_t> w;
    for (std::uint32_t c : chars) {
        w.push_back(static_cast<wchar_t>(c));
    }
    const wchar_t* b = w.data();
    const wchar_t* e = b + w.size();
    std::unique_ptr<char[]> bytes(WideToUtf8(b, e));
    const unsigned n = GetUtf8EncodingBytes(b, e);
    EXPECT_EQ('\0', bytes[n]);
    return std::string(bytes.get(), n);
}

TEST(WideToUtf8, EncodesAndDecodesEverySequenceLength) {
    struct Case {
        std::vector<std::uint32_t> chars;
        const char* bytes;
    };
    const Case cases[] = {
        {{}, ""},
        {{0x41}, "A"},
        {{0x7F}, "\x7F"},
        {{0x80}, "\xC2\x80"},
        {{0x800}, "\xE0\xA0\x80"},
        {{0xD800}, "\xED\xA0\x80"},  // surrogate values are encoded like any other
        {{0x10000}, "\xF0\x90\x80\x80"},
        {{0x200000}, "\xF8\x88\x80\x80\x80"},
        {{0x4000000}, "\xFC\x84\x80\x80\x80\x80"},
        {{0x7FFFFFFF}, "\xFD\xBF\xBF\xBF\xBF\xBF"},
        {{0x80000000}, "?"},  // cannot be encoded
        {{0xFFFFFFFF}, "?"},
        {{'a', 'b', 'c', 'd', 0xE9, 'e', 'f', 'g', 'h', 'i'},
         "abcd\xC3\xA9"
         "efghi"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(c.bytes, Encode(c.chars));
        if (c.chars.size() != 1 || c.chars[0] < 0x80000000u) {
            const std::string bytes = c.bytes;
            std::unique_ptr<wchar_t[]> back(
                Utf8ToWide(bytes.data(), static_cast<unsigned>(bytes.size())));
            EXPECT_EQ(c.chars, std::vector<std::uint32_t>(back.get(), back.get() + c.chars.size()));
        }
    }
}

TEST(WideToUtf8, EmbeddedZerosAreKeptAndNullIsEmpty) {
    EXPECT_EQ(std::string("a\0b", 3), Encode({'a', 0, 'b'}));
    std::unique_ptr<char[]> bytes(WideToUtf8(nullptr));
    EXPECT_EQ('\0', bytes[0]);
    EXPECT_EQ(0u, GetUtf8EncodingBytes(nullptr));
    EXPECT_EQ(5u, GetUtf8EncodingBytes(L"a\u20ACb"));
    std::unique_ptr<char[]> zt(WideToUtf8(L"a\u20ACb"));
    EXPECT_STREQ(
        "a\xE2\x82\xAC"
        "b",
        zt.get());
}

TEST(WideToUtf8, RandomTextRoundTripsThroughEveryEntryPoint) {
    std::mt19937 rng(20240611);
    // Runs of one encoded length, long and short, so that block paths start, stop and resume at
    // every offset; the largest values need five and six bytes, and a few cannot be encoded.
    const std::uint32_t lows[] = {0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};
    const std::uint32_t highs[] = {0x7F,      0x7FF,      0xFFFF,    0x1FFFFF,
                                   0x3FFFFFF, 0x7FFFFFFF, 0xFFFFFFFF};
    for (int round = 0; round < 400; ++round) {
        std::vector<wchar_t> text;
        const std::size_t size = rng() % 300;
        while (text.size() < size) {
            const unsigned kind = rng() % 8 < 5 ? rng() % 3 : rng() % 7;
            const std::uint32_t span = highs[kind] - lows[kind];
            for (std::size_t run = 1 + rng() % 40; run > 0 && text.size() < size; --run) {
                text.push_back(static_cast<wchar_t>(lows[kind] + rng() % span));
            }
        }
        SCOPED_TRACE(round);
        // Exact arrays, so that the address sanitizer sees any access past the end.
        std::unique_ptr<wchar_t[]> input(new wchar_t[text.size()]);
        std::copy(text.begin(), text.end(), input.get());
        const wchar_t* b = input.get();
        const wchar_t* e = b + text.size();
        const unsigned n = GetUtf8EncodingBytes(b, e);
        std::unique_ptr<char[]> exact(new char[n]);
        ASSERT_EQ(exact.get() + n, EncodeUtf8(b, e, exact.get()));
        std::unique_ptr<char[]> whole(WideToUtf8(b, e));
        ASSERT_EQ(std::string(exact.get(), n), std::string(whole.get(), n));
        EXPECT_EQ('\0', whole[n]);

        std::vector<wchar_t> expected;
        for (wchar_t c : text) {
            expected.push_back(static_cast<std::uint32_t>(c) < 0x80000000u ? c : L'?');
        }
        ASSERT_EQ(expected.size(), GetUtf8StringLength(exact.get(), n));
        std::unique_ptr<wchar_t[]> decoded(new wchar_t[expected.size()]);
        ASSERT_EQ(decoded.get() + expected.size(),
                  ka::kor::DecodeUtf8(exact.get(), exact.get() + n, decoded.get()));
        EXPECT_EQ(expected, std::vector<wchar_t>(decoded.get(), decoded.get() + expected.size()));
        std::unique_ptr<wchar_t[]> back(Utf8ToWide(exact.get(), n));
        EXPECT_EQ(expected, std::vector<wchar_t>(back.get(), back.get() + expected.size()));
        EXPECT_EQ(L'\0', back[expected.size()]);
    }
}

}  // namespace
