#include "ka/kor/VestaURL.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "ka/kor/exception.h"
#include "ka/kor/lurlparse/PathSeparator.h"

namespace {

using ka::kor::RenderType;
using ka::kor::String;
using ka::kor::VestaURL;
namespace ex = ka::kor::exception;
namespace lp = ka::kor::lurlparse;
typedef lp::PathSeparator<wchar_t> Parser;
typedef VestaURL::Component Component;

const wchar_t kNoSep = L'\0';
const wchar_t kBack = L'\\';
const wchar_t kDot = L'.';

struct ExpectedComponent {
    const wchar_t* name;  // null for a parent
    wchar_t sep;
};

struct Accepted {
    const wchar_t* text;
    int status;
    RenderType type;
    std::vector<ExpectedComponent> components;
    const wchar_t* rendered;  // null when rendering gives the text back
};

// Backslashes are doubled in the C++ literals: L"\\\\m\\p" is the text \\m\p.
// clang-format off
const Accepted kAccepted[] = {
    // The examples: machine, process and a path with both separators; the local machine; the
    // current process; a parent and a quoted name; a doubled quote.
    {L"\\\\m1.cell4\\proc\\a.b", lp::kComplete, RenderType::Absolute,
     {{L"m1.cell4", kNoSep}, {L"proc", kBack}, {L"a", kBack}, {L"b", kDot}}, nullptr},
    {L"\\\\.\\proc\\x", lp::kComplete, RenderType::LocalMachine,
     {{L"proc", kNoSep}, {L"x", kBack}}, nullptr},
    {L"\\x\\y", lp::kComplete, RenderType::ProcessRelative,
     {{L"x", kNoSep}, {L"y", kBack}}, nullptr},
    {L"..\\a.'b.c'", lp::kComplete, RenderType::Relative,
     {{nullptr, kNoSep}, {L"a", kBack}, {L"b.c", kDot}}, nullptr},
    {L"'it''s'", lp::kComplete, RenderType::Relative, {{L"it's", kNoSep}}, nullptr},
    // The partial forms.
    {L"", lp::kNothingAfterProcess, RenderType::Relative, {}, nullptr},
    {L"\\\\", lp::kNoMachine, RenderType::Absolute, {}, nullptr},
    {L"\\\\m", lp::kNoProcess, RenderType::Absolute, {{L"m", kNoSep}}, nullptr},
    {L"\\\\.", lp::kNoProcess, RenderType::LocalMachine, {}, L"\\\\.\\"},
    {L"\\\\m\\", lp::kNothingAfterProcess, RenderType::Absolute, {{L"m", kNoSep}}, L"\\\\m"},
    {L"\\\\m\\p", lp::kNothingAfterProcess, RenderType::Absolute,
     {{L"m", kNoSep}, {L"p", kBack}}, nullptr},
    {L"\\\\m\\p\\", lp::kNothingAfterProcess, RenderType::Absolute,
     {{L"m", kNoSep}, {L"p", kBack}}, L"\\\\m\\p"},
    {L"\\\\.\\p", lp::kNothingAfterProcess, RenderType::LocalMachine, {{L"p", kNoSep}}, nullptr},
    {L"\\\\.\\", lp::kNothingAfterProcess, RenderType::LocalMachine, {}, nullptr},
    {L"\\", lp::kNothingAfterProcess, RenderType::ProcessRelative, {}, nullptr},
    {L"\\..\\", lp::kNothingAfterProcess, RenderType::ProcessRelative,
     {{nullptr, kNoSep}}, nullptr},
    {L"..\\..\\", lp::kNothingAfterProcess, RenderType::Relative,
     {{nullptr, kNoSep}, {nullptr, kBack}}, nullptr},
    // Machine names may hold dots after the first character; "/" is ordinary in components.
    {L"\\\\m.x-y_z\\p/q\\a/b", lp::kComplete, RenderType::Absolute,
     {{L"m.x-y_z", kNoSep}, {L"p/q", kBack}, {L"a/b", kBack}}, nullptr},
    {L"\\..\\a", lp::kComplete, RenderType::ProcessRelative,
     {{nullptr, kNoSep}, {L"a", kBack}}, nullptr},
    // A single trailing separator is accepted and names nothing.
    {L"a.b.", lp::kComplete, RenderType::Relative, {{L"a", kNoSep}, {L"b", kDot}}, L"a.b"},
    {L"a\\b\\", lp::kComplete, RenderType::Relative, {{L"a", kNoSep}, {L"b", kBack}}, L"a\\b"},
    // Quotation hides separators, quotes, CR and LF; blanks and non-ASCII need none.
    {L"\\\\m\\'p.q'\\'a\\b'.'c''d'", lp::kComplete, RenderType::Absolute,
     {{L"m", kNoSep}, {L"p.q", kBack}, {L"a\\b", kBack}, {L"c'd", kDot}}, nullptr},
    {L"\\\\.\\p\\'x\r\ny'", lp::kComplete, RenderType::LocalMachine,
     {{L"p", kNoSep}, {L"x\r\ny", kBack}}, nullptr},
    {L"'.'", lp::kComplete, RenderType::Relative, {{L".", kNoSep}}, nullptr},
    {L"''''", lp::kComplete, RenderType::Relative, {{L"'", kNoSep}}, nullptr},
    {L"a b\\c\td", lp::kComplete, RenderType::Relative,
     {{L"a b", kNoSep}, {L"c\td", kBack}}, nullptr},
    {L"\\\\m\\pr\u00f6c\\\u65e5\u672c.x", lp::kComplete, RenderType::Absolute,
     {{L"m", kNoSep}, {L"pr\u00f6c", kBack}, {L"\u65e5\u672c", kBack}, {L"x", kDot}}, nullptr},
    // A quoted name that needs no quotes loses them when rendered.
    {L"'abc'.x", lp::kComplete, RenderType::Relative, {{L"abc", kNoSep}, {L"x", kDot}}, L"abc.x"},
};
// clang-format on

void ExpectComponents(const VestaURL& url, const std::vector<ExpectedComponent>& expected) {
    ASSERT_EQ(expected.size(), url.size());
    for (unsigned int i = 0; i < url.size(); ++i) {
        SCOPED_TRACE(i);
        const Component& c = url[i];
        EXPECT_EQ(expected[i].name == nullptr, c.parent());
        EXPECT_EQ(0, c.name().exactCompare(expected[i].name ? expected[i].name : L""));
        EXPECT_EQ(expected[i].sep, c.sep());
        EXPECT_EQ(i == 0, c.first());
    }
}

TEST(VestaURL, ParsesAcceptedTexts) {
    for (const Accepted& row : kAccepted) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        const String text(row.text);
        EXPECT_EQ(row.status, Parser::Parse(text.begin(), text.end()));
        EXPECT_TRUE(VestaURL::isValidPath(text));
        const VestaURL url(text);
        EXPECT_EQ(row.type, url.type());
        ExpectComponents(url, row.components);
        EXPECT_EQ(0, url.str().exactCompare(row.rendered ? row.rendered : row.text));
        EXPECT_EQ(url, VestaURL(row.text));
    }
}

