#include "ka/kor/little_endian.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

// Serializes v at offset 1 of a buffer one byte longer than T, so the access is unaligned, checks
// the bytes written, and reads them back from the same offset.
template <typename T>
void ExpectWireForm(T v, const Bytes& expected) {
    SCOPED_TRACE(sizeof(T));
    ASSERT_EQ(sizeof(T), expected.size());
    unsigned char storage[sizeof(T) + 1] = {};
    unsigned char* p = storage + 1;
    little_endian::SerializeRaw(v, p, storage + sizeof(storage));
    EXPECT_EQ(storage + sizeof(storage), p);
    EXPECT_EQ(expected, Bytes(storage + 1, storage + sizeof(storage)));

    const unsigned char* q = storage + 1;
    T back{};
    little_endian::DeserializeRaw(back, q, storage + sizeof(storage));
    EXPECT_EQ(storage + sizeof(storage), q);
    EXPECT_EQ(0, std::memcmp(&v, &back, sizeof(T)));
}

TEST(little_endian, WireFormOfEveryTypeIsLeastSignificantByteFirst) {
    ExpectWireForm<std::uint8_t>(0xA5, {0xA5});
    ExpectWireForm<std::int8_t>(-2, {0xFE});
    ExpectWireForm<std::uint16_t>(0x1234, {0x34, 0x12});
    ExpectWireForm<std::int16_t>(-2, {0xFE, 0xFF});
    ExpectWireForm<std::uint32_t>(0x12345678u, {0x78, 0x56, 0x34, 0x12});
    ExpectWireForm<std::int32_t>(std::numeric_limits<std::int32_t>::min(), {0, 0, 0, 0x80});
    ExpectWireForm<std::uint64_t>(0x0102030405060708ull, {8, 7, 6, 5, 4, 3, 2, 1});
    ExpectWireForm<std::int64_t>(-2, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    ExpectWireForm<float>(1.0f, {0x00, 0x00, 0x80, 0x3F});
    ExpectWireForm<float>(-0.0f, {0x00, 0x00, 0x00, 0x80});
    ExpectWireForm<double>(1.0, {0, 0, 0, 0, 0, 0, 0xF0, 0x3F});
    ExpectWireForm<double>(-2.5, {0, 0, 0, 0, 0, 0, 0x04, 0xC0});
}

TEST(little_endian, RoundTripsFromEveryOffsetOfAFiveByteBuffer) {
    for (std::size_t offset = 0; offset + sizeof(std::uint32_t) <= 5; ++offset) {
        SCOPED_TRACE(offset);
        unsigned char buffer[5] = {};
        unsigned char* p = buffer + offset;
        little_endian::SerializeRaw(std::uint16_t{0xBEEF}, p, buffer + 5);
        const unsigned char* q = buffer + offset;
        std::uint16_t u16 = 0;
        little_endian::DeserializeRaw(u16, q, buffer + 5);
        EXPECT_EQ(0xBEEF, u16);

        p = buffer + offset;
        little_endian::SerializeRaw(-123456.75f, p, buffer + 5);
        q = buffer + offset;
        float f = 0;
        little_endian::DeserializeRaw(f, q, buffer + 5);
        EXPECT_EQ(-123456.75f, f);

        p = buffer + offset;
        little_endian::SerializeRaw(std::int32_t{-19088744}, p, buffer + 5);
        q = buffer + offset;
        std::int32_t i32 = 0;
        little_endian::DeserializeRaw(i32, q, buffer + 5);
        EXPECT_EQ(-19088744, i32);
    }
}

TEST(little_endian, SwappingFormReversesBytesOfEveryType) {
    using little_endian::detail::ToLittleEndianOn;
    EXPECT_EQ(std::int8_t{-3}, ToLittleEndianOn<false>(std::int8_t{-3}));
    EXPECT_EQ(0x3412, ToLittleEndianOn<false>(std::uint16_t{0x1234}));
    EXPECT_EQ(std::int16_t{-257}, ToLittleEndianOn<false>(std::int16_t{-2}));  // FFFE -> FEFF
    EXPECT_EQ(0x78563412u, ToLittleEndianOn<false>(std::uint32_t{0x12345678u}));
    EXPECT_EQ(0x0807060504030201ull, ToLittleEndianOn<false>(std::uint64_t{0x0102030405060708ull}));
    EXPECT_EQ(std::int64_t{0x00000000000000FF},
              ToLittleEndianOn<false>(std::int64_t{-72057594037927936}));

    // A big-endian host holds 1.0f as 3F 80 00 00; its little-endian form must be 00 00 80 3F.
    const float one = ToLittleEndianOn<false>(1.0f);
    unsigned char bytes[4];
    std::memcpy(bytes, &one, 4);
    EXPECT_EQ((Bytes{0x3F, 0x80, 0x00, 0x00}), Bytes(bytes, bytes + 4));
    const double d = ToLittleEndianOn<false>(ToLittleEndianOn<false>(-2.5));
    EXPECT_EQ(-2.5, d);

    EXPECT_EQ(0x12345678u, ToLittleEndianOn<true>(std::uint32_t{0x12345678u}));
    EXPECT_EQ(0x12345678u, little_endian::ToLittleEndian(std::uint32_t{0x12345678u}));
    EXPECT_EQ(0x12345678u, little_endian::FromLittleEndian(std::uint32_t{0x12345678u}));
}

template <typename E, typename F>
void ExpectThrownAt(F f, const char* file, std::uint32_t line) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown";
    } catch (const E& e) {
        EXPECT_STREQ(file, e.file());
        EXPECT_EQ(line, e.line());
    }
}

