#include "ka/kor/StringBase.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ka/kor/LocaleScope.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::AString;
using ka::kor::NString;
using ka::kor::String;
using ka::kor::exception::BoundExceeded2;
using ka::kor::exception::BufferOverflow;
using ka::kor::exception::DeserializationError;
using ka::kor::exception::InvalidSequence;
using ka::kor::exception::OutOfRange2;
using ka::kor::test::LocaleScope;
using Bytes = std::vector<unsigned char>;

// The operations below behave alike in all three strings; texts are written in ASCII and widened
// code unit by code unit, so no conversion is involved.
template <typename S>
S Make(const char* ascii, std::size_t n = std::string::npos) {
    S s;
    for (const char c : std::string(ascii, n == std::string::npos ? std::strlen(ascii) : n)) {
        s += static_cast<typename S::value_type>(c);
    }
    return s;
}
template <typename S>
std::string Ascii(const S& s) {
    std::string r;
    for (auto c : s) {
        r += static_cast<char>(c);
    }
    return r;
}

template <typename S>
class StringBaseOps : public testing::Test {};
using AllStrings = testing::Types<String, AString, NString>;
TYPED_TEST_SUITE(StringBaseOps, AllStrings);

TYPED_TEST(StringBaseOps, NullIsEmptyAndEmbeddedZerosAreKept) {
    using S = TypeParam;
    using C = typename S::value_type;
    const C* null = nullptr;
    for (const S& e : {S(null), S(null, 4u), S(null, null)}) {
        EXPECT_TRUE(e.empty());
        EXPECT_EQ(C(), e.c_str()[0]);
    }
    S t = Make<S>("abc");
    t = null;
    t.append(Make<S>("x")).append(null).append(null, 3u);
    EXPECT_EQ("x", Ascii(t));
    EXPECT_EQ(0u, Make<S>("ab").find(null));

    const S z = Make<S>("a\0b", 3);
    EXPECT_TRUE(z.hasEmbeddedNull());
    EXPECT_EQ(C(), z.c_str()[3]);
    EXPECT_EQ(0, S(z.begin(), z.end()).exactCompare(z));
    EXPECT_NE(z, Make<S>("a\0c", 3));
    EXPECT_EQ(1u, S(z.c_str(), 3u).length());  // a pointer and a count stop at a zero
}