struct Rejected {
    const wchar_t* text;
    int status;
};

const Rejected kRejected[] = {
    {L"\\\\\\m", lp::kThreeLeadingBackslashes},
    {L"\\\\\\", lp::kThreeLeadingBackslashes},
    {L"\\\\m/x", lp::kNoBackslashAfterMachine},
    {L"\\\\m x", lp::kNoBackslashAfterMachine},
    {L"\\\\.x", lp::kNoBackslashAfterMachine},
    {L"\\\\..\\p", lp::kNoBackslashAfterMachine},
    {L"\\\\m\\\\p", lp::kEmptyComponent},
    {L"\\\\m\\.p", lp::kEmptyComponent},
    {L"\\\\m\\p\\\\a", lp::kEmptyComponent},
    {L"\\\\m\\p\\.a", lp::kEmptyComponent},
    {L"\\\\m\\p\\a\\.", lp::kEmptyComponent},
    {L"\\\\.\\p\\..\\a", lp::kEmptyComponent},
    {L"a..b", lp::kEmptyComponent},
    {L"a\\\\b", lp::kEmptyComponent},
    {L"a.\\b", lp::kEmptyComponent},
    {L"..\\\\a", lp::kEmptyComponent},
    {L"\\..\\..\\a", lp::kEmptyComponent},
    {L"\\x\\\\y", lp::kEmptyComponent},
    {L"a\\..\\b", lp::kEmptyComponent},
    {L"\\\\m\\p.x", lp::kNoBackslashAfterProcess},
    {L"\\\\m\\'p'x", lp::kNoBackslashAfterProcess},
    {L"\\\\m\\p\rx", lp::kNoBackslashAfterProcess},
    {L".", lp::kTextLeftOver},
    {L"..", lp::kTextLeftOver},
    {L"..x", lp::kTextLeftOver},
    {L".x", lp::kTextLeftOver},
    {L"..\\.x", lp::kTextLeftOver},
    {L"\\.x", lp::kTextLeftOver},
    {L"\\..", lp::kTextLeftOver},
    {L"'a'b", lp::kTextLeftOver},
    {L"a'b'", lp::kTextLeftOver},
    {L"a\rb", lp::kTextLeftOver},
    {L"\r", lp::kEmptyUnquotedComponent},
    {L"\\\\m\\\n", lp::kEmptyUnquotedComponent},
    {L"a\\\r", lp::kEmptyUnquotedComponent},
    {L"''", lp::kEmptyUnquotedComponent},
    {L"\\\\m\\p\\''", lp::kEmptyUnquotedComponent},
    {L"\\\\'m", lp::kBadMachineStart},
    {L"\\\\/m", lp::kBadMachineStart},
    {L"\\\\ m", lp::kBadMachineStart},
    {L"\\\\\tm", lp::kBadMachineStart},
    {L"\\\\\rm", lp::kBadMachineStart},
    {L"'abc", lp::kUnterminatedQuotation},
    {L"\\\\m\\'p", lp::kUnterminatedQuotation},
    {L"a.'b''", lp::kUnterminatedQuotation},
    {L"'", lp::kUnterminatedQuotation},
};

