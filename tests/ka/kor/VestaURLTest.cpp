#include "ka/kor/VestaURL.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
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
typedef std::vector<unsigned char> Bytes;

const wchar_t kNoSep = L'\0';
const wchar_t kBack = L'\\';
const wchar_t kDot = L'.';
const RenderType kAbs = RenderType::Absolute;
const RenderType kLocal = RenderType::LocalMachine;
const RenderType kProc = RenderType::ProcessRelative;
const RenderType kRel = RenderType::Relative;

// The components as text: each preceded by its separator, a parent as "^" and a name in
// brackets. A first mark anywhere but on the first component is reported as a failure.
std::wstring Describe(const VestaURL& url) {
    std::wstring s;
    for (unsigned int i = 0; i < url.size(); ++i) {
        EXPECT_EQ(i == 0, url[i].first()) << i;
        const std::wstring name = url[i].name().c_str();
        s += url[i].sep() == kNoSep ? L"" : std::wstring(1, url[i].sep());
        s += url[i].parent() ? L"^" + name : L"[" + name + L"]";
    }
    return s;
}

void ExpectSameExactly(const VestaURL& a, const VestaURL& b) {
    EXPECT_EQ(a.type(), b.type());
    EXPECT_EQ(Describe(a), Describe(b));
}

template <typename F>
void ExpectSyntaxError(const std::string& what, F f) {
    try {
        f();
        ADD_FAILURE() << "no SyntaxError";
    } catch (const ex::SyntaxError& e) {
        EXPECT_EQ(what, e.what());
        EXPECT_EQ(0x8ABC7004u, e.getErrorCode());
    }
}

struct Row {
    const wchar_t* text;
    int status;
    RenderType type = kRel;
    const wchar_t* components = nullptr;  // null when the text is rejected
    const wchar_t* rendered = nullptr;    // null when rendering gives the text back
};

// Backslashes are doubled in the C++ literals: L"\\\\m\\p" is the text \\m\p.
// clang-format off
const Row kRows[] = {
    {L"\\\\m1.cell4\\proc\\a.b", lp::kComplete, kAbs, L"[m1.cell4]\\[proc]\\[a].[b]"},
    {L"\\\\.\\proc\\x", lp::kComplete, kLocal, L"[proc]\\[x]"},
    {L"\\x\\y", lp::kComplete, kProc, L"[x]\\[y]"},
    {L"..\\a.'b.c'", lp::kComplete, kRel, L"^\\[a].[b.c]"},
    {L"'it''s'", lp::kComplete, kRel, L"[it's]"},
    {L"", lp::kNothingAfterProcess, kRel, L""},
    {L"\\\\", lp::kNoMachine, kAbs, L""},
    {L"\\\\m", lp::kNoProcess, kAbs, L"[m]"},
    {L"\\\\.", lp::kNoProcess, kLocal, L"", L"\\\\.\\"},
    {L"\\\\m\\", lp::kNothingAfterProcess, kAbs, L"[m]", L"\\\\m"},
    {L"\\\\m\\p", lp::kNothingAfterProcess, kAbs, L"[m]\\[p]"},
    {L"\\\\m\\p\\", lp::kNothingAfterProcess, kAbs, L"[m]\\[p]", L"\\\\m\\p"},
    {L"\\\\.\\p", lp::kNothingAfterProcess, kLocal, L"[p]"},
    {L"\\", lp::kNothingAfterProcess, kProc, L""},
    // nothing is written after a final parent
    {L"\\..\\", lp::kNothingAfterProcess, kProc, L"^", L"\\.."},
    {L"..\\..\\", lp::kNothingAfterProcess, kRel, L"^\\^", L"..\\.."},
    {L"\\\\m.x-y_z\\p/q\\a/b", lp::kComplete, kAbs, L"[m.x-y_z]\\[p/q]\\[a/b]"},
    {L"a.b.", lp::kComplete, kRel, L"[a].[b]", L"a.b"},
    {L"a\\b\\", lp::kComplete, kRel, L"[a]\\[b]", L"a\\b"},
    {L"\\\\m\\'p.q'\\'a\\b'.'c''d'", lp::kComplete, kAbs, L"[m]\\[p.q]\\[a\\b].[c'd]"},
    {L"\\\\.\\p\\'x\r\ny'", lp::kComplete, kLocal, L"[p]\\[x\r\ny]"},
    {L"'.'", lp::kComplete, kRel, L"[.]"},
    // an empty quotation is an empty name, which renders as nothing
    {L"''", lp::kComplete, kRel, L"[]", L""},
    {L"a.''", lp::kComplete, kRel, L"[a].[]", L"a."},
    {L"\\\\m\\''", lp::kNothingAfterProcess, kAbs, L"[m]\\[]", L"\\\\m\\"},
    {L"''''.''\\x", lp::kComplete, kRel, L"['].[]\\[x]", L"''''.\\x"},
    {L"\\\\m\\r\u00f6\\\u65e5\u672c.x", lp::kComplete, kAbs, L"[m]\\[r\u00f6]\\[\u65e5\u672c].[x]"},
    // Rejected, each by the rule its status names.
    {L"\\\\\\m", lp::kThreeLeadingBackslashes},
    {L"\\\\m/x", lp::kNoBackslashAfterMachine},
    {L"\\\\.x", lp::kNoBackslashAfterMachine},
    {L"\\\\m\\.p", lp::kEmptyComponent},
    {L"\\\\m\\p\\\\a", lp::kEmptyComponent},
    {L"\\\\.\\p\\..\\a", lp::kEmptyComponent},
    {L"a..b", lp::kEmptyComponent},
    {L"..\\\\a", lp::kEmptyComponent},
    {L"\\..\\..\\a", lp::kEmptyComponent},
    {L"a\\..\\b", lp::kEmptyComponent},
    {L"\\\\m\\p.x", lp::kNoBackslashAfterProcess},
    {L"\\\\m\\'p'x", lp::kNoBackslashAfterProcess},
    {L"..", lp::kTextLeftOver},
    {L".x", lp::kTextLeftOver},
    {L"\\.x", lp::kTextLeftOver},
    {L"\\..", lp::kTextLeftOver},
    {L"'a'b", lp::kTextLeftOver},
    {L"\r", lp::kEmptyUnquotedComponent},
    {L"\\\\m\\\n", lp::kEmptyUnquotedComponent},
    {L"\\\\'m", lp::kBadMachineStart},
    {L"\\\\ m", lp::kBadMachineStart},
    {L"'abc", lp::kUnterminatedQuotation},
    {L"\\\\m\\'p", lp::kUnterminatedQuotation},
    {L"a.'b''", lp::kUnterminatedQuotation},
};
// clang-format on

