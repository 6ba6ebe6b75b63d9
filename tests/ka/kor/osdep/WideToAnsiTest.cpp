#include "ka/kor/osdep/WideToAnsi.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ka/kor/exception.h"

namespace {

using ka::kor::osdep::GetAnsiStringLength;
using ka::kor::osdep::WideToAnsi;

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

TEST(WideToAnsi, ConvertsAndSubstitutesPerCharacter) {
    struct Case {
        const char* codeSet;
        std::wstring chars;
        std::string bytes;
    };
    const Case cases[] = {
        {"US-ASCII", L"abc", "abc"},
        {"US-ASCII",
         L"a\u00E9\u20AC"
         L"b",
         "a??b"},
        {"US-ASCII", std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {"UTF-8", L"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
        {"UTF-8", std::wstring(1, static_cast<wchar_t>(0xD800)), "?"},
        {"UTF-8", std::wstring(1, static_cast<wchar_t>(0x80000000u)), "?"},
        {"CP932", L"\u3042\u4E9Cz", "\x82\xA0\x88\x9Fz"},
        {"CP932", L"\u00E9", "?"},
        // A stateful code set returns to its initial state at the end.
        {"ISO-2022-JP", L"\u3042!\u3042", "\x1B$B$\"\x1B(B!\x1B$B$\"\x1B(B"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.codeSet << " " << testing::PrintToString(c.bytes));
        EXPECT_EQ(c.bytes, Convert(c.chars, c.codeSet));
    }
}

TEST(WideToAnsi, LongTextConvertsWhole) {
    // Longer than any internal scratch area, so measuring has to go round several times.
    std::wstring chars;
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        chars += L"\u3042x\u00E9";
        bytes += "\x82\xA0x?";
    }
    EXPECT_EQ(bytes, Convert(chars, "CP932"));
}

TEST(WideToAnsi, NullTextIsEmpty) {
    std::unique_ptr<char[]> a(WideToAnsi(nullptr, "US-ASCII"));
    EXPECT_STREQ("", a.get());
    std::unique_ptr<char[]> b(WideToAnsi(L"ok", "US-ASCII"));
    EXPECT_STREQ("ok", b.get());
}

TEST(WideToAnsi, UnknownCodeSetThrowsInvalidLocale) {
    EXPECT_THROW(WideToAnsi(L"x", "NO-SUCH-CODE-SET"), ka::kor::exception::InvalidLocale);
}

}  // namespace