TEST(VestaURL, RejectsMalformedTextsWithTheirStatus) {
    for (const Rejected& row : kRejected) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        const String text(row.text);
        EXPECT_EQ(row.status, Parser::Parse(text.begin(), text.end()));
        EXPECT_FALSE(VestaURL::isValidPath(text));
        try {
            VestaURL url(text);
            ADD_FAILURE() << "accepted";
        } catch (const ex::SyntaxError& e) {
            EXPECT_EQ("SyntaxError: " + std::string(ka::kor::AString(text).c_str()), e.what());
            EXPECT_EQ(0x8ABC7004u, e.getErrorCode());
        }
    }
}

// Each grammar checks its own opening, which the choice of grammar never lets fail.
TEST(VestaURL, GrammarsRejectAMissingOpening) {
    Parser::NullSink sink;
    struct Row {
        int (*grammar)(const wchar_t*, const wchar_t*, Parser::NullSink&);
        const wchar_t* text;
        int status;
    };
    const Row rows[] = {
        {Parser::Absolute<Parser::NullSink>, L"m\\p", lp::kTooFewLeadingBackslashes},
        {Parser::Absolute<Parser::NullSink>, L"\\m", lp::kTooFewLeadingBackslashes},
        {Parser::Absolute<Parser::NullSink>, L"\\\\\\m", lp::kThreeLeadingBackslashes},
        {Parser::Absolute<Parser::NullSink>, L"\\\\", lp::kNoMachine},
        {Parser::LocalMachine<Parser::NullSink>, L"\\.", lp::kTooFewLeadingBackslashes},
        {Parser::LocalMachine<Parser::NullSink>, L"\\\\m", lp::kMissingDotOrBackslash},
        {Parser::LocalMachine<Parser::NullSink>, L"\\\\", lp::kMissingDotOrBackslash},
        {Parser::ProcessRelative<Parser::NullSink>, L"x", lp::kMissingDotOrBackslash},
        {Parser::ProcessRelative<Parser::NullSink>, L"", lp::kMissingDotOrBackslash},
        {Parser::Relative<Parser::NullSink>, L"\\a", lp::kEmptyUnquotedComponent},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        const String text(row.text);
        EXPECT_EQ(row.status, row.grammar(text.begin(), text.end(), sink));
    }
}

