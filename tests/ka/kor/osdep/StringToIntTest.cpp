#include "ka/kor/osdep/StringToInt.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/IntToString.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using ka::kor::exception::UnableToConvert;

TEST(StringToInt, ParsesWithTheDeliberateQuirks) {
    EXPECT_EQ(-12, StringToInt32(L"  -12", 10));
    EXPECT_EQ(18, StringToInt32(L"  -12", 16));  // "-" outside radix 10 is ignored
    EXPECT_EQ(0, StringToInt32(L"0x", 16));      // too short for the prefix: "x" ends it
    EXPECT_EQ(31, StringToInt32(L"0X1f", 16));
    EXPECT_EQ(7, StringToInt32(L"\t\r\n 7", 10));
    EXPECT_EQ(-5, StringToInt32(L"-+5", 10));
    EXPECT_EQ(0, StringToInt32(L"+-5", 10));
    EXPECT_EQ(2, StringToInt32(L"102", 2));
    const wchar_t zero[] = {L'1', L'2', L'\0', L'3'};
    EXPECT_EQ(12, StringToInt32(String(zero, zero + 4), 10));
    EXPECT_EQ(35 * 36 + 35, StringToInt32(L"zZ", 36));
    EXPECT_EQ(-128, StringToInt8(L"128", 10));  // accumulated unsigned, then taken as signed
    EXPECT_EQ(0, StringToUInt8(L"256", 10));    // the last addition wraps unchecked
    EXPECT_EQ(4294967295u, StringToUInt32(L"-1", 10));
    EXPECT_EQ(INT64_MIN, StringToInt64(L"-9223372036854775808", 10));
    EXPECT_EQ(UINT64_MAX, StringToUInt64(L"FFFFFFFFFFFFFFFF", 16));
}

TEST(StringToInt, OverflowOnTheMultiplicationAndBadRadixThrow) {
    EXPECT_THROW(StringToUInt8(L"300", 10), UnableToConvert);
    EXPECT_THROW(StringToInt16(L"10000", 16), UnableToConvert);
    EXPECT_THROW(StringToUInt32(L"42949672950", 10), UnableToConvert);
    EXPECT_THROW(StringToInt32(L"-100000000", 16), UnableToConvert);
    EXPECT_THROW(StringToUInt64(L"FFFFFFFFFFFFFFFF0", 16), UnableToConvert);
    EXPECT_THROW(StringToInt8(L"", 0), UnableToConvert);
    EXPECT_THROW(StringToUInt16(L"1", 1), UnableToConvert);
    EXPECT_THROW(StringToInt64(L"z", 37), UnableToConvert);
}

std::wstring W(const String& s) {
    return std::wstring(s.begin(), s.end());
}

TEST(IntToString, FormatsEveryWidth) {
    EXPECT_EQ(L"FFFFFFFF", W(Int32ToString(-1, 16)));  // two's-complement bits outside radix 10
    EXPECT_EQ(L"FF", W(Int8ToString(-1, 16)));
    EXPECT_EQ(L"1111111111111110", W(Int16ToString(-2, 2)));
    EXPECT_EQ(L"37777777770", W(IntToString(-8, 8)));
    EXPECT_EQ(L"-12", W(Int32ToString(-12, 10)));
    EXPECT_EQ(L"-128", W(Int8ToString(INT8_MIN, 10)));
    EXPECT_EQ(L"-9223372036854775808", W(Int64ToString(INT64_MIN, 10)));
    EXPECT_EQ(std::wstring(64, L'1'), W(UInt64ToString(UINT64_MAX, 2)));
    EXPECT_EQ(L"0", W(Int64ToString(0, 36)));
    EXPECT_EQ(L"Z", W(UInt16ToString(35, 36)));
    EXPECT_EQ(L"4294967295", W(UIntToString(0xFFFFFFFFu, 10)));
    for (const unsigned radix : {0u, 1u, 37u}) {
        SCOPED_TRACE(radix);
        EXPECT_THROW(Int8ToString(0, radix), UnableToConvert);
        EXPECT_THROW(UInt64ToString(1, radix), UnableToConvert);
    }
}

TEST(IntToString, ParsersReadBackWhatIsFormatted) {
    std::mt19937_64 rng(7);
    for (int i = 0; i < 2000; ++i) {
        const std::int64_t v = static_cast<std::int64_t>(rng()) >> (rng() % 64);
        const unsigned radix = 2 + static_cast<unsigned>(rng() % 35);
        SCOPED_TRACE(testing::Message() << v << " radix " << radix);
        EXPECT_EQ(v, StringToInt64(Int64ToString(v, radix), radix));
        const std::int32_t w = static_cast<std::int32_t>(v);
        EXPECT_EQ(w, StringToInt32(Int32ToString(w, radix), radix));
    }
}

}  // namespace
