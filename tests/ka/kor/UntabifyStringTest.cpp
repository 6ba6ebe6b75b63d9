#include "ka/kor/UntabifyString.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

TEST(UntabifyString, EveryTabBecomesExactlyWidthSpaces) {
    const struct {
        std::wstring text;
        unsigned int width;
        std::wstring expected;
    } cases[] = {
        {L"", 4, L""},
        {L"no tabs", 4, L"no tabs"},
        {L"a\tb", 4, L"a    b"},
        {L"abc\tx", 4, L"abc    x"},  // not to the next tab stop
        {L"\t\t", 2, L"    "},
        {L"a\tb\tc", 0, L"abc"},
        {L"\u00e9\t\u4e2d", 3, L"\u00e9   \u4e2d"},
        {std::wstring(L"a\0\tb", 4), 2, std::wstring(L"a\0  b", 5)},  // zeros are kept
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.expected.size());
        const String result =
            UntabifyString(String(c.text.data(), c.text.data() + c.text.size()), c.width);
        EXPECT_EQ(c.expected, std::wstring(result.begin(), result.end()));
    }
}

TEST(UntabifyString, RefusesAResultTooLongWhateverTheWidth) {
    // Two tabs of width 2^31 make 2^32 + 1 characters, which a 32-bit sum would wrap to 1.
    for (const unsigned int width : {0xFFFFFFFFu, 0x80000000u}) {
        SCOPED_TRACE(width);
        EXPECT_THROW(UntabifyString(String(L"a\t\t"), width), exception::BoundExceeded2);
    }
}

}  // namespace