TEST(PathSeparator, NarrowAndWideTablesAgree) {
    typedef lp::PathSeparator<char> Narrow;
    EXPECT_STREQ(L"\\.'\r\n", Parser::special_);
    EXPECT_STREQ("\\.'\r\n", Narrow::special_);
    EXPECT_STREQ(L"\\.'\r\n/ \t", Parser::badMachine_);
    EXPECT_STREQ("\\.'\r\n/ \t", Narrow::badMachine_);
    EXPECT_STREQ(Parser::special_, lp::CSingleQuote<wchar_t>::special_);
    EXPECT_STREQ(Narrow::special_, lp::CSingleQuote<char>::special_);
    const char text[] = "\\\\m\\'a.b'\\c";
    EXPECT_EQ(lp::kComplete, Narrow::Parse(text, text + sizeof text - 1));
}

TEST(VestaURL, RenderTypeIsJudgedFromThreeCharacters) {
    struct Row {
        const wchar_t* text;
        RenderType type;
    };
    const Row rows[] = {
        {L"", RenderType::Relative},          {L"a\\\\", RenderType::Relative},
        {L"\\", RenderType::ProcessRelative}, {L"\\a\\\\", RenderType::ProcessRelative},
        {L"\\\\", RenderType::Absolute},      {L"\\\\\\", RenderType::Absolute},
        {L"\\\\.", RenderType::LocalMachine}, {L"\\\\.\\", RenderType::LocalMachine},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        EXPECT_EQ(row.type, ka::kor::GetRenderType(row.text));
        EXPECT_EQ(row.type, ka::kor::GetRenderType(String(row.text)));
    }
    EXPECT_EQ(RenderType::Relative, ka::kor::GetRenderType(static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(RenderType::Absolute).exactCompare(L"\\\\"));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(RenderType::LocalMachine).exactCompare(L"\\\\.\\"));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(RenderType::ProcessRelative).exactCompare(L"\\"));
    EXPECT_TRUE(ka::kor::GetRenderTypePrefix(RenderType::Relative).empty());
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(static_cast<RenderType>(0)).exactCompare(L"ERROR"));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(static_cast<RenderType>(5)).exactCompare(L"ERROR"));
}

TEST(VestaURL, QuotesOnlyNamesThatNeedIt) {
    struct Row {
        const wchar_t* name;
        const wchar_t* quoted;
        const wchar_t* doubledOnly;
    };
    const Row rows[] = {
        {L"", L"", L""},
        {L"abc", L"abc", L"abc"},
        {L"a/b c", L"a/b c", L"a/b c"},
        {L"a.b", L"'a.b'", L"a.b"},
        {L"a'b", L"'a''b'", L"a''b"},
        {L"'", L"''''", L"''"},
        {L"a\\b", L"'a\\b'", L"a\\b"},
        {L"\r\n", L"'\r\n'", L"\r\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.name)));
        EXPECT_EQ(0, VestaURL::quoteComponent(row.name, true).exactCompare(row.quoted));
        EXPECT_EQ(0, VestaURL::quoteComponent(row.name, false).exactCompare(row.doubledOnly));
    }
}

TEST(VestaURL, ValidatesNamesAndSeparators) {
    EXPECT_TRUE(VestaURL::isValidSep(L'\\'));
    EXPECT_TRUE(VestaURL::isValidSep(L'.'));
    EXPECT_FALSE(VestaURL::isValidSep(L'/'));
    EXPECT_FALSE(VestaURL::isValidSep(L'\0'));
    EXPECT_TRUE(VestaURL::isValidComponent(L"\r"));
    EXPECT_FALSE(VestaURL::isValidComponent(L""));

    EXPECT_TRUE(VestaURL::isValidProcessName(L"p"));
    EXPECT_TRUE(VestaURL::isValidProcessName(L"'a.b'"));
    // Deliberately, only the first component is examined.
    EXPECT_TRUE(VestaURL::isValidProcessName(L"p.x\\\\"));
    EXPECT_TRUE(VestaURL::isValidProcessName(L"'p'x"));
    EXPECT_FALSE(VestaURL::isValidProcessName(L""));
    EXPECT_FALSE(VestaURL::isValidProcessName(L".p"));
    EXPECT_FALSE(VestaURL::isValidProcessName(L"\rp"));
    EXPECT_FALSE(VestaURL::isValidProcessName(L"'p"));
    EXPECT_FALSE(VestaURL::isValidProcessName(L"''"));
}

// Names from the awkward corners: quotes, dots, backslashes, line ends, blanks, non-ASCII.
const wchar_t* const kAwkwardNames[] = {
    L"a'b",
    L"'",
    L"''",
    L".",
    L"..",
    L"a.b",
    L"a\\b",
    L"\r\n",
    L" lead",
    L"trail ",
    L"\u00fcml\u00e4ut",
    L"\u65e5\u672c",
    L"a/b",
    L"x'y.z\\w",
    L"'.'",
    L"\U0001F600",
};

void ExpectSameExactly(const VestaURL& a, const VestaURL& b) {
    EXPECT_EQ(a.type(), b.type());
    ASSERT_EQ(a.size(), b.size());
    for (unsigned int i = 0; i < a.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(0, a[i].name().exactCompare(b[i].name()));
        EXPECT_EQ(a[i].sep(), b[i].sep());
        EXPECT_EQ(a[i].parent(), b[i].parent());
        EXPECT_EQ(a[i].first(), b[i].first());
    }
}

TEST(VestaURL, RenderingOfAwkwardNamesParsesBack) {
    for (const wchar_t* name : kAwkwardNames) {
        for (const wchar_t sep : {kBack, kDot}) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
            VestaURL url(L"\\\\m\\p\\a");
            url.append(Component(sep, name));
            url.append(Component(sep, name));
            const VestaURL back(url.str());
            ExpectSameExactly(url, back);
        }
    }
}

