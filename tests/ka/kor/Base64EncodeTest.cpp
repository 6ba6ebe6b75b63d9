#include "ka/kor/Base64Encode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/Base64Decode.h"

namespace {

using namespace ka::kor;

BufferWrapper View(const std::string& s) {
    return BufferWrapper(reinterpret_cast<const unsigned char*>(s.data()),
                         static_cast<std::uint32_t>(s.size()));
}

std::string Std(const AString& s) {
    return std::string(s.begin(), s.end());
}

// RFC 4648, section 10, plus bytes that exercise every bit of the alphabet's ends.
const struct {
    std::string bytes;
    std::string text;
} kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {std::string("\0\0\0", 3), "AAAA"},
    {"\xff\xff\xff", "////"},
    {"\xfb\xef\xbe", "++++"},
    {std::string("\0", 1), "AA=="},
    {"\xff\xff", "//8="},
};

TEST(Base64, KnownVectors) {
    for (const auto& v : kVectors) {
        SCOPED_TRACE(v.text);
        EXPECT_EQ(v.text, Std(Base64Encode(View(v.bytes))));
        EXPECT_EQ(v.bytes, Std(Base64Decode(AString(v.text.c_str()))));
    }
}

TEST(Base64, RoundTripsRandomBytesOfEveryLength) {
    std::mt19937 random(20240601);
    for (std::uint32_t length = 0; length <= 64; ++length) {
        SCOPED_TRACE(length);
        std::string bytes(length, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(random() & 0xFF);
        }
        const AString text = Base64Encode(View(bytes));
        EXPECT_EQ((length + 2) / 3 * 4, text.size());
        EXPECT_EQ(std::string::npos,
                  Std(text).find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                              "0123456789+/="));
        EXPECT_EQ(bytes, Std(Base64Decode(text)));
    }
}

TEST(Base64, LargeBufferCrossesTheUnrolledLoops) {
    // 1000 bytes: the four-group steps run many times, then single groups, then a padded one.
    std::vector<unsigned char> bytes(1000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    }
    const AString text = Base64Encode(BufferWrapper(bytes.data(), 1000));
    const AString back = Base64Decode(text);
    ASSERT_EQ(1000u, back.size());
    EXPECT_EQ(0, std::memcmp(bytes.data(), back.begin(), 1000));
}

}  // namespace
