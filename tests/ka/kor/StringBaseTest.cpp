#include "ka/kor/StringBase.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using ka::kor::AString;
using ka::kor::NString;
using ka::kor::String;

TEST(StringBaseConversion, WideTextRoundTripsThroughUtf8Serialization) {
    const String s(L"a\u00E9\u20AC\U0001F600");
    unsigned char buffer[32];
    unsigned char* p = buffer;
    s.serialize(p, buffer + sizeof buffer);
    ASSERT_EQ(s.serializationSize(), static_cast<unsigned>(p - buffer));
    String back;
    const unsigned char* q = buffer;
    back.deserialize(q, p);
    EXPECT_EQ(0, back.exactCompare(s));
}

TEST(StringBaseConversion, PlainNarrowStringIsUsAscii) {
    const NString n(L"a\u00E9b");
    EXPECT_STREQ("a?b", n.c_str());
    const String w(n);
    EXPECT_STREQ(L"a?b", w.c_str());
}

}  // namespace
