#include "ka/kor/BastionURL.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetHostName.h"

namespace {

using ka::kor::BastionURL;
using ka::kor::RenderType;
using ka::kor::String;
using ka::kor::VestaURL;
namespace ex = ka::kor::exception;
typedef std::vector<unsigned char> Bytes;

TEST(BastionURL, ValidatesMachineDatabaseAndComponents) {
    const std::pair<String, bool> rows[] = {
        {L"\\\\db1\\archive\\.\\proc\\'a\\b'", true},
        {L"", true},
        {L"\\\\", true},
        {L"a\\\\b\\", true},  // empty ordinary components
        {L"\\x", false},
        {L"\\\\.\\arc", false},
        {L"\\\\db1\\", false},
        {L"\\\\db1\\ab", false},
        {L"\\\\db.\\a b.c'-_", true},
        {L"\\\\\\abc", false},  // empty machine name
        {L"\\\\db1\\" + String(128, L'd'), true},
        {L"\\\\db1\\" + String(129, L'd'), false},
        {L"\\\\db/1\\arc", false},
        {L"\\\\'db\\arc", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first.c_str());
        EXPECT_EQ(row.second, BastionURL::isValidPath(row.first));
        if (row.second) {
            EXPECT_EQ(0, BastionURL(row.first).str().exactCompare(row.first));
        } else {
            EXPECT_THROW(BastionURL url(row.first), ex::SyntaxError);
        }
    }
    for (const wchar_t c : String(L"\\/:*?\"<>|")) {
        const String name = String(L"ab") + String(1, c) + L"cd";
        EXPECT_FALSE(BastionURL::isValidDatabaseName(name)) << name.c_str();
        EXPECT_FALSE(BastionURL::isValidPath(L"\\\\db1\\" + name)) << name.c_str();
    }
}

TEST(BastionURL, EmbedsAndReturnsTheItemAddress) {
    const BastionURL parsed(L"\\\\DB1\\Archive\\m1\\proc\\'a\\b'");
    ASSERT_EQ(6u, parsed.size());
    EXPECT_EQ(0, parsed[1].exactCompare(L"Archive"));
    EXPECT_EQ(0, parsed[5].exactCompare(L"b'"));

    for (const wchar_t* text : {L"\\\\m1\\proc\\a.b", L"\\\\.\\proc\\'a\\b'.c", L"\\\\m1"}) {
        SCOPED_TRACE(text);
        const BastionURL url(L"db1", L"archive", VestaURL(text));
        EXPECT_EQ(0, url.str().exactCompare(String(L"\\\\db1\\archive\\") + (text + 2)));
        EXPECT_EQ(0, url.getVestaURLComponent().str().exactCompare(text));
    }
    const BastionURL bare(L"db1", L"archive", VestaURL());
    EXPECT_EQ(0, bare.str().exactCompare(L"\\\\db1\\archive"));
    EXPECT_TRUE(bare.getVestaURLComponent().empty());
    EXPECT_TRUE(BastionURL(L"a\\b\\c").getVestaURLComponent().empty());
    EXPECT_THROW(BastionURL(L"db1", L"ar", VestaURL(L"\\\\m\\p")), ex::SyntaxError);
    EXPECT_THROW(BastionURL(L".db", L"archive", VestaURL(L"\\\\m\\p")), ex::SyntaxError);
}

// An item that names no machine loses its first two characters just the same, and the rest is
// read as a relative address.
TEST(BastionURL, EmbedsAnItemWithoutMachineFromItsThirdCharacter) {
    const struct {
        const wchar_t* item;
        const wchar_t* archive;
    } rows[] = {
        {L"a\\b\\c", L"\\\\db1\\archive\\b\\c"},
        {L"abc.d", L"\\\\db1\\archive\\c.d"},
        {L"\\x\\y", L"\\\\db1\\archive\\\\y"},
        {L"..\\x", L"\\\\db1\\archive\\\\x"},
        {L"\\x", L"\\\\db1\\archive"},
        {L"ab", L"\\\\db1\\archive"},
        {L"''", L"\\\\db1\\archive"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.item);
        const BastionURL url(L"db1", L"archive", VestaURL(row.item));
        EXPECT_EQ(RenderType::Absolute, url.type());
        EXPECT_EQ(0, url.str().exactCompare(row.archive));
    }
}

TEST(BastionURL, EditsCheckEachPosition) {
    BastionURL url(L"\\\\");
    EXPECT_THROW(url.append(L"bad machine"), ex::SyntaxError);
    url.append(L"db1");
    EXPECT_THROW(url.append(L"ab"), ex::SyntaxError);
    url.append(L"archive");
    EXPECT_THROW(url.append(L"a\\b"), ex::SyntaxError);
    BastionURL bad(L"ok\\x");
    bad[1] = L"x\\y";  // unchecked access can break the rules
    EXPECT_THROW(url.extend(bad), ex::SyntaxError);
    EXPECT_EQ(0, url.str().exactCompare(L"\\\\db1\\archive"));

    EXPECT_EQ(0, (url + L"m\\p").str().exactCompare(L"\\\\db1\\archive\\m\\p"));
    EXPECT_EQ(0, (String(L"\\\\db2") + BastionURL(L"arc")).str().exactCompare(L"\\\\db2\\arc"));
    EXPECT_THROW(url + L"\\x", ex::SyntaxError);
    EXPECT_EQ(0, BastionURL(url, url.begin() + 1).str().exactCompare(L"\\\\db1"));

    const String parts[] = {L"db1", L"ab"};
    EXPECT_EQ(0, BastionURL(parts, parts + 2, RenderType::Relative).str().exactCompare(L"db1\\ab"));
    EXPECT_THROW(BastionURL(parts, parts + 2, RenderType::Absolute), ex::SyntaxError);
    EXPECT_THROW(BastionURL(parts, parts + 2, RenderType::LocalMachine), ex::InvalidArgument);
    EXPECT_THROW(url.type(RenderType::ProcessRelative), ex::InvalidArgument);

    String text(L"a\\b:c*d\\");
    BastionURL::stripIllegalCharacters(text, L'_', L":*");
    EXPECT_EQ(0, text.exactCompare(L"a_b_c_d_"));
    BastionURL::stripIllegalCharacters(text = L"a\\b:c", L'-', nullptr);
    EXPECT_EQ(0, text.exactCompare(L"a-b:c"));
}

TEST(BastionURL, MakeCanonicalNamesTheLocalMachine) {
    for (const wchar_t* alias : {L"localhost", L"LOCALHOST", L"127.0.0.1"}) {
        for (bool cached : {true, false}) {
            BastionURL url(String(L"\\\\") + alias + L"\\archive\\m\\p");
            url.makeCanonical(cached);
            const String host = ka::kor::osdep::GetHostName();
            EXPECT_EQ(0, url.str().exactCompare(L"\\\\" + host + L"\\archive\\m\\p"))
                << alias << cached;
        }
    }
    for (const wchar_t* kept : {L"\\\\other.invalid\\archive", L"localhost\\x"}) {
        BastionURL url(kept);
        url.makeCanonical(false);
        EXPECT_EQ(0, url.str().exactCompare(kept));
    }
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
    const Bytes expected = {
        0x01, 0x00, 0x00, 0x00,                        // Absolute
        0x02, 0x00, 0x00, 0x00,                        // two components
        0x02, 0x00, 0x00, 0x00, 'd', 'b',              // db
        0x04, 0x00, 0x00, 0x00, 'a', 'r', 0xC3, 0xA9,  // aré
    };
    const BastionURL url(L"\\\\db\\ar\u00e9");
    Bytes buffer(url.serializationSize() + 1);  // written and read one byte in: unaligned
    unsigned char* p = buffer.data() + 1;
    url.serialize(p, buffer.data() + buffer.size());
    EXPECT_EQ(buffer.data() + buffer.size(), p);
    EXPECT_EQ(expected, Bytes(buffer.begin() + 1, buffer.end()));
    BastionURL back;
    const unsigned char* q = buffer.data() + 1;
    back.deserialize(q, buffer.data() + buffer.size());
    EXPECT_EQ(0, back.str().exactCompare(url.str()));

    // Any type is read as stored, as a signed value; only componentsAreValid tells it apart.
    for (const std::int32_t type : {3, 0, -1}) {
        SCOPED_TRACE(type);
        Bytes bytes = expected;
        for (int i = 0; i < 4; ++i) {
            bytes[i] = static_cast<unsigned char>(static_cast<std::uint32_t>(type) >> (8 * i));
        }
        BastionURL odd;
        const unsigned char* r = bytes.data();
        odd.deserialize(r, bytes.data() + bytes.size());
        EXPECT_EQ(bytes.data() + bytes.size(), r);
        EXPECT_EQ(type, static_cast<std::int32_t>(odd.type()));
        EXPECT_EQ(2u, odd.size());
        EXPECT_FALSE(odd.componentsAreValid());
    }

    std::vector<Bytes> bad;
    for (std::size_t n = 0; n < expected.size(); ++n) {
        bad.emplace_back(expected.begin(), expected.begin() + n);
    }
    for (const Bytes& bytes : bad) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        BastionURL kept(L"kept");
        const unsigned char* r = bytes.data();
        EXPECT_THROW(kept.deserialize(r, bytes.data() + bytes.size()), ex::DeserializationError);
        EXPECT_EQ(bytes.data(), r);
        EXPECT_EQ(0, kept.str().exactCompare(L"kept"));
    }
    unsigned char* w = buffer.data();
    EXPECT_THROW(url.serialize(w, buffer.data() + expected.size() - 1), ex::BufferOverflow);
    EXPECT_EQ(buffer.data(), w);
}

}  // namespace
