#include "ka/kor/osdep/AnsiToWide.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ka/kor/LocaleScope.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::osdep::AnsiToWide;
using ka::kor::osdep::GetAnsiStringLength;

std::wstring Convert(const std::string& bytes, const char* codeSet) {
    wchar_t* b = nullptr;
    wchar_t* e = nullptr;
    AnsiToWide(bytes.data(), bytes.data() + bytes.size(), codeSet, b, e);
    std::unique_ptr<wchar_t[]> owner(b);
    EXPECT_EQ(L'\0', *e);
    EXPECT_EQ(static_cast<unsigned>(e - b),
              GetAnsiStringLength(bytes.data(), bytes.data() + bytes.size(), codeSet));
    return std::wstring(b, e);
}

using ka::kor::test::LocaleScope;

TEST(AnsiToWide, ConvertsAndSubstitutesPerByte) {
    struct Case {
        const char* codeSet;
        std::string bytes;
        std::wstring chars;
    };
    const Case cases[] = {
        {"US-ASCII", "abc", L"abc"},
        {"US-ASCII",
         "a\x80\xFF"
         "b",
         L"a??b"},
        {"US-ASCII", std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
        {"UTF-8", "\xC3\xA9\xE2\x82\xAC", L"\u00E9\u20AC"},
        {"UTF-8", "a\xE2\x82", L"a??"},  // a sequence cut short: one "?" per byte
        {"UTF-8", "\xC3(", L"?("},
        {"ISO-8859-1", "\xE9", L"\u00E9"},
        {"CP932", "\x82\xA0\x88\x9F", L"\u3042\u4E9C"},
        {"CP932", "A\x82", L"A?"},
        {"ISO-2022-JP", "\x1B$B$\"\x1B(B!", L"\u3042!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.codeSet << " " << testing::PrintToString(c.bytes));
        EXPECT_EQ(c.chars, Convert(c.bytes, c.codeSet));
    }
}

TEST(AnsiToWide, ZeroTerminatedFormStopsAtZeroOrCount) {
    std::unique_ptr<wchar_t[]> a(AnsiToWide("abc\0def", 10, "US-ASCII"));
    EXPECT_STREQ(L"abc", a.get());
    std::unique_ptr<wchar_t[]> b(AnsiToWide("abcdef", 2, "US-ASCII"));
    EXPECT_STREQ(L"ab", b.get());
    EXPECT_EQ(2u, GetAnsiStringLength("\xC3\xA9z", 5, "UTF-8"));
}

TEST(AnsiToWide, EmptyCodeSetIsTheCurrentLocales) {
    const std::string bytes = "\xC3\xA9";
    {
        LocaleScope scope("C.UTF-8");
        EXPECT_EQ(L"\u00E9", Convert(bytes, ""));
    }
    {
        LocaleScope scope("C");
        EXPECT_EQ(L"??", Convert(bytes, ""));
    }
}

TEST(AnsiToWide, UnknownCodeSetThrowsInvalidLocale) {
    wchar_t* b = nullptr;
    wchar_t* e = nullptr;
    const char text[] = "x";
    EXPECT_THROW(AnsiToWide(text, text + 1, "NO-SUCH-CODE-SET", b, e),
                 ka::kor::exception::InvalidLocale);
    EXPECT_THROW(GetAnsiStringLength(text, 1, "NO-SUCH-CODE-SET"),
                 ka::kor::exception::InvalidLocale);
}

}  // namespace
