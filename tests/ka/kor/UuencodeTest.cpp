#include "ka/kor/Uuencode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/Uudecode.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

std::string Encode(const Bytes& b) {
    const AString text = Uuencode(AutoBuffer(b.data(), static_cast<std::uint32_t>(b.size())));
    return std::string(text.begin(), text.end());
}

Bytes Decode(const std::string& text) {
    const AutoBuffer b = Uudecode(AString(text.c_str()));
    return Bytes(b.Data(), b.Data() + b.Len());
}

TEST(Uuencode, KnownValues) {
    const struct {
        Bytes bytes;
        std::string text;
    } cases[] = {
        {{}, ""},
        {{0x00}, "!!"},                // one byte: two characters, no padding
        {{0xFF}, "`Q"},                // 63, then 0b110000
        {{0x00, 0x00}, "!!!"},         // two bytes: three characters
        {{0xFF, 0xFF, 0xFF}, "````"},  // three bytes: four characters
        {{'f', 'o', 'o'}, ":G^P"},     // 25, 38, 61, 47
        {{0x01, 0x02, 0x03, 0x04}, "!1)$\"!"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.text, Encode(c.bytes));
        EXPECT_EQ(c.bytes, Decode(c.text));
    }
    EXPECT_EQ("!1)$\"!", std::string(Uuencode(cases[6].bytes.data(), 4).c_str()));
}

TEST(Uuencode, RoundTripsRandomBytesOfEveryLength) {
    std::mt19937 random(7);
    // 0 to 64, then more than the decoder collects before each append.
    for (std::uint32_t length = 0; length <= 5000; length += (length < 64 ? 1 : 4936)) {
        SCOPED_TRACE(length);
        Bytes bytes(length);
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(random() & 0xFF);
        }
        const std::string text = Encode(bytes);
        EXPECT_EQ((length * 4 + 2) / 3, text.size());
        EXPECT_EQ(std::string::npos, text.find_first_of(" abcdefghijklmnopqrstuvwxyz{|}~"));
        EXPECT_EQ(bytes, Decode(text));
    }
}

TEST(Uuencode, RefusesACountWhoseTextWouldBeTooLong) {
    const unsigned char byte = 0;
    for (const std::uint32_t count : {0xFFFFFFFFu, 0x60000000u}) {
        SCOPED_TRACE(count);
        EXPECT_THROW(Uuencode(&byte, count), exception::BoundExceeded2);
    }
}

}  // namespace