// Random addresses of every type, rendered and parsed back: the grammar and the renderer must
// agree on every name, separator and parent.
TEST(VestaURL, RandomAddressesSurviveRendering) {
    std::mt19937 random(20240611);
    const std::wstring awkward = L"'.\\\r\n /aZ\u00e9\u4e2d\t\"";
    const std::wstring machineSafe = L"abcXYZ019-_";
    auto pick = [&random](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    auto name = [&](const std::wstring& alphabet) {
        String s;
        for (int n = 1 + pick(6); n > 0; --n) {
            s += alphabet[pick(static_cast<int>(alphabet.size()))];
        }
        return s;
    };
    for (int round = 0; round < 2000; ++round) {
        const RenderType type = static_cast<RenderType>(1 + pick(4));
        std::vector<Component> parts;
        const bool pathOnly = type == RenderType::Relative || type == RenderType::ProcessRelative;
        if (type == RenderType::Absolute && pick(8) != 0) {
            String machine = name(machineSafe);
            if (pick(2) != 0) {
                machine += L'.';
                machine += name(machineSafe);
            }
            parts.emplace_back(kNoSep, machine);
        }
        const int parents = type == RenderType::Relative          ? pick(3)
                            : type == RenderType::ProcessRelative ? pick(2)
                                                                  : 0;
        for (int i = 0; i < parents; ++i) {
            parts.emplace_back(parts.empty() ? kNoSep : kBack);
        }
        const bool canContinue = type == RenderType::LocalMachine || !parts.empty() || pathOnly;
        // Only path separators may be dots: the machine and the process are followed by a
        // backslash, and so is a "..".
        const std::size_t firstPathSep = type == RenderType::Absolute ? 3 : 2;
        for (int n = canContinue ? pick(6) : 0; n > 0; --n) {
            const bool dotAllowed =
                pathOnly ? !parts.empty() && !parts.back().parent() : parts.size() >= firstPathSep;
            const wchar_t sep = parts.empty() ? kNoSep : (dotAllowed && pick(2) ? kDot : kBack);
            parts.emplace_back(sep, name(awkward));
        }
        const VestaURL url(parts.data(), parts.data() + parts.size(), type);
        SCOPED_TRACE(testing::PrintToString(std::wstring(url.str().c_str())));
        ASSERT_TRUE(VestaURL::isValidPath(url.str()));
        ExpectSameExactly(url, VestaURL(url.str()));
    }
}

TEST(VestaURL, ExtendCancelsAndDropsParents) {
    struct Row {
        const wchar_t* base;
        const wchar_t* other;
        wchar_t sep;
        const wchar_t* result;
    };
    const Row rows[] = {
        {L"a\\b", L"..\\c", kBack, L"a\\c"},
        {L"a\\b", L"..\\c", kDot, L"a\\c"},
        {L"a", L"..\\..\\c", kBack, L"..\\c"},
        {L"..\\", L"..\\x", kBack, L"..\\..\\x"},
        {L"\\\\m\\p", L"..\\..\\..\\x", kBack, L"\\\\x"},
        {L"\\\\.\\p", L"..\\..\\x", kBack, L"\\\\.\\x"},
        {L"\\..\\", L"..\\x", kBack, L"\\..\\x"},
        {L"\\", L"..\\..\\x", kBack, L"\\..\\x"},
        {L"a", L"b.c", kDot, L"a.b.c"},
        {L"\\\\m", L"p\\q", kBack, L"\\\\m\\p\\q"},
        {L"", L"x\\y", kDot, L"x\\y"},
        {L"\\\\m\\p", L"", kBack, L"\\\\m\\p"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.base) + L" + " + row.other));
        VestaURL url(row.base);
        url.extend(VestaURL(row.other), row.sep);
        EXPECT_EQ(0, url.str().exactCompare(row.result));
        if (!url.empty()) {
            EXPECT_TRUE(url[0].first());
            EXPECT_EQ(kNoSep, url[0].sep());
        }
    }
}

