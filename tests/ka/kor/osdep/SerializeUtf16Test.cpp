#include "ka/kor/osdep/SerializeUtf16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using Bytes = std::vector<unsigned char>;

String Wide(const std::vector<std::uint32_t>& chars) {
    String s;
    for (std::uint32_t c : chars) {
        s += static_cast<wchar_t>(c);
    }
    return s;
}

std::vector<std::uint32_t> Chars(const String& s) {
    return std::vector<std::uint32_t>(s.begin(), s.end());
}

template <typename Coder>
Bytes Serialize(const String& s) {
    const unsigned n = Coder::GetUtf16SerializationSize(s);
    Bytes out(n + 3, 0xEE);
    unsigned char* p = out.data() + 1;  // odd offset: nothing may assume alignment
    Coder::SerializeAsUtf16(s, p, out.data() + out.size());
    EXPECT_EQ(out.data() + 1 + n, p);
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_EQ(0xEE, out[n + 1]);
    return Bytes(out.begin() + 1, out.begin() + 1 + n);
}

template <typename Coder>
std::vector<std::uint32_t> Deserialize(const Bytes& bytes) {
    return Chars(Coder::DeserializeFromUtf16(bytes.data(), bytes.data() + bytes.size()));
}

TEST(SerializeUtf16, WritesBareLittleEndianUnitsWithSurrogatePairs) {
    struct Case {
        std::vector<std::uint32_t> chars;
        Bytes bytes;
    };
    const Case cases[] = {
        {{}, {}},
        {{'A', 0xE9, 0x20AC}, {0x41, 0x00, 0xE9, 0x00, 0xAC, 0x20}},
        {{0x1F600}, {0x3D, 0xD8, 0x00, 0xDE}},
        {{0x10FFFF, 0}, {0xFF, 0xDB, 0xFF, 0xDF, 0x00, 0x00}},
        // What UTF-16 cannot hold becomes "?".
        {{0xD800, 'x'}, {0x3F, 0x00, 0x78, 0x00}},
        {{0x110000}, {0x3F, 0x00}},
        {{0x80000000}, {0x3F, 0x00}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        EXPECT_EQ(c.bytes, Serialize<SerializeUtf16>(Wide(c.chars)));
    }
}

TEST(SerializeUtf16, ReadsUnitsAndSubstitutesWhatDoesNotDecode) {
    struct Case {
        Bytes bytes;
        std::vector<std::uint32_t> chars;
    };
    const Case cases[] = {
        {{}, {}},
        {{0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE}, {'A', 0x1F600}},
        {{0xFF, 0xFE, 0x41, 0x00}, {0xFEFF, 'A'}},  // no byte-order mark is interpreted
        {{0x00, 0xDC, 0x41, 0x00}, {'?', 'A'}},     // lone low surrogate
        {{0x41, 0x00, 0x3D, 0xD8}, {'A', '?'}},     // high surrogate at the end
        {{0x3D, 0xD8, 0x41, 0x00}, {'?', 'A'}},     // high surrogate without its pair
        {{0x41, 0x00, 0x42}, {'A', '?'}},           // odd last byte
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        EXPECT_EQ(c.chars, Deserialize<SerializeUtf16>(c.bytes));
    }
    EXPECT_TRUE(SerializeUtf16::DeserializeFromUtf16(nullptr, nullptr).empty());
}

TEST(SerializeUtf16, ShortRoomThrowsBeforeWriting) {
    const String s(L"ab\U0001F600");
    ASSERT_EQ(8u, SerializeUtf16::GetUtf16SerializationSize(s));
    ASSERT_EQ(6u, PlainUtf16Coder::GetUtf16SerializationSize(s));
    unsigned char buffer[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    unsigned char* p = buffer;
    EXPECT_THROW(SerializeUtf16::SerializeAsUtf16(s, p, buffer + 7),
                 ka::kor::exception::BufferOverflow);
    EXPECT_THROW(PlainUtf16Coder::SerializeAsUtf16(s, p, buffer + 5),
                 ka::kor::exception::BufferOverflow);
    EXPECT_EQ(buffer, p);
    for (unsigned char b : buffer) {
        EXPECT_EQ(0xEE, b);
    }
}

TEST(PlainUtf16Coder, TwoBytesPerCharacterWithoutPairs) {
    EXPECT_EQ((Bytes{0x41, 0x00, 0xE9, 0x00, 0x00, 0xD8, 0x3F, 0x00}),
              Serialize<PlainUtf16Coder>(Wide({'A', 0xE9, 0xD800, 0x1F600})));
    EXPECT_EQ((std::vector<std::uint32_t>{0xD83D, 0xDE00, '?'}),
              Deserialize<PlainUtf16Coder>({0x3D, 0xD8, 0x00, 0xDE, 0x42}));
    EXPECT_TRUE(PlainUtf16Coder::DeserializeFromUtf16(nullptr, nullptr).empty());
}

}  // namespace
