#include "ka/kor/osdep/IntToString.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/StringToInt.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using ka::kor::exception::UnableToConvert;

std::wstring Text(const String& s) {
    return std::wstring(s.begin(), s.end());
}

TEST(IntToString, FormatsEveryWidth) {
    struct Case {
        String text;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {Int32ToString(-1, 16), L"FFFFFFFF"},  // two's-complement bits outside radix 10
        {Int8ToString(-1, 16), L"FF"},
        {Int16ToString(-2, 2), L"1111111111111110"},
        {Int64ToString(-1, 16), L"FFFFFFFFFFFFFFFF"},
        {IntToString(-8, 8), L"37777777770"},
        {Int32ToString(-12, 10), L"-12"},
        {Int8ToString(INT8_MIN, 10), L"-128"},
        {Int32ToString(INT32_MIN, 10), L"-2147483648"},
        {Int64ToString(INT64_MIN, 10), L"-9223372036854775808"},
        {Int64ToString(INT64_MIN, 2),
         L"1000000000000000000000000000000000000000000000000000000000000000"},
        {UInt64ToString(UINT64_MAX, 2),
         L"1111111111111111111111111111111111111111111111111111111111111111"},
        {Int64ToString(0, 36), L"0"},
        {UInt8ToString(255, 16), L"FF"},
        {UInt16ToString(35, 36), L"Z"},
        {UIntToString(0xFFFFFFFFu, 10), L"4294967295"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.expected)));
        EXPECT_EQ(c.expected, Text(c.text));
    }
}

TEST(IntToString, RadixZeroOrOutsideTwoToThirtySixThrows) {
    for (const unsigned radix : {0u, 1u, 37u}) {
        SCOPED_TRACE(radix);
        EXPECT_THROW(Int8ToString(0, radix), UnableToConvert);
        EXPECT_THROW(Int32ToString(-1, radix), UnableToConvert);
        EXPECT_THROW(IntToString(1, radix), UnableToConvert);
        EXPECT_THROW(UInt64ToString(1, radix), UnableToConvert);
        EXPECT_THROW(UIntToString(1, radix), UnableToConvert);
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
        const std::uint16_t u = static_cast<std::uint16_t>(v);
        EXPECT_EQ(u, StringToUInt16(UInt16ToString(u, radix), radix));
    }
}

}  // namespace