TEST(VestaURL, ExtendWithItselfAndRejectsBadSeparators) {
    VestaURL url(L"a\\b");
    url.extend(url, kDot);
    EXPECT_EQ(0, url.str().exactCompare(L"a\\b.a\\b"));
    EXPECT_THROW(url.extend(VestaURL(L"c"), L'/'), ex::SyntaxError);
    EXPECT_THROW(url.extend(VestaURL(L"c"), kNoSep), ex::SyntaxError);
    EXPECT_EQ(4u, url.size());
}

TEST(VestaURL, OperatorPlusJoinsWithBackslash) {
    const VestaURL base(L"\\\\m\\p");
    EXPECT_EQ(0, (base + VestaURL(L"a.b")).str().exactCompare(L"\\\\m\\p\\a.b"));
    EXPECT_EQ(0, (base + String(L"a")).str().exactCompare(L"\\\\m\\p\\a"));
    EXPECT_EQ(0, (base + L"..\\q").str().exactCompare(L"\\\\m\\q"));
    EXPECT_EQ(0, (String(L"x") + VestaURL(L"y")).str().exactCompare(L"x\\y"));
    EXPECT_EQ(0, (L"\\x" + VestaURL(L"..\\y")).str().exactCompare(L"\\y"));
    EXPECT_THROW(base + L"a..b", ex::SyntaxError);
}

TEST(VestaURL, PrependAndAppendKeepTheFirstMark) {
    VestaURL url;
    url.append(Component(kDot, L"a"));
    url.append(Component(kNoSep, L"b"));
    url.append(Component(kDot, L"c"));
    EXPECT_EQ(0, url.str().exactCompare(L"a\\b.c"));
    url.prepend(Component(kDot, L"z"));
    EXPECT_EQ(0, url.str().exactCompare(L"z\\a\\b.c"));
    ASSERT_EQ(4u, url.size());
    EXPECT_TRUE(url[0].first());
    EXPECT_EQ(kNoSep, url[0].sep());
    EXPECT_FALSE(url[1].first());
    EXPECT_EQ(kBack, url[1].sep());
    url.prepend(Component(kNoSep));
    EXPECT_EQ(0, url.str().exactCompare(L"..\\z\\a\\b.c"));

    EXPECT_THROW(url.append(Component()), ex::SyntaxError);
    EXPECT_THROW(url.prepend(Component(kBack, L"")), ex::SyntaxError);
    EXPECT_EQ(5u, url.size());

    VestaURL empty;
    empty.prepend(Component(kBack, L"only"));
    EXPECT_TRUE(empty[0].first());
    EXPECT_EQ(kNoSep, empty[0].sep());
    empty.eraseLastComponent();
    empty.eraseLastComponent();
    EXPECT_TRUE(empty.empty());
}

