#include "ka/kor/WideToUtf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/Utf8ToWide.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::DecodeUtf8;
using ka::kor::EncodeUtf8;
using ka::kor::GetUtf8EncodingBytes;
using ka::kor::GetUtf8StringLength;
using ka::kor::Utf8ToWide;
using ka::kor::WideToUtf8;
using ka::kor::exception::InvalidSequence;

// Decodes n bytes that must give length characters.
std::vector<wchar_t> Decode(const char* bytes, unsigned n, std::size_t length) {
    EXPECT_EQ(length, GetUtf8StringLength(bytes, n));
    std::unique_ptr<wchar_t[]> back(Utf8ToWide(bytes, n));
    EXPECT_EQ(L'\0', back[length]);
    return std::vector<wchar_t>(back.get(), back.get() + length);
}

TEST(WideToUtf8, EncodesAndDecodesEverySequenceLength) {
    struct Case {
        std::vector<std::uint32_t> chars;
        std::string bytes;
    };
    const Case cases[] = {
        {{}, ""},
        {{0x7F}, "\x7F"},
        {{0x80}, "\xC2\x80"},
        {{0x800}, "\xE0\xA0\x80"},
        {{0xD800}, "\xED\xA0\x80"},  // surrogate values are encoded like any other
        {{0x10000}, "\xF0\x90\x80\x80"},
        {{0x200000}, "\xF8\x88\x80\x80\x80"},
        {{0x4000000}, "\xFC\x84\x80\x80\x80\x80"},
        {{0x7FFFFFFF}, "\xFD\xBF\xBF\xBF\xBF\xBF"},
        {{'a', 0, 0xE9}, std::string("a\0\xC3\xA9", 4)},
        {{0x80000000}, "?"},  // cannot be encoded; these rows do not decode back
        {{0xFFFFFFFF}, "?"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        const std::vector<wchar_t> w(c.chars.begin(), c.chars.end());
        const wchar_t* b = w.data();
        const wchar_t* e = b + w.size();
        std::unique_ptr<char[]> bytes(WideToUtf8(b, e));
        const unsigned n = GetUtf8EncodingBytes(b, e);
        EXPECT_EQ('\0', bytes[n]);
        EXPECT_EQ(c.bytes, std::string(bytes.get(), n));
        if (c.bytes != "?") {
            EXPECT_EQ(w, Decode(c.bytes.data(), n, w.size()));
        }
    }
    std::unique_ptr<char[]> null(WideToUtf8(nullptr));
    EXPECT_EQ('\0', null[0]);
    EXPECT_EQ(0u, GetUtf8EncodingBytes(nullptr));
    EXPECT_EQ(4u, GetUtf8EncodingBytes(L"a\u20AC"));
    std::unique_ptr<char[]> zt(WideToUtf8(L"a\u20AC"));
    EXPECT_STREQ("a\xE2\x82\xAC", zt.get());
}

TEST(WideToUtf8, RandomTextRoundTripsThroughEveryEntryPoint) {
    std::mt19937 rng(20240611);
    // Runs of one encoded length, long and short, so that block paths start, stop and resume at
    // every offset; the largest values need five and six bytes, and a few cannot be encoded.
    const std::uint32_t lows[] = {0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};
    const std::uint32_t highs[] = {0x7F,      0x7FF,      0xFFFF,    0x1FFFFF,
                                   0x3FFFFFF, 0x7FFFFFFF, 0xFFFFFFFF};
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        // Exact arrays, so that the address sanitizer sees any access past the end.
        const std::size_t size = rng() % 300;
        std::unique_ptr<wchar_t[]> text(new wchar_t[size]);
        std::vector<wchar_t> expected;
        while (expected.size() < size) {
            const unsigned kind = rng() % 8 < 5 ? rng() % 3 : rng() % 7;
            for (std::size_t run = 1 + rng() % 40; run > 0 && expected.size() < size; --run) {
                const std::uint32_t c = lows[kind] + rng() % (highs[kind] - lows[kind]);
                text[expected.size()] = static_cast<wchar_t>(c);
                expected.push_back(c < 0x80000000u ? static_cast<wchar_t>(c) : L'?');
            }
        }
        const wchar_t* b = text.get();
        const wchar_t* e = b + size;
        const unsigned n = GetUtf8EncodingBytes(b, e);
        std::unique_ptr<char[]> exact(new char[n]);
        ASSERT_EQ(exact.get() + n, EncodeUtf8(b, e, exact.get()));
        std::unique_ptr<char[]> whole(WideToUtf8(b, e));
        ASSERT_EQ(std::string(exact.get(), n), std::string(whole.get(), n));
        EXPECT_EQ('\0', whole[n]);

        std::unique_ptr<wchar_t[]> decoded(new wchar_t[size]);
        ASSERT_EQ(decoded.get() + size, DecodeUtf8(exact.get(), exact.get() + n, decoded.get()));
        EXPECT_EQ(expected, std::vector<wchar_t>(decoded.get(), decoded.get() + size));
        EXPECT_EQ(expected, Decode(exact.get(), n, size));
    }
}

