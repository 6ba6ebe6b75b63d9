#include "ka/kor/little_endian.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using namespace ka::kor::little_endian;
using Bytes = std::vector<unsigned char>;
using ka_test::ThrowSite;

// Writes v at offset 1 of a buffer one byte longer than T (so the access is unaligned), checks
// the bytes, reads them back from there and checks the bit pattern.
template <typename T>
void ExpectWireForm(T v, const Bytes& expected) {
    SCOPED_TRACE(sizeof(T));
    unsigned char buffer[sizeof(T) + 1] = {};
    unsigned char* p = buffer + 1;
    SerializeRaw(v, p, buffer + sizeof(buffer));
    EXPECT_EQ(expected, Bytes(buffer + 1, p));
    const unsigned char* q = buffer + 1;
    T back{};
    DeserializeRaw(back, q, buffer + sizeof(buffer));
    EXPECT_EQ(p, q);
    EXPECT_EQ(0, std::memcmp(&v, &back, sizeof(T)));
}

TEST(little_endian, EveryTypeTravelsLeastSignificantByteFirst) {
    ExpectWireForm<std::uint8_t>(0xA5, {0xA5});
    ExpectWireForm<std::int8_t>(-2, {0xFE});
    ExpectWireForm<std::uint16_t>(0x1234, {0x34, 0x12});
    ExpectWireForm<std::int16_t>(-2, {0xFE, 0xFF});
    ExpectWireForm<std::uint32_t>(0x12345678u, {0x78, 0x56, 0x34, 0x12});
    ExpectWireForm<std::int32_t>(INT32_MIN, {0, 0, 0, 0x80});
    ExpectWireForm<std::uint64_t>(0x0102030405060708ull, {8, 7, 6, 5, 4, 3, 2, 1});
    ExpectWireForm<std::int64_t>(-2, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    ExpectWireForm<float>(1.0f, {0x00, 0x00, 0x80, 0x3F});
    ExpectWireForm<double>(-2.5, {0, 0, 0, 0, 0, 0, 0x04, 0xC0});
}

TEST(little_endian, BigEndianHostFormSwapsBytes) {
    using detail::ToLittleEndianOn;
    EXPECT_EQ(std::int16_t{-257}, ToLittleEndianOn<false>(std::int16_t{-2}));
    EXPECT_EQ(0x78563412u, ToLittleEndianOn<false>(0x12345678u));
    EXPECT_EQ(0x0807060504030201ull, ToLittleEndianOn<false>(0x0102030405060708ull));
    const float one = ToLittleEndianOn<false>(1.0f);  // held as 3F 80 00 00 by such a host
    Bytes bytes(4);
    std::memcpy(bytes.data(), &one, 4);
    EXPECT_EQ((Bytes{0x3F, 0x80, 0x00, 0x00}), bytes);
    EXPECT_EQ(-2.5, ToLittleEndianOn<false>(ToLittleEndianOn<false>(-2.5)));
}

TEST(little_endian, RangeChecksThrowAtTheirRecordedLines) {
    unsigned char b[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const unsigned char* cb = b;
    EXPECT_EQ(b + 8, CheckSerializationSize(8, b, b + 8));
    EXPECT_EQ(cb + 8, CheckDeserializationSize(8, cb, b + 8));
    const std::string overflow = "ka/kor/little_endian:111: Buffer overflowed";
    EXPECT_EQ(overflow,
              ThrowSite<exception::BufferOverflow>([&] { CheckSerializationSize(9, b, b + 8); }));
    EXPECT_EQ(overflow, ThrowSite<exception::BufferOverflow>(
                            [&] { CheckSerializationSize(0, b + 8, b + 7); }));
    EXPECT_EQ("ka/kor/little_endian:124: Failed to deserialize",
              ThrowSite<exception::DeserializationError>(
                  [&] { CheckDeserializationSize(0xFFFFFFFFu, cb + 1, b + 8); }));
    unsigned char* p = b + 5;
    EXPECT_THROW(SerializeRaw(std::uint32_t{0}, p, b + 8), exception::BufferOverflow);
    double d = 7.0;
    EXPECT_THROW(DeserializeRaw(d, cb, b + 7), exception::DeserializationError);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), Bytes(b, b + 8));
    EXPECT_EQ(b + 5, p);
    EXPECT_EQ(b, cb);
    EXPECT_EQ(7.0, d);
    EXPECT_EQ(-3, SignedRoom(b + 8, b + 5));
}

}  // namespace
