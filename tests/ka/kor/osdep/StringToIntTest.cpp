#include "ka/kor/osdep/StringToInt.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor::osdep;
using ka::kor::String;
using ka::kor::exception::UnableToConvert;

// Every parser by name ("I8" ... "U64"), its result widened so that one table covers all widths.
std::int64_t Parse(const std::string& parser, const String& text, unsigned radix) {
    const std::int64_t results[] = {
        parser == "I8" ? StringToInt8(text, radix) : 0,
        parser == "I16" ? StringToInt16(text, radix) : 0,
        parser == "I32" ? StringToInt32(text, radix) : 0,
        parser == "I64" ? StringToInt64(text, radix) : 0,
        parser == "U8" ? StringToUInt8(text, radix) : 0,
        parser == "U16" ? StringToUInt16(text, radix) : 0,
        parser == "U32" ? StringToUInt32(text, radix) : 0,
        parser == "U64" ? static_cast<std::int64_t>(StringToUInt64(text, radix)) : 0,
    };
    std::int64_t r = 0;
    for (std::int64_t v : results) {
        r |= v;
    }
    return r;
}

TEST(StringToInt, ParsesWithTheDeliberateQuirks) {
    struct Case {
        const char* parser;
        const wchar_t* text;
        unsigned radix;
        std::int64_t expected;
    };
    const Case cases[] = {
        {"I32", L"  -12", 10, -12},
        {"I32", L"  -12", 16, 18},  // "-" outside radix 10 is consumed and ignored
        {"I32", L"0x", 16, 0},      // too short for the prefix: a plain 0, "x" ends it
        {"I32", L"0x1", 16, 1},
        {"I32", L"0X1f", 16, 31},
        {"I32", L"-0x10", 16, 16},
        {"I32", L"\t\r\n 7", 10, 7},
        {"I32", L"-+5", 10, -5},
        {"I32", L"+-5", 10, 0},
        {"I32", L"102", 2, 2},
        {"I32", L"zZ", 36, 35 * 36 + 35},
        {"I8", L"-128", 10, -128},
        {"I8", L"128", 10, -128},  // accumulated unsigned, then taken as signed
        {"U8", L"255", 10, 255},
        {"U8", L"256", 10, 0},  // the last addition wraps unchecked
        {"U8", L"-1", 10, 255},
        {"U32", L"4294967296", 10, 0},
        {"U32", L"-1", 10, 4294967295},
        {"I64", L"-9223372036854775808", 10, INT64_MIN},
        {"U64", L"FFFFFFFFFFFFFFFF", 16, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.parser << " " << testing::PrintToString(std::wstring(c.text)) << " radix "
                     << c.radix);
        EXPECT_EQ(c.expected, Parse(c.parser, c.text, c.radix));
    }
    const wchar_t zero[] =
        L"12\0"
        L"34";
    EXPECT_EQ(12, StringToInt32(String(zero, zero + 5), 10));
}

TEST(StringToInt, OverflowOnTheMultiplicationThrows) {
    struct Case {
        const char* parser;
        const wchar_t* text;
        unsigned radix;
    };
    const Case cases[] = {
        {"U8", L"300", 10},          {"I8", L"1000", 10},        {"U16", L"10000", 16},
        {"U32", L"42949672950", 10}, {"I32", L"-100000000", 16}, {"U64", L"FFFFFFFFFFFFFFFF0", 16},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.parser << " " << testing::PrintToString(std::wstring(c.text)));
        EXPECT_THROW(Parse(c.parser, c.text, c.radix), UnableToConvert);
    }
}

TEST(StringToInt, RadixOutsideTwoToThirtySixThrows) {
    for (const char* parser : {"I8", "I16", "I32", "I64", "U8", "U16", "U32", "U64"}) {
        for (const unsigned radix : {0u, 1u, 37u}) {
            SCOPED_TRACE(testing::Message() << parser << " radix " << radix);
            EXPECT_THROW(Parse(parser, L"", radix), UnableToConvert);
        }
        EXPECT_EQ(35, Parse(parser, L"z", 36));
    }
}

}  // namespace