TEST(VestaURL, ComponentSettersKeepTheirInvariants) {
    Component c(kNoSep, L"a");
    EXPECT_TRUE(c.first());
    c.setFirst(false);
    EXPECT_EQ(kBack, c.sep());
    c.sep(kDot);
    EXPECT_FALSE(c.first());
    c.setFirst(true);
    EXPECT_EQ(kNoSep, c.sep());
    c.parent(true);
    EXPECT_TRUE(c.name().empty());
    c.name(L"b");
    EXPECT_FALSE(c.parent());
    EXPECT_THROW(c.sep(L'/'), ex::SyntaxError);
    EXPECT_EQ(kNoSep, c.sep());
    EXPECT_THROW(Component(L'/', L"x"), ex::SyntaxError);
    try {
        Component parent(L'/');
        ADD_FAILURE();
    } catch (const ex::SyntaxError& e) {
        EXPECT_STREQ("SyntaxError: /", e.what());
    }
    EXPECT_TRUE(Component(kNoSep).first());
    EXPECT_FALSE(Component(kDot).first());
}

TEST(VestaURL, FindSepReturnsTheFirstMatch) {
    VestaURL url(L"a\\b.c.d");
    EXPECT_EQ(url.begin() + 1, url.findSep(kBack));
    EXPECT_EQ(url.begin() + 2, url.findSep(kDot));
    const VestaURL single(L"a");
    EXPECT_EQ(single.end(), single.findSep(kDot));
    try {
        url.findSep(L'/');
        ADD_FAILURE();
    } catch (const ex::SyntaxError& e) {
        EXPECT_STREQ("SyntaxError: /", e.what());
    }
}

TEST(VestaURL, ConstructsFromRangesAndPrefixes) {
    const VestaURL url(L"\\\\m\\p\\a.b");
    const VestaURL prefix(url, url.begin() + 2);
    EXPECT_EQ(0, prefix.str().exactCompare(L"\\\\m\\p"));
    const VestaURL tail(url.begin() + 2, url.end(), RenderType::ProcessRelative);
    EXPECT_EQ(0, tail.str().exactCompare(L"\\a.b"));
    EXPECT_TRUE(tail[0].first());
    EXPECT_THROW(VestaURL(url.begin(), url.end(), static_cast<RenderType>(0)), ex::InvalidArgument);

    VestaURL typed;
    EXPECT_THROW(typed.type(static_cast<RenderType>(0)), ex::InvalidArgument);
    EXPECT_EQ(RenderType::Relative, typed.type());
    typed.type(RenderType::Absolute);
    EXPECT_EQ(RenderType::Absolute, typed.type());
    EXPECT_THROW(url.at(4), ex::OutOfRange);
    EXPECT_EQ(0, url.at(3).name().exactCompare(L"b"));
    EXPECT_TRUE(VestaURL(static_cast<const wchar_t*>(nullptr)).empty());
}

TEST(VestaURL, ComparisonIgnoresCaseAndSeparators) {
    EXPECT_EQ(VestaURL(L"a.b"), VestaURL(L"A\\B"));
    EXPECT_EQ(VestaURL(L"\\\\M1\\Proc"), VestaURL(L"\\\\m1\\pROC"));
    EXPECT_NE(VestaURL(L"\\\\m\\p"), VestaURL(L"m\\p"));
    EXPECT_NE(VestaURL(L"a\\b"), VestaURL(L"a"));
    EXPECT_NE(VestaURL(L"..\\a"), VestaURL(L"'..'\\a"));
    EXPECT_EQ(Component(kBack), Component(kDot));
    EXPECT_EQ(Component(kBack, L"X"), Component(kDot, L"x"));

    // Type first, then parents before names, names without case, prefixes first.
    const wchar_t* const ordered[] = {L"\\\\z", L"\\\\.\\a", L"\\a", L"..\\a",
                                      L"A",     L"a\\b",     L"b",   L"C"};
    for (std::size_t i = 0; i < sizeof ordered / sizeof ordered[0]; ++i) {
        for (std::size_t j = 0; j < sizeof ordered / sizeof ordered[0]; ++j) {
            SCOPED_TRACE(testing::Message() << i << " " << j);
            EXPECT_EQ(i < j, VestaURL(ordered[i]) < VestaURL(ordered[j]));
        }
    }
}

// ---- Serialization ----------------------------------------------------------------------------

