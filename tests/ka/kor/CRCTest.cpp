#include "ka/kor/CRC.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

TEST(CRC, TablesAreTheReflectedArcAndIsoHdlcTables) {
    static_assert(CRC<unsigned short>::CRCTable_.size() == 256, "");
    EXPECT_EQ(0x0000, CRC<unsigned short>::CRCTable_[0]);
    EXPECT_EQ(0xC0C1, CRC<unsigned short>::CRCTable_[1]);
    EXPECT_EQ(0xC181, CRC<unsigned short>::CRCTable_[2]);
    EXPECT_EQ(0x4040, CRC<unsigned short>::CRCTable_[255]);
    EXPECT_EQ(0x00000000u, CRC<unsigned long>::CRCTable_[0]);
    EXPECT_EQ(0x77073096u, CRC<unsigned long>::CRCTable_[1]);
    EXPECT_EQ(0xEE0E612Cu, CRC<unsigned long>::CRCTable_[2]);
    EXPECT_EQ(0x2D02EF8Du, CRC<unsigned long>::CRCTable_[255]);
}

TEST(CRC, ComputesThePublishedCheckValues) {
    EXPECT_EQ(0xBB3D, CRC<unsigned short>::Compute(kCheck, kCheck + 9));
    EXPECT_EQ(0xCBF43926u, CRC<unsigned long>::Compute(kCheck, kCheck + 9));
    EXPECT_EQ(0, CRC<unsigned short>::Compute(kCheck, kCheck));
    EXPECT_EQ(0u, CRC<unsigned long>::Compute(kCheck, kCheck));
}

TEST(CRC, UpdateInPiecesEqualsCompute) {
    typedef CRC<unsigned long> Crc32;
    std::uint32_t reg = CRCTraits<unsigned long>::kInitial;
    reg = Crc32::Update(reg, kCheck, kCheck + 4);
    reg = Crc32::Update(reg, kCheck + 4, kCheck + 9);
    EXPECT_EQ(0xCBF43926u, reg ^ CRCTraits<unsigned long>::kFinalXor);
}

TEST(CRC, StoredValuesAreTwoAndFourBytesOnEveryArchitecture) {
    static_assert(std::is_same<CRC<unsigned long>::Value, std::uint32_t>::value, "");
    static_assert(CRC<unsigned short>::kStoredSize == 2, "");
    static_assert(CRC<unsigned long>::kStoredSize == 4, "");
    // Odd offsets: the stored values need not be aligned.
    const unsigned char bytes[] = {0xEE, 0x3D, 0xBB, 0x26, 0x39, 0xF4, 0xCB, 0xEE};

    const unsigned char* p = bytes + 1;
    const CRC<unsigned short> crc16(p, bytes + 3);
    EXPECT_TRUE(crc16.present());
    EXPECT_EQ(0xBB3D, crc16.value());
    EXPECT_EQ(bytes + 3, p);
    EXPECT_TRUE(crc16.matches(kCheck, kCheck + 9));

    const CRC<unsigned long> crc32(p, bytes + 8);
    EXPECT_EQ(0xCBF43926u, crc32.value());
    EXPECT_EQ(bytes + 7, p);
    EXPECT_TRUE(crc32.matches(kCheck, kCheck + 9));
    EXPECT_FALSE(crc32.matches(kCheck, kCheck + 8));
}

TEST(CRC, ShortInputThrowsAndLeavesTheCursor) {
    const unsigned char bytes[] = {1, 2, 3};
    const unsigned char* p = bytes;
    try {
        CRC<unsigned long> crc(p, bytes + 3);
        ADD_FAILURE() << "nothing thrown";
    } catch (const exception::DeserializationError& e) {
        EXPECT_STREQ("ka/kor/little_endian", e.file());
        EXPECT_EQ(124u, e.line());
    }
    EXPECT_EQ(bytes, p);
    p = bytes + 2;
    EXPECT_THROW(CRC<unsigned short>(p, bytes + 3), exception::DeserializationError);
    EXPECT_EQ(bytes + 2, p);
}

TEST(CRC, NothingReadIsAbsentAndMatchesNothing) {
    const CRC<unsigned short> crc;
    EXPECT_FALSE(crc.present());
    EXPECT_EQ(0, crc.value());
    EXPECT_FALSE(crc.matches(kCheck, kCheck));  // although the empty data's CRC is 0 too
}

}  // namespace
