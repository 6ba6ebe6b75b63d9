#include "ka/kor/ConnectionStringParser.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using ka::kor::ConnectionStringParser;
using ka::kor::String;
namespace ex = ka::kor::exception;

struct Row {
    const wchar_t* text;
    std::vector<std::pair<const wchar_t*, const wchar_t*>> attributes;
};

const Row kRows[] = {
    {L"Data Source = a b ;", {{L"Data Source", L"a b"}}},
    {L"a==b=c", {{L"a=b", L"c"}}},
    {L"a===b", {{L"a=", L"b"}}},
    {L"x='it''s';y=2", {{L"x", L"it's"}, {L"y", L"2"}}},
    {L"x=\"a;b\"", {{L"x", L"a;b"}}},
    {L"x=\"say \"\"hi\"\"\";y='\"'", {{L"x", L"say \"hi\""}, {L"y", L"\""}}},
    {L"x = 'q' ignored ; y=1", {{L"x", L"q"}, {L"y", L"1"}}},
    {L"x='open", {{L"x", L""}}},
    {L"y=1;x='open;z=2", {{L"y", L"1"}, {L"x", L""}}},
    {L"  a = 1 ;; b=2", {{L"a", L"1"}, {L"b", L"2"}}},
    {L"a=1;=2;b=3", {{L"a", L"1"}}},
    {L"novalue", {{L"novalue", L""}}},
    {L"n\t m = x  y  ", {{L"n\t m", L"x  y"}}},
    {L"a=;b= ", {{L"a", L""}, {L"b", L""}}},
    {L"a=1;A=2", {{L"a", L"1"}}},
    {L"   ", {}},
    {L"=x", {}},
};

TEST(ConnectionStringParser, SplitsNamesAndValues) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
        const ConnectionStringParser parser(row.text, false);
        ASSERT_EQ(row.attributes.size(), parser.attributes().size());
        for (const auto& a : row.attributes) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(a.first)));
            const auto found = parser.attributes().find(a.first);
            ASSERT_NE(parser.attributes().end(), found);
            EXPECT_EQ(0, found->first.exactCompare(a.first));
            EXPECT_EQ(0, found->second.exactCompare(a.second));
        }
    }
}

TEST(ConnectionStringParser, LooksNamesUpWithoutCase) {
    const ConnectionStringParser parser(L"Data Source=srv;x=1", true);
    EXPECT_EQ(0, parser.getAttribute(L"DATA SOURCE").exactCompare(L"srv"));
    EXPECT_EQ(0, parser.getAttribute(L"X").exactCompare(L"1"));
    EXPECT_THROW(parser.getAttribute(L""), ex::InvalidArgument);
    EXPECT_THROW(parser.getAttribute(L"y"), ex::NotFound);
    EXPECT_THROW(parser.getAttribute(L"Data"), ex::NotFound);
}

TEST(ConnectionStringParser, RepeatedNamesAreKeptOrRejected) {
    const ConnectionStringParser lenient(L"a=1;A=2;a=3", false);
    EXPECT_EQ(0, lenient.getAttribute(L"a").exactCompare(L"1"));
    try {
        ConnectionStringParser strict(L"a=1;b=2;A=3", true);
        ADD_FAILURE();
    } catch (const ex::InvalidArgument2& e) {
        EXPECT_STREQ("Connection string repeats attribute: A", e.what());
    }
    EXPECT_THROW(ConnectionStringParser(L"", false), ex::InvalidArgument);
}

}  // namespace
