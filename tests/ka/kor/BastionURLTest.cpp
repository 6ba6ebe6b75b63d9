#include "ka/kor/BastionURL.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/GetHostName.h"

namespace {

using ka::kor::BastionURL;
using ka::kor::RenderType;
using ka::kor::String;
using ka::kor::VestaURL;
namespace ex = ka::kor::exception;

String Repeat(wchar_t c, unsigned int n) {
    return String(n, c);
}

TEST(BastionURL, ValidatesMachineDatabaseAndComponents) {
    struct Row {
        String text;
        bool valid;
    };
    const Row rows[] = {
        {L"\\\\db1\\archive\\m1\\proc\\a.b", true},
        {L"\\\\db1\\archive\\.\\proc\\'a\\b'", true},
        {L"", true},
        {L"\\\\", true},
        {L"\\\\db1", true},
        {L"\\\\m.x-y\\arc", true},
        {L"a\\b", true},
        {L"a\\\\b\\", true},  // empty ordinary components
        {L"\\\\db1\\arc\\", true},
        {L"\\x", false},          // process-relative
        {L"\\\\.\\arc", false},   // local machine
        {L"\\\\db1\\", false},    // empty database name
        {L"\\\\db1\\ab", false},  // database name too short
        {L"\\\\db1\\" + Repeat(L'd', 128), true},
        {L"\\\\db1\\" + Repeat(L'd', 129), false},
        {L"\\\\d b\\arc", false},
        {L"\\\\'db\\arc", false},
        {L"\\\\db/1\\arc", false},
        {L"\\\\db\t1\\arc", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text.c_str())));
        EXPECT_EQ(row.valid, BastionURL::isValidPath(row.text));
        if (row.valid) {
            EXPECT_EQ(0, BastionURL(row.text).str().exactCompare(row.text.c_str()));
        } else {
            EXPECT_THROW(BastionURL url(row.text), ex::SyntaxError);
        }
    }
    for (const wchar_t c : String(L"\\/:*?\"<>|")) {
        SCOPED_TRACE(static_cast<int>(c));
        String name(L"ab");
        name += c;
        name += L"cd";
        EXPECT_FALSE(BastionURL::isValidDatabaseName(name));
        EXPECT_FALSE(BastionURL::isValidPath(L"\\\\db1\\" + name));
    }
    EXPECT_TRUE(BastionURL::isValidDatabaseName(L"a b.c'-_"));
    EXPECT_FALSE(BastionURL::isValidMachineName(L""));
    EXPECT_FALSE(BastionURL::isValidMachineName(L".db"));
    EXPECT_TRUE(BastionURL::isValidMachineName(L"db."));
    EXPECT_TRUE(BastionURL::isValidComponent(L""));
    EXPECT_FALSE(BastionURL::isValidComponent(L"a\\b"));
    EXPECT_TRUE(BastionURL::isValidSep(L'\\'));
    EXPECT_FALSE(BastionURL::isValidSep(L'.'));
}

TEST(BastionURL, ParsesIntoPlainComponents) {
    const BastionURL url(L"\\\\DB1\\Archive\\m1\\proc\\'a\\b'");
    EXPECT_EQ(RenderType::Absolute, url.type());
    const wchar_t* const parts[] = {L"DB1", L"Archive", L"m1", L"proc", L"'a", L"b'"};
    ASSERT_EQ(6u, url.size());
    for (unsigned int i = 0; i < url.size(); ++i) {
        EXPECT_EQ(0, url[i].exactCompare(parts[i]));
    }
    EXPECT_TRUE(url.componentsAreValid());
    EXPECT_EQ(RenderType::Relative, BastionURL(L"a").type());
    EXPECT_TRUE(BastionURL().empty());
}

