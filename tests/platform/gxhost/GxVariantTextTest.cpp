#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "GxTestSupport.h"

namespace {

using gx_test::Json;
using gx_test::PacketOf;
using gx_test::Text;
using gx_test::Var;

constexpr MgErr kOk = mgNoErr;

TEST(GxVariantText, ParsesAndRendersEveryType) {
    struct Case {
        std::uint16_t type;
        std::uint16_t element;
        const char* input;
        MgErr status;
        const char* text = nullptr;  // null: the input itself
        const char* json = nullptr;  // null: the text
    };
    const Case cases[] = {
        {GX_TYPE_I8, 0, "-128", kOk, nullptr, nullptr},
        {GX_TYPE_I8, 0, "128", mgArgErr},
        {GX_TYPE_UI8, 0, "0xff", kOk, "255", nullptr},
        {GX_TYPE_UI8, 0, "-1", mgArgErr},
        {GX_TYPE_I16, 0, "+12", kOk, "12", nullptr},
        {GX_TYPE_I32, 0, "2147483648", mgArgErr},
        {GX_TYPE_I32, 0, "12abc", mgArgErr},
        {GX_TYPE_I32, 0, "", mgArgErr},
        {GX_TYPE_I32, 0, "+-1", mgArgErr},
        {GX_TYPE_I64, 0, "-0x8000000000000000", kOk, "-9223372036854775808", nullptr},
        {GX_TYPE_UI64, 0, "18446744073709551616", mgArgErr},
        {GX_TYPE_F32, 0, "0.1", kOk, nullptr, nullptr},
        {GX_TYPE_F32, 0, "1e39", mgArgErr},
        {GX_TYPE_F64, 0, "+2.5", kOk, "2.5", nullptr},
        {GX_TYPE_F64, 0, "nan", kOk, "nan", "\"nan\""},
        {GX_TYPE_F64, 0, "-inf", kOk, "-inf", "\"-inf\""},
        {GX_TYPE_F64, 0, "1e400", mgArgErr},
        {GX_TYPE_F64, 0, "0x10", mgArgErr},
        {GX_TYPE_BOOL, 0, "1", kOk, "true", nullptr},
        {GX_TYPE_BOOL, 0, "yes", mgArgErr},
        {GX_TYPE_BOOL16, 0, "False", kOk, "false", nullptr},
        {GX_TYPE_TIME, 0, "2024-02-29T23:59:59.999999999Z", kOk, nullptr,
         "\"2024-02-29T23:59:59.999999999Z\""},
        {GX_TYPE_TIME, 0, "1903-12-31T23:59:59.5", kOk, "1903-12-31T23:59:59.5Z",
         "\"1903-12-31T23:59:59.5Z\""},
        {GX_TYPE_TIME, 0, "-0001-03-01T00:00:00Z", kOk, nullptr, "\"-0001-03-01T00:00:00Z\""},
        {GX_TYPE_TIME, 0, "1904-01-01T00:00:59.9999999999Z", kOk, "1904-01-01T00:01:00Z",
         "\"1904-01-01T00:01:00Z\""},
        {GX_TYPE_TIME, 0, "2023-02-29T00:00:00Z", mgArgErr},
        {GX_TYPE_TIME, 0, "2024-01-01T24:00:00Z", mgArgErr},
        {GX_TYPE_TIME, 0, "2024-1-01T00:00:00Z", mgArgErr},
        {GX_TYPE_ASTRING, 0, " a, b ", kOk, nullptr, "\" a, b \""},
        {GX_TYPE_ASTRING, 0, "\xE9\n\"", kOk, nullptr, "\"\\u00e9\\n\\\"\""},
        {GX_TYPE_UTF16, 0, "\xF0\x9F\x98\x80", kOk, nullptr, "\"\xF0\x9F\x98\x80\""},
        {GX_TYPE_UTF16, 0, "\xC3", mgArgErr},
        {GX_TYPE_ARRAY, GX_TYPE_I32, " [ 1 , 2 ] ", kOk, "[1,2]", nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_I32, "1,,2", mgArgErr},
        {GX_TYPE_ARRAY, GX_TYPE_I32, "1,", mgArgErr},
        {GX_TYPE_ARRAY, GX_TYPE_I32, "[1", mgArgErr},
        {GX_TYPE_ARRAY, GX_TYPE_F64, "[\"nan\", 1]", kOk, "[nan,1]", "[\"nan\",1]"},
        {GX_TYPE_ARRAY, GX_TYPE_BOOL, "true,0", kOk, "[true,false]", nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_TIME, "1904-01-01T00:00:00Z", kOk, "[1904-01-01T00:00:00Z]",
         "[\"1904-01-01T00:00:00Z\"]"},
        {GX_TYPE_ARRAY, GX_TYPE_ASTRING, "a, b", kOk, "[\"a\",\"b\"]", nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_ASTRING, "a,", kOk, "[\"a\",\"\"]", nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_ASTRING, "[\"x\\\"y\",\"\\u00e9\"]", kOk, nullptr, nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_ASTRING, "[\"x\" y]", mgArgErr},
        {GX_TYPE_ARRAY, GX_TYPE_UTF16, "[\"\\ud83d\\ude00\"]", kOk, "[\"\xF0\x9F\x98\x80\"]",
         nullptr},
        {GX_TYPE_ARRAY, GX_TYPE_UTF16, "[\"\\ud83d\"]", mgArgErr},
        {GX_TYPE_CLUSTER, 0, "1", mgNotSupported},
        {GX_TYPE_ARRAY, GX_TYPE_CLUSTER, "[]", mgNotSupported},
        {GX_TYPE_NONE, 0, "", mgNotSupported},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        Var v;
        ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I8, 9));
        ASSERT_EQ(c.status, GxVarParse(v.get(), c.type, c.element, c.input, -1));
        if (c.status != mgNoErr) {
            EXPECT_EQ("9", Text(v.get()));  // a failed parse leaves the variant alone
            continue;
        }
        const std::string text = c.text != nullptr ? c.text : c.input;
        EXPECT_EQ(text, Text(v.get()));
        EXPECT_EQ(c.json != nullptr ? c.json : text, Json(v.get()));
    }
}

