#include "ka/kor/osdep/SerializeUtf16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using Bytes = std::vector<unsigned char>;
using Chars = std::vector<std::uint32_t>;
using U16 = SerializeUtf16;
using Plain = PlainUtf16Coder;

// Writes chars with Coder at an odd offset (nothing may assume alignment), checking that exactly
// the announced size is written and that one byte less throws and writes nothing.
template <typename Coder>
Bytes Write(const Chars& chars) {
    String s;
    for (std::uint32_t c : chars) {
        s += static_cast<wchar_t>(c);
    }
    const unsigned n = Coder::GetUtf16SerializationSize(s);
    Bytes out(n + 3, 0xEE);
    unsigned char* p = out.data() + 1;
    EXPECT_THROW(Coder::SerializeAsUtf16(s, p, p + n - 1), ka::kor::exception::BufferOverflow);
    EXPECT_EQ(Bytes(n + 3, 0xEE), out);
    Coder::SerializeAsUtf16(s, p, out.data() + out.size());
    EXPECT_EQ(out.data() + 1 + n, p);
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_EQ(0xEE, out[n + 1]);
    return Bytes(out.begin() + 1, out.begin() + 1 + n);
}

template <typename Coder>
Chars Read(const Bytes& bytes) {
    const String s = Coder::DeserializeFromUtf16(bytes.data(), bytes.data() + bytes.size());
    return Chars(s.begin(), s.end());
}

TEST(SerializeUtf16, WritesBareLittleEndianUnits) {
    EXPECT_EQ((Bytes{0x41, 0x00, 0xE9, 0x00, 0xAC, 0x20}), Write<U16>({'A', 0xE9, 0x20AC}));
    EXPECT_EQ((Bytes{0x3D, 0xD8, 0x00, 0xDE}), Write<U16>({0x1F600}));
    EXPECT_EQ((Bytes{0xFF, 0xDB, 0xFF, 0xDF, 0x00, 0x00}), Write<U16>({0x10FFFF, 0}));
    // What UTF-16 cannot hold becomes "?".
    EXPECT_EQ((Bytes{0x3F, 0x00, 0x78, 0x00}), Write<U16>({0xD800, 'x'}));
    EXPECT_EQ((Bytes{0x3F, 0x00}), Write<U16>({0x110000}));
    EXPECT_EQ((Bytes{0x3F, 0x00}), Write<U16>({0x80000000}));
    // The plain coder: two bytes per character, no surrogate pairs.
    EXPECT_EQ((Bytes{0x41, 0x00, 0x00, 0xD8, 0x3F, 0x00}), Write<Plain>({'A', 0xD800, 0x1F600}));
}

TEST(SerializeUtf16, ReadsUnitsAndSubstitutesWhatDoesNotDecode) {
    EXPECT_EQ((Chars{'A', 0x1F600}), Read<U16>({0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE}));
    // No byte-order mark is interpreted.
    EXPECT_EQ((Chars{0xFEFF, 'A'}), Read<U16>({0xFF, 0xFE, 0x41, 0x00}));
    // A lone low surrogate, a high one at the end or without its pair, an odd last byte.
    EXPECT_EQ((Chars{'?', 'A'}), Read<U16>({0x00, 0xDC, 0x41, 0x00}));
    EXPECT_EQ((Chars{'A', '?'}), Read<U16>({0x41, 0x00, 0x3D, 0xD8}));
    EXPECT_EQ((Chars{'?', 'A'}), Read<U16>({0x3D, 0xD8, 0x41, 0x00}));
    EXPECT_EQ((Chars{'A', '?'}), Read<U16>({0x41, 0x00, 0x42}));
    EXPECT_EQ((Chars{0xD83D, 0xDE00, '?'}), Read<Plain>({0x3D, 0xD8, 0x00, 0xDE, 0x42}));
    EXPECT_TRUE(U16::DeserializeFromUtf16(nullptr, nullptr).empty());
    EXPECT_TRUE(Plain::DeserializeFromUtf16(nullptr, nullptr).empty());
}

}  // namespace