TEST(BastionURL, EmbedsAndReturnsTheItemAddress) {
    const wchar_t* const items[] = {
        L"\\\\m1\\proc\\a.b",
        L"\\\\.\\proc\\x",
        L"\\\\m1\\proc\\'a\\b'.c",
        L"\\\\m1",
    };
    for (const wchar_t* text : items) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(text)));
        const VestaURL item(text);
        const BastionURL url(L"db1", L"archive", item);
        EXPECT_EQ(0, url.str().exactCompare(String(L"\\\\db1\\archive\\") + (text + 2)));
        const VestaURL back = url.getVestaURLComponent();
        EXPECT_EQ(item, back);
        EXPECT_EQ(0, back.str().exactCompare(text));
    }
    const BastionURL bare(L"db1", L"archive", VestaURL());
    EXPECT_EQ(0, bare.str().exactCompare(L"\\\\db1\\archive"));
    EXPECT_TRUE(bare.getVestaURLComponent().empty());
    EXPECT_TRUE(BastionURL(L"a\\b\\c").getVestaURLComponent().empty());

    EXPECT_THROW(BastionURL(L"db1", L"archive", VestaURL(L"a\\b")), ex::InvalidArgument);
    EXPECT_THROW(BastionURL(L"db1", L"ar", VestaURL(L"\\\\m\\p")), ex::SyntaxError);
    EXPECT_THROW(BastionURL(L".db", L"archive", VestaURL(L"\\\\m\\p")), ex::SyntaxError);
}

TEST(BastionURL, AppendAndExtendCheckEachPosition) {
    BastionURL url(L"\\\\");
    EXPECT_THROW(url.append(L"bad machine"), ex::SyntaxError);
    url.append(L"db1");
    EXPECT_THROW(url.append(L"ab"), ex::SyntaxError);
    url.append(L"archive");
    EXPECT_THROW(url.append(L"a\\b"), ex::SyntaxError);
    url.append(L"");
    EXPECT_EQ(0, url.str().exactCompare(L"\\\\db1\\archive\\"));
    url.eraseLastComponent();

    const BastionURL before(url);
    BastionURL bad(L"ok");
    bad.append(L"x");
    bad[1] = L"x\\y";  // unchecked access can break the rules
    EXPECT_THROW(url.extend(bad), ex::SyntaxError);
    EXPECT_EQ(before, url);

    EXPECT_EQ(0, (url + L"m\\p").str().exactCompare(L"\\\\db1\\archive\\m\\p"));
    EXPECT_EQ(0, (url + BastionURL(L"m")).str().exactCompare(L"\\\\db1\\archive\\m"));
    EXPECT_EQ(0, (String(L"\\\\db2") + BastionURL(L"arc")).str().exactCompare(L"\\\\db2\\arc"));
    EXPECT_EQ(0, (L"a" + BastionURL(L"b")).str().exactCompare(L"a\\b"));
    EXPECT_THROW(url + L"\\x", ex::SyntaxError);

    const BastionURL prefix(url, url.begin() + 1);
    EXPECT_EQ(0, prefix.str().exactCompare(L"\\\\db1"));
    const String parts[] = {L"db1", L"arc"};
    EXPECT_EQ(
        0, BastionURL(parts, parts + 2, RenderType::Absolute).str().exactCompare(L"\\\\db1\\arc"));
    EXPECT_THROW(BastionURL(parts, parts + 2, RenderType::LocalMachine), ex::InvalidArgument);
    EXPECT_THROW(url.type(RenderType::ProcessRelative), ex::InvalidArgument);

    ka::kor::Vector<String> components;
    components.push_back(L"db1");
    components.push_back(L"ab");
    EXPECT_FALSE(BastionURL::componentsAreValid(components, RenderType::Absolute));
    EXPECT_TRUE(BastionURL::componentsAreValid(components, RenderType::Relative));
    EXPECT_FALSE(BastionURL::componentsAreValid(components, RenderType::LocalMachine));
}

TEST(BastionURL, StripsIllegalCharacters) {
    String text(L"a\\b:c*d\\");
    BastionURL::stripIllegalCharacters(text, L'_', L":*");
    EXPECT_EQ(0, text.exactCompare(L"a_b_c_d_"));
    String plain(L"a\\b:c");
    BastionURL::stripIllegalCharacters(plain, L'-', nullptr);
    EXPECT_EQ(0, plain.exactCompare(L"a-b:c"));
}

