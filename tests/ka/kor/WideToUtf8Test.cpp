#include "ka/kor/WideToUtf8.h"

#include <gtest/gtest.h>

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

TEST(WideToUtf8, EncodesEverySequenceLength) {
    struct Case {
        std::vector<std::uint32_t> chars;
        const char* bytes;
    };
    const Case cases[] = {
        {{}, ""},
        {{0x41}, "A"},
        {{0x7F}, "\x7F"},
        {{0x80}, "\xC2\x80"},
        {{0x7FF}, "\xDF\xBF"},
        {{0x800}, "\xE0\xA0\x80"},
        {{0xD800}, "\xED\xA0\x80"},  // surrogate values are encoded like any other
        {{0xFFFF}, "\xEF\xBF\xBF"},
        {{0x10000}, "\xF0\x90\x80\x80"},
        {{0x1FFFFF}, "\xF7\xBF\xBF\xBF"},
        {{0x200000}, "\xF8\x88\x80\x80\x80"},
        {{0x3FFFFFF}, "\xFB\xBF\xBF\xBF\xBF"},
        {{0x4000000}, "\xFC\x84\x80\x80\x80\x80"},
        {{0x7FFFFFFF}, "\xFD\xBF\xBF\xBF\xBF\xBF"},
        {{0x80000000}, "?"},  // cannot be encoded
        {{0xFFFFFFFF}, "?"},
        {{'a', 'b', 'c', 'd', 0xE9, 'e', 'f', 'g', 'h', 'i'},
         "abcd\xC3\xA9"
         "efghi"},
        {{'a', 0x80000000, 'b', 'c', 'd', 'e'}, "a?bcde"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(c.bytes, Encode(c.chars));
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

TEST(WideToUtf8, RandomTextRoundTrips) {
    std::mt19937 rng(20240611);
    // Mostly ASCII runs with characters of every encoded length between them, at every offset.
    const std::uint32_t limits[] = {0x7F, 0x7FF, 0xFFFF, 0x1FFFFF, 0x3FFFFFF, 0x7FFFFFFF};
    for (int round = 0; round < 300; ++round) {
        std::vector<wchar_t> text(rng() % 80);
        for (wchar_t& c : text) {
            const std::uint32_t limit = rng() % 3 == 0 ? limits[rng() % 6] : 0x7F;
            c = static_cast<wchar_t>(rng() % (limit + 1));
        }
        const wchar_t* b = text.data();
        const wchar_t* e = b + text.size();
        const unsigned n = GetUtf8EncodingBytes(b, e);
        std::vector<char> bytes(n + 1, '#');
        ASSERT_EQ(bytes.data() + n, EncodeUtf8(b, e, bytes.data()));
        EXPECT_EQ('#', bytes[n]);
        ASSERT_EQ(text.size(), GetUtf8StringLength(bytes.data(), n));
        std::unique_ptr<wchar_t[]> back(Utf8ToWide(bytes.data(), n));
        EXPECT_EQ(text, std::vector<wchar_t>(back.get(), back.get() + text.size()));
    }
}

}  // namespace
