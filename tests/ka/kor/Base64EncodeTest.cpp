#include "ka/kor/Base64Encode.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "ka/kor/Base64Decode.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

AString Encode(const std::string& s) {
    return Base64Encode(BufferWrapper(reinterpret_cast<const unsigned char*>(s.data()),
                                      static_cast<std::uint32_t>(s.size())));
}

std::string Std(const AString& s) {
    return std::string(s.begin(), s.end());
}

TEST(Base64, KnownVectors) {
    // RFC 4648 section 10, then both ends of the alphabet.
    const std::string kVectors[][2] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {std::string(3, '\0'), "AAAA"},
        {"\xff\xff\xff", "////"},
        {"\xfb\xef\xbe", "++++"},
    };
    for (const auto& v : kVectors) {
        SCOPED_TRACE(v[1]);
        EXPECT_EQ(v[1], Std(Encode(v[0])));
        EXPECT_EQ(v[0], Std(Base64Decode(AString(v[1].c_str()))));
    }
}

TEST(Base64, RoundTripsRandomBytesOfEveryLength) {
    std::mt19937 random(20240601);
    for (std::uint32_t length = 0; length <= 64; length += (length < 64 ? 1 : 936)) {
        SCOPED_TRACE(length);
        std::string bytes(length, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(random() & 0xFF);
        }
        const AString text = Encode(bytes);
        EXPECT_EQ((length + 2) / 3 * 4, text.size());
        EXPECT_EQ(bytes, Std(Base64Decode(text)));
    }
}

TEST(Base64, RefusesACountWhoseTextWouldBeTooLong) {
    // Sized in 64 bits before anything is read: these counts name far more bytes than exist.
    const unsigned char byte = 0;
    for (const std::uint32_t count : {0xFFFFFFFFu, 0xC0000000u, 0x60000000u}) {
        SCOPED_TRACE(count);
        EXPECT_THROW(Base64Encode(BufferWrapper(&byte, count)), exception::BoundExceeded2);
    }
}

}  // namespace