TEST(BastionURL, MakeCanonicalNamesTheLocalMachine) {
    const String host = ka::kor::osdep::GetHostName();
    for (const wchar_t* alias : {L"localhost", L"LOCALHOST", L"127.0.0.1"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(alias)));
        for (bool cached : {true, false}) {
            BastionURL url(String(L"\\\\") + alias + L"\\archive\\m\\p");
            url.makeCanonical(cached);
            EXPECT_EQ(0, url[0].exactCompare(cached ? ka::kor::osdep::GetCachedHostName() : host));
            EXPECT_EQ(0, url[1].exactCompare(L"archive"));
        }
    }
    BastionURL remote(L"\\\\surely-not-local.invalid\\archive");
    remote.makeCanonical(false);
    EXPECT_EQ(0, remote[0].exactCompare(L"surely-not-local.invalid"));
    BastionURL relative(L"localhost\\x");
    relative.makeCanonical(false);
    EXPECT_EQ(0, relative[0].exactCompare(L"localhost"));
}

TEST(BastionURL, ComparesWithoutCase) {
    EXPECT_EQ(BastionURL(L"\\\\DB\\Arc\\x"), BastionURL(L"\\\\db\\arc\\X"));
    EXPECT_NE(BastionURL(L"\\\\db\\arc"), BastionURL(L"db\\arc"));
    EXPECT_TRUE(BastionURL(L"\\\\z") < BastionURL(L"a"));
    EXPECT_TRUE(BastionURL(L"a") < BastionURL(L"A\\b"));
    EXPECT_TRUE(BastionURL(L"A\\b") < BastionURL(L"a\\C"));
    EXPECT_FALSE(BastionURL(L"a\\C") < BastionURL(L"A\\b"));
}

TEST(BastionURL, SerializesWithoutVersionByte) {
    const unsigned char expected[] = {
        0x01, 0x00, 0x00, 0x00,                        // Absolute
        0x02, 0x00, 0x00, 0x00,                        // two components
        0x02, 0x00, 0x00, 0x00, 'd', 'b',              // db
        0x04, 0x00, 0x00, 0x00, 'a', 'r', 0xC3, 0xA9,  // aré
    };
    const BastionURL url(L"\\\\db\\ar\u00e9");
    ASSERT_EQ(sizeof expected, url.serializationSize());
    std::vector<unsigned char> buffer(sizeof expected + 1);
    unsigned char* p = buffer.data() + 1;
    url.serialize(p, buffer.data() + buffer.size());
    EXPECT_EQ(0, std::memcmp(expected, buffer.data() + 1, sizeof expected));

    BastionURL back;
    const unsigned char* q = buffer.data() + 1;
    back.deserialize(q, buffer.data() + buffer.size());
    EXPECT_EQ(buffer.data() + buffer.size(), q);
    EXPECT_EQ(0, back.str().exactCompare(url.str()));

    for (std::size_t n = 0; n < sizeof expected; ++n) {
        SCOPED_TRACE(n);
        BastionURL kept(L"kept");
        const unsigned char* r = expected;
        EXPECT_THROW(kept.deserialize(r, expected + n), ex::DeserializationError);
        EXPECT_EQ(expected, r);
        EXPECT_EQ(0, kept.str().exactCompare(L"kept"));
    }
    unsigned char badType[sizeof expected];
    std::memcpy(badType, expected, sizeof expected);
    badType[0] = 3;
    const unsigned char* r = badType;
    BastionURL kept(L"kept");
    EXPECT_THROW(kept.deserialize(r, badType + sizeof badType), ex::DeserializationError);

    unsigned char small[sizeof expected - 1];
    unsigned char* w = small;
    EXPECT_THROW(url.serialize(w, small + sizeof small), ex::BufferOverflow);
    EXPECT_EQ(small, w);
}

}  // namespace
