#include "ka/kor/Uuencode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/Uudecode.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

std::string Std(const AString& s) {
    return std::string(s.begin(), s.end());
}

Bytes BytesOf(const AutoBuffer& b) {
    return Bytes(b.Data(), b.Data() + b.Len());
}

std::string Encode(const Bytes& b) {
    return Std(Uuencode(b.data(), static_cast<std::uint32_t>(b.size())));
}

TEST(Uuencode, KnownValues) {
    const struct {
        Bytes bytes;
        std::string text;
    } cases[] = {
        {{}, ""},
        {{0x00}, "!!"},                         // one byte: two characters, no padding
        {{0xFF}, "`Q"},                         // 63, then 0b110000 = 48
        {{0x00, 0x00}, "!!!"},                  // two bytes: three characters
        {{0x00, 0x00, 0x00}, "!!!!"},           // three bytes: four characters
        {{0xFF, 0xFF, 0xFF}, "````"},           // the top of the range is the backquote
        {{'f', 'o', 'o'}, ":G^P"},              // 0x666F6F: 25, 38, 61, 47
        {{0x01, 0x02, 0x03, 0x04}, "!1)$\"!"},  // 0, 16, 8, 3, then 0x04 alone: 1, 0
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.text, Encode(c.bytes));
        EXPECT_EQ(c.bytes, BytesOf(Uudecode(AString(c.text.c_str()))));
    }
}

TEST(Uuencode, EncodesAnAutoBufferLikeItsBytes) {
    EXPECT_EQ("", Std(Uuencode(AutoBuffer())));
    const unsigned char bytes[] = {'f', 'o', 'o', 'b'};
    EXPECT_EQ(Encode(Bytes(bytes, bytes + 4)), Std(Uuencode(AutoBuffer(bytes, 4))));
}

TEST(Uuencode, RoundTripsRandomBytesOfEveryLength) {
    std::mt19937 random(7);
    for (std::uint32_t length = 0; length <= 64; ++length) {
        SCOPED_TRACE(length);
        Bytes bytes(length);
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(random() & 0xFF);
        }
        const std::string text = Encode(bytes);
        EXPECT_EQ(length / 3 * 4 + (length % 3 == 0 ? 0 : length % 3 + 1), text.size());
        for (char c : text) {
            EXPECT_TRUE(c >= '!' && c <= '`') << static_cast<int>(c);
        }
        EXPECT_EQ(bytes, BytesOf(Uudecode(AString(text.c_str()))));
    }
}

TEST(Uuencode, RoundTripsAcrossDecodeChunks) {
    // More bytes than the decoder collects before appending, and not a multiple of its chunk.
    Bytes bytes(5000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 13 + i / 256);
    }
    const AutoBuffer back = Uudecode(AString(Encode(bytes).c_str()));
    EXPECT_EQ(bytes, BytesOf(back));
}

}  // namespace
