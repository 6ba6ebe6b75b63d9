#include "ka/kor/CRC.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
typedef CRC<unsigned short> Crc16;
typedef CRC<unsigned long> Crc32;

const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

// The check values exercise the generated tables too.
TEST(CRC, ComputesThePublishedCheckValues) {
    EXPECT_EQ(0xBB3D, Crc16::Compute(kCheck, kCheck + 9));
    EXPECT_EQ(0xCBF43926u, Crc32::Compute(kCheck, kCheck + 9));
    EXPECT_EQ(0u, Crc32::Compute(kCheck, kCheck));
    // In pieces.
    const std::uint32_t reg = Crc32::Update(CRCTraits<unsigned long>::kInitial, kCheck, kCheck + 4);
    EXPECT_EQ(0xCBF43926u,
              Crc32::Update(reg, kCheck + 4, kCheck + 9) ^ CRCTraits<unsigned long>::kFinalXor);
}

TEST(CRC, ReadsStoredValuesOfTwoAndFourBytesOnEveryArchitecture) {
    static_assert(std::is_same<Crc32::Value, std::uint32_t>::value, "");
    const unsigned char bytes[] = {0xEE, 0x3D, 0xBB, 0x26, 0x39, 0xF4, 0xCB, 0xEE};  // unaligned

    const unsigned char* p = bytes + 1;
    const Crc16 crc16(p, bytes + 3);
    EXPECT_EQ(bytes + 3, p);
    EXPECT_TRUE(crc16.present());
    EXPECT_EQ(0xBB3D, crc16.value());
    EXPECT_TRUE(crc16.matches(kCheck, kCheck + 9));

    const Crc32 crc32(p, bytes + 8);
    EXPECT_EQ(bytes + 7, p);
    EXPECT_EQ(0xCBF43926u, crc32.value());
    EXPECT_TRUE(crc32.matches(kCheck, kCheck + 9));
    EXPECT_FALSE(crc32.matches(kCheck, kCheck + 8));

    EXPECT_FALSE(Crc16().present());
    EXPECT_FALSE(Crc16().matches(kCheck, kCheck));  // although the CRC of nothing is 0 too
}

TEST(CRC, ShortInputThrowsTheRangeCheckAndLeavesTheCursor) {
    const unsigned char bytes[] = {1, 2, 3};
    const unsigned char* p = bytes;
    EXPECT_EQ(
        "ka/kor/little_endian:124: Failed to deserialize",
        ka_test::ThrowSite<exception::DeserializationError>([&] { Crc32 crc(p, bytes + 3); }));
    EXPECT_EQ(bytes, p);
    p = bytes + 2;
    EXPECT_THROW(Crc16(p, bytes + 3), exception::DeserializationError);
    EXPECT_EQ(bytes + 2, p);
}

}  // namespace