TEST(VestaURL, ParsesOrRejectsEachText) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.text);
        const String text(row.text);
        EXPECT_EQ(row.status, Parser::Parse(text.begin(), text.end()));
        EXPECT_EQ(row.components != nullptr, VestaURL::isValidPath(text));
        if (row.components == nullptr) {
            ExpectSyntaxError("SyntaxError: " + std::string(ka::kor::AString(text).c_str()),
                              [&] { VestaURL url(text); });
            continue;
        }
        const VestaURL url(text);
        EXPECT_EQ(row.type, url.type());
        EXPECT_EQ(std::wstring(row.components), Describe(url));
        EXPECT_EQ(0, url.str().exactCompare(row.rendered ? row.rendered : row.text));
    }

    // Each grammar checks its own opening, which the choice of grammar never lets fail.
    Parser::NullSink sink;
    const String t[] = {L"\\m", L"\\.", L"\\\\m", L"x"};
    EXPECT_EQ(lp::kTooFewLeadingBackslashes, Parser::Absolute(t[0].begin(), t[0].end(), sink));
    EXPECT_EQ(lp::kTooFewLeadingBackslashes, Parser::LocalMachine(t[1].begin(), t[1].end(), sink));
    EXPECT_EQ(lp::kMissingDotOrBackslash, Parser::LocalMachine(t[2].begin(), t[2].end(), sink));
    EXPECT_EQ(lp::kMissingDotOrBackslash, Parser::ProcessRelative(t[3].begin(), t[3].end(), sink));
}

