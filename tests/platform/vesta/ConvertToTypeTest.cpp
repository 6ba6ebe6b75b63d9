#include "qbrealt/ConvertToType.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ka/kor/PacketTestSupport.h"

namespace {

using ka::kor::FlexData;

FlexData FromHex(const std::string& hex) {
    const packet_test::Bytes b = packet_test::Hex(hex);
    FlexData f;
    f.copyFrom(b.data(), b.data() + b.size());
    return f;
}

template <typename Set>
FlexData Make(Set set) {
    FlexData f;
    set(f);
    return f;
}

FlexData A(const char* text) {
    return FlexData(text);
}

TEST(ConvertToType, ConvertsWhatFitsAndRefusesTheRest) {
    const FlexData f64(0.0), f32 = Make([](FlexData&f) { f.setF32(0); }), i32(0),
                             ui8 = Make([](FlexData&f) { f.setUI8(0); }),
                             i64 = Make([](FlexData&f) { f.setI64(0); }), boolean(false), text(L""),
                             atext(""), time{ka::kor::AbsTime()};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    FlexData i32Array3, i32Array2, f64Array;
    i32Array3.setScalarArray(ka::kor::Vector<std::int32_t>(3, 1));
    i32Array2.setScalarArray(ka::kor::Vector<std::int32_t>(2, 5));
    f64Array.setScalarArray(ka::kor::Vector<double>(2, 5.0));
    const FlexData none;  // stands for "refused"

    const struct {
        const char* name;
        FlexData value;
        FlexData like;
        FlexData expected;
    } cases[] = {
        // Numbers between numeric types.
        {"I32 to F64", FlexData(7), f64, FlexData(7.0)},
        {"F64 rounds half away from zero", FlexData(2.5), i32, FlexData(3)},
        {"negative half", FlexData(-2.5), i32, FlexData(-3)},
        {"F64 beyond I32", FlexData(1e10), i32, none},
        {"F64 just inside I64", FlexData(-9223372036854775808.0), i64,
         Make([](FlexData& f) { f.setI64(INT64_MIN); })},
        {"F64 2^63 beyond I64", FlexData(9223372036854775808.0), i64, none},
        {"NaN to an integer", FlexData(nan), i32, none},
        {"UI64 max to I64", Make([](FlexData& f) { f.setUI64(~0ull); }), i64, none},
        {"negative to UI8", FlexData(-1), ui8, none},
        {"255 to UI8", FlexData(255), ui8, Make([](FlexData& f) { f.setUI8(255); })},
        {"256 to UI8", FlexData(256), ui8, none},
        {"F64 beyond F32", FlexData(1e300), f32, none},
        {"infinity to F32", FlexData(HUGE_VAL), f32,
         Make([](FlexData& f) { f.setF32(HUGE_VALF); })},
        {"Bool to I32", FlexData(true), i32, FlexData(1)},
        // Bool.
        {"I32 0 to Bool", FlexData(0), boolean, FlexData(false)},
        {"F64 to Bool", FlexData(0.5), boolean, FlexData(true)},
        {"NaN to Bool", FlexData(nan), boolean, none},
        {"TRUE to Bool", A(" TRUE "), boolean, FlexData(true)},
        {"text 0 to Bool", A("0"), boolean, FlexData(false)},
        {"yes to Bool", A("yes"), boolean, none},
        {"I32 to Bool16", FlexData(1), FromHex("08000000 0202 0000"),
         FromHex("08000000 0202 0100")},
        // Text to numbers.
        {"blanks around an integer", A(" 42\t"), i32, FlexData(42)},
        {"plus sign", A("+7"), ui8, Make([](FlexData& f) { f.setUI8(7); })},
        {"decimal", FlexData(L"4.5"), f64, FlexData(4.5)},
        {"exponent to an integer", A("1e3"), i32, FlexData(1000)},
        {"UI64 max as text", A("18446744073709551615"), Make([](FlexData& f) { f.setUI64(0); }),
         Make([](FlexData& f) { f.setUI64(~0ull); })},
        {"not a number", A("abc"), f64, none},
        {"trailing garbage", A("12abc"), i32, none},
        {"empty text", A(""), f64, none},
        {"non-ASCII digits", FlexData(L"\u0664\u0662"), i32, none},
        // Text between kinds, and numbers as text.
        {"UTF16 to AString", FlexData(L"\u00e9t\u00e9"), atext, FlexData("\xe9t\xe9", 3)},
        {"UTF16 beyond Latin-1", FlexData(L"\u20ac"), atext, none},
        {"AString to UTF16", FlexData("\xe9", 1), text, FlexData(L"\u00e9")},
        {"AString to AStringAlt", A("hi"), FromHex("0A000000 0109 00000000"),
         FromHex("0C000000 0109 02000000 6869")},
        {"I32 as text", FlexData(-5), text, FlexData(L"-5")},
        {"F64 as shortest text", FlexData(0.1), atext, A("0.1")},
        {"F32 as shortest text", Make([](FlexData& f) { f.setF32(0.1f); }), atext, A("0.1")},
        {"Bool as text", FlexData(true), text, FlexData(L"true")},
        {"time as text", FlexData(ka::kor::AbsTime()), text, none},
        // Everything else: exactly its own description.
        {"time to time", FlexData(ka::kor::AbsTime()), time, FlexData(ka::kor::AbsTime())},
        {"I32 to time", FlexData(1), time, none},
        {"array of another length", i32Array2, i32Array3, i32Array2},
        {"array of another element type", f64Array, i32Array3, none},
        {"I32 array to F64", i32Array2, f64, none},
        // Attributes of a written scalar are not kept.
        {"attributes dropped", FromHex(packet_test::kUnitAttributeHex), i32, FlexData(42)},
        {"nothing", FlexData(), f64, none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FlexData out(12345);
        const bool ok = vesta::ConvertToType(c.value, c.like, out);
        if (c.expected.getType() == ka::kor::fd::FlexType::Empty) {
            EXPECT_FALSE(ok);
            EXPECT_EQ(FlexData(12345), out);
        } else {
            EXPECT_TRUE(ok);
            EXPECT_EQ(c.expected, out);
        }
    }
}

}  // namespace
