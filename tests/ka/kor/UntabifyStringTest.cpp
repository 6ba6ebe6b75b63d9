#include "ka/kor/UntabifyString.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace ka::kor;

TEST(UntabifyString, EveryTabBecomesExactlyWidthSpaces) {
    const struct {
        const wchar_t* text;
        unsigned int width;
        const wchar_t* expected;
    } cases[] = {
        {L"", 4, L""},
        {L"no tabs", 4, L"no tabs"},
        {L"\t", 4, L"    "},
        {L"a\tb", 4, L"a    b"},
        {L"abc\tx", 4, L"abc    x"},  // not to the next tab stop
        {L"\t\t", 2, L"    "},
        {L"a\t", 1, L"a "},
        {L"a\tb\tc", 0, L"abc"},
        {L"\u00e9\t\u4e2d", 3, L"\u00e9   \u4e2d"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width);
        const String result = UntabifyString(c.text, c.width);
        EXPECT_EQ(std::wstring(c.expected), std::wstring(result.begin(), result.end()));
    }
}

TEST(UntabifyString, KeepsEmbeddedZeros) {
    const wchar_t text[] = {L'a', L'\0', L'\t', L'b'};
    const String result = UntabifyString(String(text, text + 4), 2);
    const wchar_t expected[] = {L'a', L'\0', L' ', L' ', L'b'};
    EXPECT_EQ(std::wstring(expected, 5), std::wstring(result.begin(), result.end()));
}

}  // namespace