TEST(VestaURL, RenderTypeIsJudgedFromThreeCharactersOnly) {
    EXPECT_EQ(kAbs, ka::kor::GetRenderType(L"\\\\\\"));
    EXPECT_EQ(kLocal, ka::kor::GetRenderType(String(L"\\\\.x")));
    EXPECT_EQ(kRel, ka::kor::GetRenderType(static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(static_cast<RenderType>(0)).exactCompare(L"ERROR"));
    EXPECT_EQ(0, ka::kor::GetRenderTypePrefix(static_cast<RenderType>(5)).exactCompare(L"ERROR"));
}

TEST(VestaURL, ValidatesProcessNames) {
    // Deliberately, only the first component of a process name is examined.
    for (const wchar_t* name : {L"p", L"'a.b'", L"p.x\\\\", L"'p'x", L"''", L"''.", L"''''"}) {
        EXPECT_TRUE(VestaURL::isValidProcessName(name)) << name;
    }
    for (const wchar_t* name : {L"", L".p", L"\rp", L"'p", L"'''"}) {
        EXPECT_FALSE(VestaURL::isValidProcessName(name)) << name;
    }
}

// Each name is quoted only when it needs to be, and a path of it, joined either way, renders to
// a text that parses back to the same components.
TEST(VestaURL, QuotesOnlyNamesThatNeedItAndParsesThemBack) {
    struct Row {
        const wchar_t* name;
        const wchar_t* quoted;
        const wchar_t* doubledOnly;
    };
    const Row rows[] = {
        {L" a/b\t\u00e9\U0001F600 ", L" a/b\t\u00e9\U0001F600 ", L" a/b\t\u00e9\U0001F600 "},
        {L"a.b", L"'a.b'", L"a.b"},
        {L"..", L"'..'", L".."},
        {L"'", L"''''", L"''"},
        {L"x'y.z\\w", L"'x''y.z\\w'", L"x''y.z\\w"},
        {L"\r\n", L"'\r\n'", L"\r\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(0, VestaURL::quoteComponent(row.name, true).exactCompare(row.quoted));
        EXPECT_EQ(0, VestaURL::quoteComponent(row.name, false).exactCompare(row.doubledOnly));
        VestaURL url(L"\\\\m\\p\\a");
        url.append(Component(kDot, row.name));
        url.append(Component(kBack, row.name));
        ExpectSameExactly(url, VestaURL(url.str()));
    }
    EXPECT_TRUE(VestaURL::quoteComponent(L"", true).empty());
}

// The bytes of url, written one byte into a buffer so that its multi-byte fields are unaligned.
Bytes Serialize(const VestaURL& url) {
    Bytes buffer(url.serializationSize() + 1);
    unsigned char* p = buffer.data() + 1;
    url.serialize(p, buffer.data() + buffer.size());
    EXPECT_EQ(buffer.data() + buffer.size(), p);
    return Bytes(buffer.begin() + 1, buffer.end());
}

// Random addresses of every type, rendered and parsed back and serialized and read back: the
// grammar, the renderer and the wire format must agree on every name, separator and parent.
TEST(VestaURL, RandomAddressesSurviveRenderingAndSerialization) {
    std::mt19937 random(20240611);
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
        if (type == kAbs) {
            parts.emplace_back(kNoSep, name(L"abcXYZ019-_") + (pick(2) ? L".x" : L""));
        }
        for (int n = type == kRel ? pick(3) : type == kProc ? pick(2) : 0; n > 0; --n) {
            parts.emplace_back(parts.empty() ? kNoSep : kBack);
        }
        // Only path names may be joined with a dot: the machine, the process and a ".." are
        // followed by a backslash.
        const std::size_t firstPath = type == kAbs ? 2 : type == kLocal ? 1 : 0;
        for (int n = pick(6); n > 0; --n) {
            const bool dot = parts.size() > firstPath && !parts.back().parent() && pick(2);
            const wchar_t sep = parts.empty() ? kNoSep : dot ? kDot : kBack;
            parts.emplace_back(sep, name(L"'.\\\r\n /aZ\u00e9\u4e2d\t\"\U0001F600"));
        }
        const VestaURL url(parts.data(), parts.data() + parts.size(), type);
        const String text = url.str();
        SCOPED_TRACE(text.c_str());
        // A final ".." is written without the backslash that reading it needs.
        const bool endsWithParent = !url.empty() && url[url.size() - 1].parent();
        ExpectSameExactly(url, VestaURL(endsWithParent ? text + L"\\" : text));

        Bytes bytes = Serialize(url);
        bytes[0] = static_cast<unsigned char>(round);  // any format version reads the same
        bytes.insert(bytes.begin(), 0);                // and from an odd offset
        VestaURL back(L"old");
        const unsigned char* p = bytes.data() + 1;
        back.deserialize(p, bytes.data() + bytes.size());
        EXPECT_EQ(bytes.data() + bytes.size(), p);
        ExpectSameExactly(url, back);
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
        {L"", L"x\\y", kDot, L"x\\y"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::wstring(row.base) + L" + " + row.other);
        VestaURL url(row.base);
        url.extend(VestaURL(row.other), row.sep);
        EXPECT_EQ(0, url.str().exactCompare(row.result));
        EXPECT_EQ(Describe(VestaURL(row.result)), Describe(url));
        if (row.sep == kBack) {
            EXPECT_EQ(url, VestaURL(row.base) + row.other);
        }
    }

    VestaURL self(L"a\\b");
    self.extend(self, kDot);
    EXPECT_EQ(L"[a]\\[b].[a]\\[b]", Describe(self));
    ExpectSyntaxError("SyntaxError: /", [&] { self.extend(VestaURL(L"c"), L'/'); });
    EXPECT_THROW(self.extend(VestaURL(L"c"), kNoSep), ex::SyntaxError);
    EXPECT_EQ(4u, self.size());

    EXPECT_EQ(0, (String(L"x") + VestaURL(L"y")).str().exactCompare(L"x\\y"));
    EXPECT_EQ(0, (L"\\x" + VestaURL(L"..\\y")).str().exactCompare(L"\\y"));
    EXPECT_THROW(self + L"a..b", ex::SyntaxError);
}

TEST(VestaURL, PrependAndAppendKeepTheFirstMark) {
    VestaURL url;
    url.append(Component(kDot, L"a"));
    url.append(Component(kNoSep, L"b"));
    url.append(Component(kDot, L"c"));
    url.prepend(Component(kDot, L"z"));
    EXPECT_EQ(L"[z]\\[a]\\[b].[c]", Describe(url));
    url.prepend(Component(kNoSep));
    EXPECT_EQ(L"^\\[z]\\[a]\\[b].[c]", Describe(url));
    EXPECT_EQ(0, url.str().exactCompare(L"..\\z\\a\\b.c"));

    EXPECT_THROW(url.append(Component()), ex::SyntaxError);
    EXPECT_THROW(url.prepend(Component(kBack, L"")), ex::SyntaxError);
    EXPECT_EQ(5u, url.size());

    VestaURL single;
    single.prepend(Component(kBack, L"only"));
    EXPECT_EQ(L"[only]", Describe(single));
    single.eraseLastComponent();
    single.eraseLastComponent();
    EXPECT_TRUE(single.empty());
}

TEST(VestaURL, ComponentsSeparatorsAndRangesKeepTheirRules) {
    Component c(kNoSep, L"a");
    c.setFirst(false);
    EXPECT_EQ(kBack, c.sep());
    c.parent(true);
    EXPECT_TRUE(c.name().empty());
    ExpectSyntaxError("SyntaxError: /", [&] { c.sep(L'/'); });
    EXPECT_EQ(kBack, c.sep());
    ExpectSyntaxError("SyntaxError: /", [] { Component(L'/', L"x"); });
    ExpectSyntaxError("SyntaxError: /", [] { Component parent(L'/'); });
    EXPECT_TRUE(Component(kNoSep).first());

    const VestaURL url(L"\\\\m\\p\\a.b.c");
    EXPECT_EQ(url.begin() + 3, url.findSep(kDot));
    ExpectSyntaxError("SyntaxError: /", [&] { url.findSep(L'/'); });

    EXPECT_EQ(0, VestaURL(url, url.begin() + 2).str().exactCompare(L"\\\\m\\p"));
    const VestaURL tail(url.begin() + 2, url.end(), kProc);
    EXPECT_EQ(0, tail.str().exactCompare(L"\\a.b.c"));
    EXPECT_EQ(L"[a].[b].[c]", Describe(tail));
    EXPECT_EQ(tail.end(), tail.findSep(kBack));
    EXPECT_THROW(VestaURL(url.begin(), url.end(), static_cast<RenderType>(0)), ex::InvalidArgument);

    // A range is copied as given, empty names included; only the front is marked first.
    const Component given[] = {Component(kDot, L"a"), Component(kBack, L""),
                               Component(kNoSep, L"b")};
    const VestaURL copied(given, given + 3, kRel);
    EXPECT_EQ(kNoSep, copied[0].sep());
    EXPECT_TRUE(copied[0].first());
    EXPECT_TRUE(copied[2].first());
    EXPECT_EQ(0, copied.str().exactCompare(L"a\\b"));
    EXPECT_EQ(0, VestaURL(given + 1, given + 2, kAbs).str().exactCompare(L"\\\\"));
    VestaURL typed;
    EXPECT_THROW(typed.type(static_cast<RenderType>(0)), ex::InvalidArgument);
    EXPECT_EQ(kRel, typed.type());
    EXPECT_THROW(url.at(5), ex::OutOfRange);
    EXPECT_TRUE(VestaURL(static_cast<const wchar_t*>(nullptr)).empty());
}

TEST(VestaURL, ComparisonIgnoresCaseAndSeparators) {
    EXPECT_EQ(VestaURL(L"a.b"), VestaURL(L"A\\B"));
    EXPECT_EQ(VestaURL(L"\\\\M1\\Proc"), VestaURL(L"\\\\m1\\pROC"));
    EXPECT_NE(VestaURL(L"\\\\m\\p"), VestaURL(L"m\\p"));
    EXPECT_NE(VestaURL(L"a\\b"), VestaURL(L"a"));
    EXPECT_NE(VestaURL(L"..\\a"), VestaURL(L"'..'\\a"));
    EXPECT_EQ(Component(kBack), Component(kDot));

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

TEST(VestaURL, SerializesToExactBytesAndFailedReadsChangeNothing) {
    // clang-format off
    const Bytes relative = {
        0x01,                                                  // format version
        0x04, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00,        // Relative, three components
        0x03, 0x00, 0x00, 0x00, 0x00,                          // parent, first, empty name
        0x04, 0x5C, 0x00, 0x01, 0x00, 0x00, 0x00, 'a',         // separator follows: \a
        0x04, 0x2E, 0x00, 0x02, 0x00, 0x00, 0x00, 0xC3, 0xA9,  // .é in UTF-8
    };
    const Bytes absolute = {0x01, 0x01, 0, 0, 0, 0x01, 0, 0, 0, 0x02, 0x01, 0, 0, 0, 'm'};
    // clang-format on
    const VestaURL url(L"..\\a.\u00e9");
    EXPECT_EQ(relative, Serialize(url));
    EXPECT_EQ(absolute, Serialize(VestaURL(L"\\\\m")));

    Bytes small(relative.size() - 1, 0xEE);
    unsigned char* w = small.data();
    EXPECT_THROW(url.serialize(w, small.data() + small.size()), ex::BufferOverflow);
    EXPECT_EQ(small.data(), w);
    EXPECT_EQ(Bytes(small.size(), 0xEE), small);

    std::vector<Bytes> bad;
    for (std::size_t n = 0; n < relative.size(); ++n) {
        bad.emplace_back(relative.begin(), relative.begin() + n);
    }
    for (const Bytes& bytes : bad) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        VestaURL target(L"\\\\keep\\me");
        const unsigned char* p = bytes.data();
        EXPECT_THROW(target.deserialize(p, bytes.data() + bytes.size()), ex::DeserializationError);
        EXPECT_EQ(bytes.data(), p);
        EXPECT_EQ(0, target.str().exactCompare(L"\\\\keep\\me"));
    }
}

TEST(VestaURL, ReadsTypeSeparatorsAndMarksAsStored) {
    // clang-format off
    const Bytes stored = {
        0x07,                                            // format version
        0xFE, 0xFF, 0xFF, 0xFF, 0x03, 0x00, 0x00, 0x00,  // type -2, three components
        0x04, 0x2F, 0x00, 0x01, 0x00, 0x00, 0x00, 'a',   // not marked first, separator "/"
        0x03, 0x01, 0x00, 0x00, 0x00, 'p',               // a parent marked first, named "p"
        0x00, 0x00, 0x00, 0x00, 0x00,                    // no mark, no separator, empty name
    };
    // clang-format on
    for (const std::int32_t type : {-2, 0}) {
        SCOPED_TRACE(type);
        Bytes bytes = stored;
        bytes[1] = static_cast<unsigned char>(type);
        bytes[2] = bytes[3] = bytes[4] = static_cast<unsigned char>(type < 0 ? 0xFF : 0);
        VestaURL url;
        const unsigned char* p = bytes.data();
        url.deserialize(p, bytes.data() + bytes.size());
        EXPECT_EQ(bytes.data() + bytes.size(), p);
        EXPECT_EQ(type, static_cast<std::int32_t>(url.type()));
        ASSERT_EQ(3u, url.size());
        EXPECT_EQ(L'/', url[0].sep());
        EXPECT_TRUE(url[1].first() && url[1].parent());
        // Written back byte for byte: every flag, separator and name was kept as read.
        Bytes written = Serialize(url);
        written[0] = bytes[0];
        EXPECT_EQ(bytes, written);
    }
}

}  // namespace