TEST(Utf8ToWide, AcceptsTheFormsAnEncoderNeverWrites) {
    // Every length is covered by the encoder's table, which decodes its output back.
    EXPECT_EQ(std::vector<wchar_t>{0}, Decode("\xF8\x80\x80\x80\x80", 5, 1));  // 5-byte overlong
    EXPECT_EQ(std::vector<wchar_t>{0x110000}, Decode("\xF4\x90\x80\x80", 4, 1));
    std::unique_ptr<wchar_t[]> w(Utf8ToWide(nullptr, 5));
    EXPECT_EQ(L'\0', w[0]);
    EXPECT_EQ(0u, GetUtf8StringLength(nullptr, 5));
    // The count ends the text: the bytes after it do not complete the cut sequence.
    const char bytes[] = "ab\xE2\x82\xAC";
    EXPECT_EQ(3u, GetUtf8StringLength(bytes, 5));
    EXPECT_THROW(GetUtf8StringLength(bytes, 4), InvalidSequence);
}

TEST(Utf8ToWide, RefusesACountWhoseArrayCannotBeHad) {
    if constexpr (sizeof(std::size_t) > 4) {
        GTEST_SKIP() << "only a 32-bit size_t wraps count + 1 characters";
    } else {
        // Nothing is read: the array for count + 1 characters is refused first.
        const char bytes[] = "abc";
        EXPECT_THROW(Utf8ToWide(bytes, 0xFFFFFFFFu), std::bad_alloc);
        EXPECT_THROW(Utf8ToWide(bytes, 0x40000000u), std::bad_alloc);
    }
}

TEST(Utf8ToWide, RejectsMalformedSequencesWhereverTheyStand) {
    const char* const bad[] = {
        "\xC0\x80",                  // overlong zero
        "\xC1\xBF",                  // overlong ASCII
        "\x80",                      // isolated continuation byte
        "\xE2\x82",                  // sequence cut short by the end
        "\xF0\x90\x80",              //
        "\xFD\xBF\xBF\xBF\xBF",      //
        "\xE0\x9F\xBF",              // overlong three-byte form
        "\xF0\x8F\xBF\xBF",          // overlong four-byte form
        "\xFC\x83\xBF\xBF\xBF\xBF",  // overlong six-byte form
        "\xFE",                      // never a lead byte
        "\xFF",                      //
        "\xC3\x28",                  // continuation byte not 10xxxxxx
        "\xE2\xC2\xAC",              //
        "\xF8\x88\x80\x80\x7F",      //
        "\xFD\xBF\xBF\xBF\xBF\xFF",  //
    };
    // Before and after runs long enough for the block paths of every kind of character.
    std::string cyrillic;
    std::string kana;
    for (int i = 0; i < 12; ++i) {
        cyrillic += "\xD0\xB4";
        kana += "\xE3\x83\x9D";
    }
    const std::string prefixes[] = {"", "x", "0123456789abcdef0123", "\xC3\xA9", cyrillic, kana};
    const std::string suffixes[] = {"", "y", "0123456789abcdef", cyrillic, kana};
    for (const char* b : bad) {
        for (const std::string& pre : prefixes) {
            for (const std::string& suf : suffixes) {
                const std::string s = pre + b + suf;
                SCOPED_TRACE(testing::PrintToString(s));
                const unsigned n = static_cast<unsigned>(s.size());
                EXPECT_THROW(Utf8ToWide(s.data(), n), InvalidSequence);
                EXPECT_THROW(GetUtf8StringLength(s.data(), n), InvalidSequence);
                std::vector<wchar_t> out(s.size());
                EXPECT_THROW(DecodeUtf8(s.data(), s.data() + n, out.data()), InvalidSequence);
            }
        }
    }
    try {
        GetUtf8StringLength("\x80", 1);
        FAIL();
    } catch (const InvalidSequence& e) {
        EXPECT_STREQ("Invalid UTF8 encoding sequence", e.what());
        EXPECT_EQ(0x8ABC7030u, e.getErrorCode());
    }
}

}  // namespace
