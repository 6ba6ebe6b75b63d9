#include "ka/kor/osdep/StringToInt.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using ka::kor::exception::UnableToConvert;

typedef std::int64_t (*Parser)(const String&, unsigned int);

// Every parser, its result widened so that one table covers all widths.
const Parser kInt8 = [](const String& s, unsigned r) -> std::int64_t { return StringToInt8(s, r); };
const Parser kInt16 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToInt16(s, r);
};
const Parser kInt32 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToInt32(s, r);
};
const Parser kInt64 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToInt64(s, r);
};
const Parser kUInt8 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToUInt8(s, r);
};
const Parser kUInt16 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToUInt16(s, r);
};
const Parser kUInt32 = [](const String& s, unsigned r) -> std::int64_t {
    return StringToUInt32(s, r);
};
const Parser kUInt64 = [](const String& s, unsigned r) -> std::int64_t {
    return static_cast<std::int64_t>(StringToUInt64(s, r));
};

TEST(StringToInt, ParsesWithTheDeliberateQuirks) {
    struct Case {
        const char* name;
        Parser parse;
        const wchar_t* text;
        unsigned radix;
        std::int64_t expected;
    };
    const Case cases[] = {
        {"Int32", kInt32, L"  -12", 10, -12},
        {"Int32", kInt32, L"  -12", 16, 18},  // "-" outside radix 10 is consumed and ignored
        {"Int32", kInt32, L"-1", 2, 1},
        {"Int32", kInt32, L"0x", 16, 0},  // too short for the prefix: a plain 0, "x" ends it
        {"Int32", kInt32, L"0x1", 16, 1},
        {"Int32", kInt32, L"0X1f", 16, 31},
        {"Int32", kInt32, L"0xg", 16, 0},
        {"Int32", kInt32, L"0x10", 10, 0},
        {"Int32", kInt32, L"-0x10", 16, 16},
        {"Int32", kInt32, L"", 10, 0},
        {"Int32", kInt32, L" \t\r\n", 10, 0},
        {"Int32", kInt32, L"\t\r\n 7", 10, 7},
        {"Int32", kInt32, L"+5", 10, 5},
        {"Int32", kInt32, L"-+5", 10, -5},
        {"Int32", kInt32, L"+-5", 10, 0},
        {"Int32", kInt32, L"--5", 10, 0},
        {"Int32", kInt32, L"12abc", 10, 12},
        {"Int32", kInt32, L"12 34", 10, 12},
        {"Int32", kInt32, L"102", 2, 2},
        {"Int32", kInt32, L"zZ", 36, 35 * 36 + 35},
        {"Int32", kInt32, L"Az", 36, 10 * 36 + 35},
        {"Int32", kInt32, L"777", 8, 511},
        {"Int8", kInt8, L"127", 10, 127},
        {"Int8", kInt8, L"-128", 10, -128},
        {"Int8", kInt8, L"128", 10, -128},  // accumulated unsigned, then taken as signed
        {"Int8", kInt8, L"FF", 16, -1},
        {"UInt8", kUInt8, L"255", 10, 255},
        {"UInt8", kUInt8, L"256", 10, 0},  // the last addition wraps unchecked
        {"UInt8", kUInt8, L"-1", 10, 255},
        {"Int16", kInt16, L"-32768", 10, -32768},
        {"UInt16", kUInt16, L"FFFF", 16, 65535},
        {"UInt16", kUInt16, L"65536", 10, 0},
        {"UInt32", kUInt32, L"4294967295", 10, 4294967295},
        {"UInt32", kUInt32, L"4294967296", 10, 0},
        {"UInt32", kUInt32, L"-1", 10, 4294967295},
        {"Int32", kInt32, L"-2147483648", 10, INT32_MIN},
        {"Int64", kInt64, L"-9223372036854775808", 10, INT64_MIN},
        {"Int64", kInt64, L"7FFFFFFFFFFFFFFF", 16, INT64_MAX},
        {"UInt64", kUInt64, L"FFFFFFFFFFFFFFFF", 16, -1},
        {"UInt64", kUInt64, L"18446744073709551616", 10, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.name << " " << testing::PrintToString(std::wstring(c.text)) << " radix "
                     << c.radix);
        EXPECT_EQ(c.expected, c.parse(c.text, c.radix));
    }
}

TEST(StringToInt, OverflowOnTheMultiplicationThrows) {
    struct Case {
        const char* name;
        Parser parse;
        const wchar_t* text;
        unsigned radix;
    };
    const Case cases[] = {
        {"UInt8", kUInt8, L"300", 10},
        {"UInt8", kUInt8, L"2550", 10},
        {"Int8", kInt8, L"1000", 10},
        {"UInt16", kUInt16, L"10000", 16},
        {"UInt32", kUInt32, L"42949672950", 10},
        {"Int32", kInt32, L"-100000000", 16},
        {"UInt64", kUInt64, L"FFFFFFFFFFFFFFFF0", 16},
        {"Int64", kInt64,
         L"1111111111111111111111111111111111111111111111111111111111111111"
         L"1",
         2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.name << " " << testing::PrintToString(std::wstring(c.text)));
        EXPECT_THROW(c.parse(c.text, c.radix), UnableToConvert);
    }
}

TEST(StringToInt, RadixOutsideTwoToThirtySixThrows) {
    const Parser parsers[] = {kInt8, kInt16, kInt32, kInt64, kUInt8, kUInt16, kUInt32, kUInt64};
    for (const Parser parse : parsers) {
        for (const unsigned radix : {0u, 1u, 37u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(radix);
            EXPECT_THROW(parse(L"", radix), UnableToConvert);
            EXPECT_THROW(parse(L"1", radix), UnableToConvert);
        }
        EXPECT_EQ(1, parse(L"1", 2));
        EXPECT_EQ(35, parse(L"z", 36));
    }
}

TEST(StringToInt, StopsAtAnEmbeddedZero) {
    const wchar_t text[] =
        L"12\0"
        L"34";
    EXPECT_EQ(12, StringToInt32(String(text, text + 5), 10));
}

}  // namespace