// The rendered text of random doubles, floats and times reads back to the same value (times
// after their first rendering, which rounds to the nanosecond).
TEST(GxVariantText, RenderedTextReadsBack) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 3000; ++i) {
        const std::uint64_t bits = random();
        double d;
        std::memcpy(&d, &bits, 8);
        const float f = static_cast<float>(d);
        Var v;
        Var back;
        for (const std::uint16_t type : {GX_TYPE_F64, GX_TYPE_F32}) {
            ASSERT_EQ(mgNoErr, GxVarSetDouble(v.get(), type, type == GX_TYPE_F64 ? d : f));
            if (Text(v.get()) == "nan") {
                continue;  // the payload of a NaN has no text
            }
            ASSERT_EQ(mgNoErr, GxVarParse(back.get(), type, 0, Text(v.get()).c_str(), -1));
            ASSERT_EQ(PacketOf(v.get()), PacketOf(back.get())) << Text(v.get());
        }
        const std::int64_t seconds =
            static_cast<std::int64_t>(random() % 200000000000ull) - 100000000000ll;
        ASSERT_EQ(mgNoErr, GxVarSetTime(v.get(), seconds, random()));
        const std::string once = Text(v.get());
        ASSERT_EQ(mgNoErr, GxVarParse(back.get(), GX_TYPE_TIME, 0, once.c_str(), -1));
        ASSERT_EQ(once, Text(back.get()));
    }
}

TEST(GxVariantText, RenderTruncatesLikeSnprintf) {
    Var v;
    ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I32, 12345));
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(5, GxVarRender(v.get(), GX_RENDER_TEXT, buffer, sizeof buffer));
    EXPECT_STREQ("123", buffer);
    EXPECT_EQ(5, GxVarRender(v.get(), GX_RENDER_JSON, nullptr, 0));
    EXPECT_EQ(-1, GxVarRender(v.get(), 7, nullptr, 0));
    EXPECT_EQ(-1, GxVarRender(nullptr, GX_RENDER_TEXT, nullptr, 0));
}

TEST(GxVariantText, TypeNamesReadBackInAnyCase) {
    for (unsigned code = 0; code <= 0xFFFF; ++code) {
        const char* name = GxVarTypeName(static_cast<std::uint16_t>(code));
        if (name != nullptr) {
            std::string lower(name);
            for (char& c : lower) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            EXPECT_EQ(code, GxVarTypeFromName(lower.c_str())) << name;
        }
    }
    EXPECT_STREQ("Cluster", GxVarTypeName(GX_TYPE_CLUSTER));
    EXPECT_EQ(nullptr, GxVarTypeName(0x0103));
    EXPECT_EQ(0, GxVarTypeFromName("F65"));
}

TEST(GxVariantText, ArraysAreBuiltAndReadElementByElement) {
    Var array;
    Var e;
    ASSERT_EQ(mgNoErr, GxVarSetArray(array.get(), GX_TYPE_UTF16));
    const uint16_t units[] = {0x68, 0xD83D, 0xDE00};
    ASSERT_EQ(mgNoErr, GxVarSetUTF16(e.get(), units, 3));
    ASSERT_EQ(mgNoErr, GxVarAppendElement(array.get(), e.get()));
    ASSERT_EQ(mgNoErr, GxVarAppendElement(array.get(), e.get()));
    ASSERT_EQ(mgNoErr, GxVarSetString(e.get(), GX_TYPE_ASTRING, "h", 1));
    EXPECT_EQ(mgArgErr, GxVarAppendElement(array.get(), e.get()));  // not the element type
    EXPECT_EQ(2, GxVarCount(array.get()));
    EXPECT_EQ(GX_TYPE_UTF16, GxVarElementType(array.get()));

    ASSERT_EQ(mgNoErr, GxVarGetElement(array.get(), 1, e.get()));
    uint16_t out[2] = {0, 0};
    int32_t count = 0;
    ASSERT_EQ(mgNoErr, GxVarGetUTF16(e.get(), out, 2, &count));
    EXPECT_EQ(3, count);  // the count, even when only part fits
    EXPECT_EQ(0xD83D, out[1]);
    EXPECT_EQ(mgArgErr, GxVarGetElement(array.get(), 2, e.get()));
    int64_t number;
    EXPECT_EQ(mgNotSupported, GxVarGetInt(e.get(), &number));
    EXPECT_EQ(mgNotSupported, GxVarGetInt(array.get(), &number));
}

}  // namespace
