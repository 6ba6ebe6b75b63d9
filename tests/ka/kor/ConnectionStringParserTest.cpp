#include "ka/kor/ConnectionStringParser.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using ka::kor::ConnectionStringParser;
namespace ex = ka::kor::exception;

struct Row {
    const wchar_t* text;
    const wchar_t* attributes;  // "[name]=[value]" for each, in name order
};

// clang-format off
const Row kRows[] = {
    {L"Data Source = a b ;", L"[Data Source]=[a b]"},
    {L"a==b=c", L"[a=b]=[c]"},
    {L"a===b", L"[a=]=[b]"},
    {L"x='it''s';y=2", L"[x]=[it's][y]=[2]"},
    {L"x=\"a;\"\"b\"\"\";y='\"'", L"[x]=[a;\"b\"][y]=[\"]"},
    {L"x = 'q' ignored ; y=1", L"[x]=[q][y]=[1]"},
    {L"y=1;x='open;z=2", L"[x]=[][y]=[1]"},
    {L"  a = 1 ;; b=2", L"[a]=[1][b]=[2]"},
    {L"a=1;=2;b=3", L"[a]=[1]"},
    {L"novalue", L"[novalue]=[]"},
    {L"n\t m = x  y  ", L"[n\t m]=[x  y]"},
    {L"a=1;A=2", L"[a]=[1]"},
    {L"   ", L""},
};
// clang-format on

TEST(ConnectionStringParser, SplitsNamesAndValues) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.text);
        const ConnectionStringParser parser(row.text, false);
        std::wstring found;
        for (const auto& a : parser.attributes()) {
            found += L"[" + std::wstring(a.first.c_str()) + L"]=[" + a.second.c_str() + L"]";
        }
        EXPECT_EQ(std::wstring(row.attributes), found);
    }
}

TEST(ConnectionStringParser, LooksNamesUpWithoutCaseAndRejectsRepeats) {
    const ConnectionStringParser parser(L"Data Source=srv;x=1", true);
    EXPECT_EQ(0, parser.getAttribute(L"DATA SOURCE").exactCompare(L"srv"));
    EXPECT_EQ(0, parser.getAttribute(L"X").exactCompare(L"1"));
    EXPECT_THROW(parser.getAttribute(L""), ex::InvalidArgument);
    EXPECT_THROW(parser.getAttribute(L"Data"), ex::NotFound);
    EXPECT_THROW(ConnectionStringParser(L"", false), ex::InvalidArgument);
    try {
        ConnectionStringParser strict(L"a=1;b=2;A=3", true);
        ADD_FAILURE();
    } catch (const ex::InvalidArgument2& e) {
        EXPECT_STREQ("Connection string repeats attribute: A", e.what());
    }
}

}  // namespace