TYPED_TEST(StringBaseOps, BuildsGrowsAndResizesWithinBounds) {
    using S = TypeParam;
    const S s = Make<S>("abcdef");
    EXPECT_EQ("cd", Ascii(S(s, 2, 2)));
    EXPECT_EQ("ef", Ascii(s.substr(4, 100)));  // a count past the end is clipped
    EXPECT_EQ("", Ascii(s.substr(6)));
    typename S::value_type out[8] = {};
    EXPECT_EQ(2u, s.copy(out, 5, 4));
    EXPECT_EQ('f', out[1]);
    for (const auto& op : std::vector<std::function<void()>>{
             [&] { s.substr(7); }, [&] { S(s, 7, 0); }, [&] { s.copy(out, 1, 7); },
             [&] { S(s).append(s, 7, 1); }}) {
        EXPECT_THROW(op(), OutOfRange2);
    }

    S g = Make<S>("ab");
    g.append(Make<S>("xcdx"), 1, 2)
        .append(Make<S>("ef").c_str())
        .append(Make<S>("ghi").c_str(), 2u);
    g.append(2, 'i');
    g += 'j';
    EXPECT_EQ("abcdefghiij", Ascii(g));
    EXPECT_EQ("zabcdefghiijk", Ascii(Make<S>("z").c_str() + g + Make<S>("k")));
    g.resize(3);
    g.resize(5, '-');
    EXPECT_EQ("abc--", Ascii(g));

    // Appending from itself while the storage grows.
    g = Make<S>("ab");
    std::string expected = "ab";
    for (int i = 0; i < 12; ++i) {
        g.append(g);
        g.append(g.c_str() + 1);
        g.append(g, 0, 1);
        expected += expected;
        expected += expected.substr(1);
        expected += expected.substr(0, 1);
    }
    EXPECT_EQ(expected, Ascii(g));
    g = g.c_str() + 3;
    EXPECT_EQ(expected.substr(3), Ascii(g));

    // Counts near 2^32: lengths are summed without wrapping on either build, so a sum that a
    // 32-bit size would wrap to a small number is refused like any other that is too large.
    g = Make<S>("abc");
    const typename S::size_type npos = S::npos;
    const struct {
        const char* what;
        std::function<void()> op;
    } tooLarge[] = {
        {"append max_size", [&] { g.append(S::max_size(), 'x'); }},
        {"append summing to 2^32", [&] { g.append(npos - 2, 'x'); }},
        {"append summing past 2^32", [&] { g.append(npos, 'x'); }},
        {"resize max_size + 1", [&] { g.resize(S::max_size() + 1); }},
        {"resize npos", [&] { g.resize(npos, 'x'); }},
        {"reserve npos", [&] { g.reserve(npos); }},
        {"count constructor", [&] { S(S::max_size() + 1, 'x'); }},
        {"count constructor npos", [&] { S(npos, 'x'); }},
    };
    for (const auto& c : tooLarge) {
        SCOPED_TRACE(c.what);
        EXPECT_THROW(c.op(), BoundExceeded2);
        EXPECT_EQ("abc", Ascii(g));
    }
    try {
        g.reserve(S::max_size() + 1);
        FAIL();
    } catch (const BoundExceeded2& e) {
        EXPECT_STREQ("A request was made that would exceed the bounds: Resulting string too large",
                     e.what());
        EXPECT_EQ(0x8ABC7007u, e.getErrorCode());
    }
}

TYPED_TEST(StringBaseOps, Searches) {
    using S = TypeParam;
    const S h = Make<S>("abcabc");
    const S empty;
    const auto m = [](const char* ascii) { return Make<S>(ascii); };
    EXPECT_EQ(4u, h.find('b', 2));
    EXPECT_EQ(4u, h.find(m("bc"), 2));
    EXPECT_EQ(6u, h.find(m(""), 6));
    EXPECT_EQ(S::npos, h.find(m(""), 7));
    EXPECT_EQ(1u, h.rfind('b', 3));
    EXPECT_EQ(S::npos, empty.rfind('a'));
    EXPECT_EQ(1u, h.rfind(m("bc").c_str(), 3));
    EXPECT_EQ(0u, empty.rfind(m("")));
    EXPECT_EQ(4u, h.find_first_of(m("cb"), 3));
    EXPECT_EQ(2u, h.find_first_not_of(m("ab")));
    EXPECT_EQ(1u, h.find_last_of(m("ab"), 2));
    EXPECT_EQ(0u, h.find_last_not_of(m("bc"), 2));
}

TYPED_TEST(StringBaseOps, ErasesAndReplaces) {
    using S = TypeParam;
    const S h = Make<S>("abcabc");
    const auto after = [&h](const std::function<void(S&)>& op) {
        S s = h;
        op(s);
        return Ascii(s);
    };
    EXPECT_EQ("aabc", after([](S& s) { s.erase(1, 2); }));
    EXPECT_EQ("abcabc", after([](S& s) { s.erase(6, 3); }));
    EXPECT_EQ("ac",
              after([](S& s) { EXPECT_EQ(s.begin() + 1, s.erase(s.begin() + 1, s.begin() + 5)); }));
    EXPECT_EQ("aXYZabc", after([](S& s) { s.replace(1, 2, Make<S>("XYZ")); }));
    EXPECT_EQ("abca", after([](S& s) { s.replace(4, 100, Make<S>("")); }));
    EXPECT_EQ("Ybcabc", after([](S& s) { s.replace(0, 1, Make<S>("XYZ"), 1, 1); }));
    EXPECT_EQ("Zabcabc", after([](S& s) { s.replace(0, 0, Make<S>("XYZ"), 2, 9); }));
    EXPECT_EQ("aabcabccabc", after([](S& s) { s.replace(1, 1, s); }));
    S s = h;
    try {
        s.replace(0, 1, Make<S>("x"), 2, 1);
        ADD_FAILURE() << "no exception";
    } catch (const OutOfRange2& e) {
        EXPECT_STREQ("Out of range: String offset out of range", e.what());
        EXPECT_EQ(0x8ABC7007u, e.getErrorCode());
    }
    EXPECT_THROW(s.erase(7), OutOfRange2);
    EXPECT_THROW(s.replace(7, 0, h), OutOfRange2);
    EXPECT_EQ("abcabc", Ascii(s));
}

