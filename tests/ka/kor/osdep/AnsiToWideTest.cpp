#include "ka/kor/osdep/AnsiToWide.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ka/kor/LocaleScope.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/WideToAnsi.h"

namespace {

using ka::kor::osdep::AnsiToWide;
using ka::kor::osdep::GetAnsiStringLength;
using ka::kor::osdep::WideToAnsi;
using ka::kor::test::LocaleScope;

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

std::string Convert(const std::wstring& chars, const char* codeSet) {
    char* b = nullptr;
    char* e = nullptr;
    WideToAnsi(chars.data(), chars.data() + chars.size(), codeSet, b, e);
    std::unique_ptr<char[]> owner(b);
    EXPECT_EQ('\0', *e);
    EXPECT_EQ(static_cast<unsigned>(e - b),
              GetAnsiStringLength(chars.data(), chars.data() + chars.size(), codeSet));
    return std::string(b, e);
}

TEST(AnsiToWide, ConvertsAndSubstitutesPerByte) {
    EXPECT_EQ(L"a??", Convert("a\x80\xFF", "US-ASCII"));
    EXPECT_EQ(std::wstring(L"a\0b", 3), Convert(std::string("a\0b", 3), "US-ASCII"));
    EXPECT_EQ(L"\u00E9\u20AC", Convert("\xC3\xA9\xE2\x82\xAC", "UTF-8"));
    EXPECT_EQ(L"a??", Convert("a\xE2\x82", "UTF-8"));  // a sequence cut short: one "?" per byte
    EXPECT_EQ(L"?(", Convert("\xC3(", "UTF-8"));
    EXPECT_EQ(L"\u3042\u4E9C", Convert("\x82\xA0\x88\x9F", "CP932"));
    EXPECT_EQ(L"A?", Convert("A\x82", "CP932"));
    EXPECT_EQ(L"\u3042!", Convert("\x1B$B$\"\x1B(B!", "ISO-2022-JP"));
    // The zero-terminated form stops at a zero or at the count.
    std::unique_ptr<wchar_t[]> a(AnsiToWide("abc\0def", 10, "US-ASCII"));
    EXPECT_STREQ(L"abc", a.get());
    EXPECT_EQ(2u, GetAnsiStringLength("\xC3\xA9z", 5, "UTF-8"));
    EXPECT_EQ(1u, GetAnsiStringLength("\xC3\xA9z", 2, "UTF-8"));
}

TEST(AnsiToWide, EmptyCodeSetIsTheCurrentLocalesAndUnknownThrowsBothWays) {
    {
        LocaleScope scope("C.UTF-8");
        EXPECT_EQ(L"\u00E9", Convert("\xC3\xA9", ""));
        EXPECT_EQ("\xC3\xA9", Convert(std::wstring(L"\u00E9"), ""));
    }
    {
        LocaleScope scope("C");
        EXPECT_EQ(L"??", Convert("\xC3\xA9", ""));
    }
    const char text[] = "x";
    EXPECT_THROW(GetAnsiStringLength(text, 1, "NO-SUCH-CODE-SET"),
                 ka::kor::exception::InvalidLocale);
    EXPECT_THROW(AnsiToWide(text, text + 1, "NO-SUCH-CODE-SET"), ka::kor::exception::InvalidLocale);
    EXPECT_THROW(WideToAnsi(L"x", "NO-SUCH-CODE-SET"), ka::kor::exception::InvalidLocale);
    std::unique_ptr<char[]> null(WideToAnsi(nullptr, "US-ASCII"));
    EXPECT_STREQ("", null.get());
}

TEST(WideToAnsi, ConvertsAndSubstitutesPerCharacter) {
    EXPECT_EQ("a??b", Convert(L"a\u00E9\u20ACb", "US-ASCII"));
    EXPECT_EQ(std::string("a\0b", 3), Convert(std::wstring(L"a\0b", 3), "US-ASCII"));
    EXPECT_EQ("\xC3\xA9\xE2\x82\xAC", Convert(L"\u00E9\u20AC", "UTF-8"));
    EXPECT_EQ("?", Convert(std::wstring(1, static_cast<wchar_t>(0xD800)), "UTF-8"));
    EXPECT_EQ("?", Convert(std::wstring(1, static_cast<wchar_t>(0x80000000u)), "UTF-8"));
    EXPECT_EQ("\x82\xA0\x88\x9Fz", Convert(L"\u3042\u4E9Cz", "CP932"));
    // A stateful code set returns to its initial state at the end.
    EXPECT_EQ("\x1B$B$\"\x1B(B!\x1B$B$\"\x1B(B", Convert(L"\u3042!\u3042", "ISO-2022-JP"));
    // Longer than any internal scratch area, so measuring has to go round several times.
    std::wstring chars;
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        chars += L"\u3042x\u00E9";
        bytes += "\x82\xA0x?";
    }
    EXPECT_EQ(bytes, Convert(chars, "CP932"));
}

}  // namespace