TEST(VestaURL, SerializesToTheDocumentedBytes) {
    const unsigned char expected[] = {
        0x01,                                           // format version
        0x01, 0x00, 0x00, 0x00,                         // Absolute
        0x02, 0x00, 0x00, 0x00,                         // two components
        0x02,                                           // first, no separator
        0x01, 0x00, 0x00, 0x00, 'm', 0x04, 0x5C, 0x00,  // separator follows: backslash
        0x01, 0x00, 0x00, 0x00, 'p',
    };
    const VestaURL url(L"\\\\m\\p");
    ASSERT_EQ(sizeof expected, url.serializationSize());
    unsigned char buffer[64];
    unsigned char* p = buffer;
    url.serialize(p, buffer + sizeof buffer);
    EXPECT_EQ(buffer + sizeof expected, p);
    EXPECT_EQ(0, std::memcmp(expected, buffer, sizeof expected));

    const unsigned char parents[] = {
        0x01, 0x04, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00,  // Relative, three components
        0x03, 0x00, 0x00, 0x00, 0x00,                          // parent, first, empty name
        0x04, 0x5C, 0x00, 0x01, 0x00, 0x00, 0x00, 'a',         // \a
        0x04, 0x2E, 0x00, 0x02, 0x00, 0x00, 0x00, 0xC3, 0xA9,  // .é in UTF-8
    };
    const VestaURL relative(L"..\\a.\u00e9");
    ASSERT_EQ(sizeof parents, relative.serializationSize());
    p = buffer;
    relative.serialize(p, buffer + sizeof buffer);
    EXPECT_EQ(0, std::memcmp(parents, buffer, sizeof parents));
}

TEST(VestaURL, SerializationRoundTripsAtAnOddOffset) {
    const VestaURL url(L"\\\\m1.cell4\\pr\u00f6c\\'a.b'\\\u65e5\u672c.'it''s'");
    std::vector<unsigned char> buffer(url.serializationSize() + 1);
    unsigned char* p = buffer.data() + 1;
    url.serialize(p, buffer.data() + buffer.size());
    EXPECT_EQ(buffer.data() + buffer.size(), p);

    VestaURL back(L"old");
    const unsigned char* q = buffer.data() + 1;
    back.deserialize(q, buffer.data() + buffer.size());
    EXPECT_EQ(buffer.data() + buffer.size(), q);
    ExpectSameExactly(url, back);
}

TEST(VestaURL, SerializeChecksRoomBeforeWriting) {
    const VestaURL url(L"\\\\m\\p\\x");
    std::vector<unsigned char> buffer(url.serializationSize() - 1, 0xEE);
    unsigned char* p = buffer.data();
    EXPECT_THROW(url.serialize(p, buffer.data() + buffer.size()), ex::BufferOverflow);
    EXPECT_EQ(buffer.data(), p);
    for (unsigned char b : buffer) {
        ASSERT_EQ(0xEE, b);
    }
}

TEST(VestaURL, FailedReadsLeaveTheTargetUnchanged) {
    const VestaURL url(L"\\\\m\\p\\a.b");
    std::vector<unsigned char> buffer(url.serializationSize());
    unsigned char* w = buffer.data();
    url.serialize(w, buffer.data() + buffer.size());

    for (std::size_t n = 0; n < buffer.size(); ++n) {
        SCOPED_TRACE(n);
        VestaURL target(L"\\\\keep\\me");
        const unsigned char* p = buffer.data();
        EXPECT_THROW(target.deserialize(p, buffer.data() + n), ex::DeserializationError);
        EXPECT_EQ(buffer.data(), p);
        EXPECT_EQ(0, target.str().exactCompare(L"\\\\keep\\me"));
    }

    struct Corruption {
        std::size_t offset;
        unsigned char value;
    };
    // The version byte is not checked; a zero type and an unknown separator are rejected.
    std::vector<unsigned char> other = buffer;
    other[0] = 7;
    const unsigned char* p = other.data();
    VestaURL target;
    target.deserialize(p, other.data() + other.size());
    EXPECT_EQ(url, target);

    for (const Corruption& c : {Corruption{1, 0}, Corruption{16, '/'}}) {
        SCOPED_TRACE(c.offset);
        std::vector<unsigned char> bad = buffer;
        bad[c.offset] = c.value;
        if (c.offset == 1) {
            bad[2] = bad[3] = bad[4] = 0;
        }
        VestaURL kept(L"kept");
        const unsigned char* q = bad.data();
        EXPECT_THROW(kept.deserialize(q, bad.data() + bad.size()), ex::DeserializationError);
        EXPECT_EQ(0, kept.str().exactCompare(L"kept"));
    }
}

}  // namespace