TYPED_TEST(StringBaseOps, ComparesCaseInsensitivelyAndExactly) {
    using S = TypeParam;
    const S abc = Make<S>("abc");
    const S ABC = Make<S>("ABC");
    EXPECT_TRUE(abc == ABC && ABC.c_str() == abc && !(abc != ABC.c_str()));
    EXPECT_TRUE(Make<S>("ab") < ABC && Make<S>("ABD") > abc.c_str());
    EXPECT_EQ(-2, Make<S>("ab").compare(Make<S>("ABCD")));  // the difference of the lengths
    EXPECT_EQ(0, Make<S>("a\0b", 3).compare(Make<S>("A\0B", 3)));
    EXPECT_LT(0, Make<S>("a\0b", 3).compare(Make<S>("a").c_str()));
    EXPECT_LT(0, abc.exactCompare(ABC));  // 'a' follows 'A' in code-unit order
    EXPECT_EQ(0, abc.exactCompare(Make<S>("abc").c_str()));
    EXPECT_EQ(-1, Make<S>("ab").exactCompare(abc));
}

TEST(StringBaseCompare, WideCaseFoldingFollowsTheLocale) {
    LocaleScope scope("C.UTF-8");
    EXPECT_EQ(String(L"\u00E9t\u00E9"), String(L"\u00C9T\u00C9"));
    EXPECT_NE(0, String(L"\u00E9").exactCompare(String(L"\u00C9")));
    // Code units compare unsigned: a value of 0x80000000 or more orders after every character.
    EXPECT_LT(String(L"a"), String(1, static_cast<wchar_t>(0x80000000u)));
}

TEST(StringBaseConversion, UsesEachStringsCodeSet) {
    const char utf8[] = "\xC3\xA9t\xC3\xA9";
    {
        LocaleScope scope("C.UTF-8");
        EXPECT_STREQ(L"\u00E9t\u00E9", String(utf8).c_str());
        EXPECT_STREQ(L"\u00E9t", String(utf8, utf8 + 3).c_str());
        EXPECT_STREQ(utf8, AString(L"\u00E9t\u00E9").c_str());
        EXPECT_STREQ("?t?", NString(L"\u00E9t\u00E9").c_str());  // always US-ASCII
        EXPECT_STREQ(L"\u00E9t\u00E9", String(AString(utf8)).c_str());
    }
    {
        LocaleScope scope("C");
        EXPECT_STREQ(L"??t??", String(utf8).c_str());
        EXPECT_STREQ("?t?", AString(L"\u00E9t\u00E9").c_str());
    }
    // Between the two narrow strings the bytes are taken as they stand.
    EXPECT_STREQ(utf8, AString(NString(utf8)).c_str());
    EXPECT_STREQ(utf8, NString(AString(utf8)).c_str());
    // Embedded zeros survive conversion; null is the empty text.
    const char zero[] = "a\0b";
    EXPECT_EQ(3u, String(zero, zero + 3).length());
    const wchar_t wideZero[] = L"a\0b";
    EXPECT_EQ(3u, NString(String(wideZero, wideZero + 3)).length());
    EXPECT_TRUE(String(static_cast<const char*>(nullptr)).empty());
    EXPECT_TRUE(NString(static_cast<const wchar_t*>(nullptr)).empty());
}