TEST(little_endian, RangeChecksReturnTheEndOrThrowAtTheirRecordedLines) {
    unsigned char buffer[8] = {};
    const unsigned char* cb = buffer;
    EXPECT_EQ(buffer + 8, little_endian::CheckSerializationSize(8, buffer, buffer + 8));
    EXPECT_EQ(cb + 8, little_endian::CheckDeserializationSize(8, cb, buffer + 8));
    EXPECT_EQ(cb + 3, little_endian::CheckSerializationSize(0, cb + 3, buffer + 3));

    ExpectThrownAt<exception::BufferOverflow>(
        [&] { little_endian::CheckSerializationSize(9, buffer, buffer + 8); },
        "ka/kor/little_endian", 111);
    ExpectThrownAt<exception::BufferOverflow>(
        [&] { little_endian::CheckSerializationSize(0, buffer + 8, buffer + 7); },
        "ka/kor/little_endian", 111);
    ExpectThrownAt<exception::DeserializationError>(
        [&] { little_endian::CheckDeserializationSize(9, cb, buffer + 8); }, "ka/kor/little_endian",
        124);
    ExpectThrownAt<exception::DeserializationError>(
        [&] { little_endian::CheckDeserializationSize(0xFFFFFFFFu, cb + 1, buffer + 8); },
        "ka/kor/little_endian", 124);
}

TEST(little_endian, ShortRangesChangeNeitherValueNorPosition) {
    unsigned char buffer[4] = {1, 2, 3, 4};
    unsigned char* p = buffer + 1;
    EXPECT_THROW(little_endian::SerializeRaw(std::uint32_t{0}, p, buffer + 4),
                 exception::BufferOverflow);
    EXPECT_EQ(buffer + 1, p);
    EXPECT_EQ((Bytes{1, 2, 3, 4}), Bytes(buffer, buffer + 4));

    const unsigned char* q = buffer + 1;
    double d = 7.0;
    EXPECT_THROW(little_endian::DeserializeRaw(d, q, buffer + 4), exception::DeserializationError);
    EXPECT_EQ(buffer + 1, q);
    EXPECT_EQ(7.0, d);
}

TEST(little_endian, SignedRoomIsNegativeForAPositionPastTheEnd) {
    unsigned char buffer[8];
    EXPECT_EQ(8, little_endian::SignedRoom(buffer, buffer + 8));
    EXPECT_EQ(0, little_endian::SignedRoom(buffer + 8, buffer + 8));
    EXPECT_EQ(-3, little_endian::SignedRoom(buffer + 8, buffer + 5));
}

}  // namespace
