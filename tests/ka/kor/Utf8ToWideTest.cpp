#include "ka/kor/Utf8ToWide.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using ka::kor::DecodeUtf8;
using ka::kor::GetUtf8StringLength;
using ka::kor::Utf8ToWide;
using ka::kor::exception::InvalidSequence;

std::vector<std::uint32_t> Decode(const std::string& bytes) {
    std::unique_ptr<wchar_t[]> w(Utf8ToWide(bytes.data(), static_cast<unsigned>(bytes.size())));
    const unsigned n = GetUtf8StringLength(bytes.data(), static_cast<unsigned>(bytes.size()));
    EXPECT_EQ(L'\0', w[n]);
    return std::vector<std::uint32_t>(w.get(), w.get() + n);
}

TEST(Utf8ToWide, AcceptsTheOddForms) {
    // Every length is covered by the encoder's table, which decodes its output back; these are
    // the forms an encoder never writes.
    EXPECT_EQ((std::vector<std::uint32_t>{0xD800}), Decode("\xED\xA0\x80"));
    EXPECT_EQ((std::vector<std::uint32_t>{0}),
              Decode("\xF8\x80\x80\x80\x80"));  // five-byte overlong
    EXPECT_EQ((std::vector<std::uint32_t>{0x10FFFF + 1}), Decode("\xF4\x90\x80\x80"));
}

TEST(Utf8ToWide, EmbeddedZeroIsACharacterAndNullIsEmpty) {
    EXPECT_EQ((std::vector<std::uint32_t>{'a', 0, 'b'}), Decode(std::string("a\0b", 3)));
    std::unique_ptr<wchar_t[]> w(Utf8ToWide(nullptr, 5));
    EXPECT_EQ(L'\0', w[0]);
    EXPECT_EQ(0u, GetUtf8StringLength(nullptr, 5));
}

TEST(Utf8ToWide, RejectsMalformedSequencesWhereverTheyStand) {
    const char* const bad[] = {
        "\xC0\x80",                  // overlong zero
        "\xC1\xBF",                  // overlong ASCII
        "\x80",                      // isolated continuation byte
        "\xBF",                      //
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
}

TEST(Utf8ToWide, CountStopsAtTheGivenByteCount) {
    // The bytes after the count do not complete the cut sequence.
    const char bytes[] = "ab\xE2\x82\xAC";
    EXPECT_EQ(3u, GetUtf8StringLength(bytes, 5));
    EXPECT_THROW(GetUtf8StringLength(bytes, 4), InvalidSequence);
    EXPECT_EQ(2u, GetUtf8StringLength(bytes, 2));
}

TEST(Utf8ToWide, ErrorCarriesItsText) {
    try {
        GetUtf8StringLength("\x80", 1);
        FAIL();
    } catch (const InvalidSequence& e) {
        EXPECT_STREQ("Invalid UTF8 encoding sequence", e.what());
        EXPECT_EQ(0x8ABC7030u, e.getErrorCode());
    }
}

}  // namespace