// Serializes at an odd offset (counts are written unaligned) into exactly the reported size; one
// byte less throws and writes nothing.
template <typename S>
Bytes Serialize(const S& s) {
    Bytes out(s.serializationSize() + 1, 0xEE);
    unsigned char* p = out.data() + 1;
    EXPECT_THROW(s.serialize(p, out.data() + out.size() - 1), BufferOverflow);
    EXPECT_EQ(out.data() + 1, p);
    EXPECT_EQ(Bytes(out.size(), 0xEE), out);
    s.serialize(p, out.data() + out.size());
    EXPECT_EQ(out.data() + out.size(), p);
    return Bytes(out.begin() + 1, out.end());
}

template <typename S>
S Deserialize(const Bytes& bytes) {
    S s = Make<S>("old");
    const unsigned char* p = bytes.data();
    s.deserialize(p, bytes.data() + bytes.size());
    EXPECT_EQ(bytes.data() + bytes.size(), p);
    return s;
}

TEST(StringBaseSerialization, WritesAndReadsBothForms) {
    // Wide: count of UTF-8 bytes, then the bytes. Narrow: count of bytes with a terminator.
    const Bytes wide = {0x07, 0x00, 0x00, 0x00, 0x41, 0xC3, 0xA9, 0xF0, 0x9F, 0x98, 0x80};
    EXPECT_EQ(wide, Serialize(String(L"A\u00E9\U0001F600")));
    EXPECT_STREQ(L"A\u00E9\U0001F600", Deserialize<String>(wide).c_str());
    EXPECT_EQ((Bytes{0, 0, 0, 0}), Serialize(String()));
    EXPECT_TRUE(Deserialize<String>({0, 0, 0, 0}).empty());
    EXPECT_EQ((Bytes{1, 0, 0, 0, '?'}), Serialize(String(1, static_cast<wchar_t>(0x80000000u))));

    const Bytes ab = {0x03, 0x00, 0x00, 0x00, 'a', 'b', 0x00};
    EXPECT_EQ(ab, Serialize(AString("ab")));
    EXPECT_STREQ("ab", Deserialize<NString>(ab).c_str());
    const Bytes zero = {0x04, 0x00, 0x00, 0x00, 'a', 0x00, 'b', 0x00};
    EXPECT_EQ(zero, Serialize(Make<NString>("a\0b", 3)));
    EXPECT_EQ(3u, Deserialize<AString>(zero).length());
    EXPECT_EQ((Bytes{1, 0, 0, 0, 0}), Serialize(NString()));
}

template <typename S, typename E>
void ExpectFailedReadKeepsTarget(const Bytes& bytes) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    S s = Make<S>("keep");
    const unsigned char* p = bytes.data();
    EXPECT_THROW(s.deserialize(p, bytes.data() + bytes.size()), E);
    EXPECT_EQ(bytes.data(), p);
    EXPECT_EQ("keep", Ascii(s));
}

TEST(StringBaseSerialization, FailedReadsChangeNothing) {
    ExpectFailedReadKeepsTarget<String, DeserializationError>({0x03, 0x00, 0x00});
    ExpectFailedReadKeepsTarget<String, DeserializationError>({0x02, 0x00, 0x00, 0x00, 'a'});
    ExpectFailedReadKeepsTarget<String, InvalidSequence>({0x02, 0x00, 0x00, 0x00, 0xC0, 0x80});
    ExpectFailedReadKeepsTarget<AString, DeserializationError>({0x02, 0x00, 0x00, 0x00, 'a', 'b'});
    ExpectFailedReadKeepsTarget<NString, DeserializationError>({0x00, 0x00, 0x00, 0x00});
    ExpectFailedReadKeepsTarget<NString, DeserializationError>({0xFF, 0xFF, 0xFF, 0xFF, 0x00});
}

}  // namespace
