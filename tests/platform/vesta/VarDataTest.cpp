#include "vesta/VarData.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ka/kor/PacketTestSupport.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::FlexData;
using packet_test::Bytes;
using packet_test::Hex;
namespace ex = ka::kor::exception;

Bytes BytesOf(const FlexData& f) {
    return Bytes(f.begin(), f.begin() + f.getPacketSize());
}

FlexData FromHex(const std::string& hex) {
    const Bytes b = Hex(hex);
    FlexData f;
    f.copyFrom(b.data(), b.data() + b.size());
    return f;
}

struct Case {
    const char* name;
    FlexData value;
    VarType native;  // VT_FLEXDATA where no native kind holds it
};

std::vector<Case> EveryFlexType() {
    FlexData i8, ui8, i16, ui16, ui32, i64, ui64, f32, aStringAlt, bool16, voidValue;
    i8.setI8(-5);
    ui8.setUI8(250);
    i16.setI16(-300);
    ui16.setUI16(60000);
    ui32.setUI32(4000000000u);
    i64.setI64(-(1LL << 40));
    ui64.setUI64(~0ull);
    f32.setF32(0.1f);
    voidValue.setVoid();
    bool16 = FromHex("08000000 0202 0100");
    aStringAlt = FromHex("0C000000 0109 02000000 6869");
    FlexData array;
    array.setScalarArray(ka::kor::Vector<std::int32_t>(3, 7));
    ka::kor::Vector<ka::kor::AString> texts;
    texts.push_back(ka::kor::AString("ab"));
    texts.push_back(ka::kor::AString(""));
    FlexData waveform(
        FlexData::Waveform<double>{ka::kor::AbsTime(), 0.5, ka::kor::Vector<double>(4, 1.25)});
    return {
        {"I8", i8, VT_I1},
        {"UI8", ui8, VT_UI1},
        {"Bool", FlexData(true), VT_BOOL},
        {"I16", i16, VT_I2},
        {"UI16", ui16, VT_UI2},
        {"Bool16", bool16, VT_FLEXDATA},
        {"I32", FlexData(-123456), VT_I4},
        {"UI32", ui32, VT_UI4},
        {"F32", f32, VT_R4},
        {"I64", i64, VT_I8},
        {"UI64", ui64, VT_UI8},
        {"F64", FlexData(-0.0), VT_R8},
        {"Time", FlexData(ka::kor::AbsTime()), VT_FLEXDATA},
        {"AString", FlexData("caf\xe9", 4), VT_LPSTR},
        {"AStringAlt", aStringAlt, VT_FLEXDATA},
        {"UTF16", FlexData(L"\u00e9t\u00e9 \U0001F600"), VT_BSTR},
        {"Void", voidValue, VT_FLEXDATA},
        {"Array", array, VT_FLEXDATA},
        {"AString array", FlexData(texts), VT_FLEXDATA},
        {"Cluster",
         FromHex("20000000 0108 0200 06000000 0003 06000000 0204 2A000000 "
                 "000000000000F83F"),
         VT_FLEXDATA},
        {"Opaque", FromHex("0E000000 0209 08000000 DEADBEEF"), VT_FLEXDATA},
        {"Waveform", waveform, VT_FLEXDATA},
        {"I32 with an attribute", FromHex(packet_test::kUnitAttributeHex), VT_FLEXDATA},
    };
}

TEST(VarData, EveryFlexTypeSurvivesFlexToNativeToFlex) {
    for (const Case& c : EveryFlexType()) {
        SCOPED_TRACE(c.name);
        ASSERT_NE(ka::kor::fd::FlexType::Empty, c.value.getType());
        VarData v(c.value);
        EXPECT_EQ(VT_FLEXDATA, v.type());
        v.convertToNativeType();
        EXPECT_EQ(c.native, v.type());
        EXPECT_EQ(BytesOf(c.value), BytesOf(v.packet()));
        v.Convert(VT_FLEXDATA);
        EXPECT_EQ(BytesOf(c.value), BytesOf(v.getFlexData()));

        // The same through the packet bytes, and back to the native kind by Convert.
        const Bytes bytes = BytesOf(c.value);
        packet_test::HeapBytes exact(bytes);
        VarData fromBytes;
        fromBytes.flexData(exact.begin(), exact.end());
        EXPECT_EQ(v, fromBytes);
        if (c.native != VT_FLEXDATA) {
            fromBytes.Convert(c.native);
            EXPECT_EQ(c.native, fromBytes.type());
            EXPECT_THROW(fromBytes.getFlexData(), ex::InvalidArgument);
        } else {
            EXPECT_THROW(fromBytes.Convert(VT_I4), ex::InvalidArgument);
        }
    }
}

TEST(VarData, ConvertGoesOnlyWhereNothingIsLost) {
    VarData i4 = VarData::FromI4(5);
    EXPECT_THROW(i4.Convert(VT_R8), ex::InvalidArgument);  // another native kind
    EXPECT_THROW(i4.Convert(VT_EMPTY), ex::InvalidArgument);
    EXPECT_EQ(VT_I4, i4.type());
    i4.Convert(VT_I4);  // to itself: nothing to do
    i4.Convert(VT_FLEXDATA);
    i4.Convert(VT_I4);
    EXPECT_EQ(5, i4.asInteger());

    VarData empty;
    EXPECT_THROW(empty.Convert(VT_FLEXDATA), ex::InvalidArgument);
    empty.convertToNativeType();
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(VarData(FlexData()).empty());
}

TEST(VarData, FlexDataRefusesBytesThatAreNotOneWholePacket) {
    const struct {
        const char* name;
        std::string hex;
    } bad[] = {
        {"too short for a size", "0800"},
        {"size beyond the bytes", "0C000000 0003 2A000000"},
        {"bytes beyond the size", "0A000000 0003 2A000000 0000 0000"},
        {"type without its data", "08000000 0003 2A00"},
        {"metadata past the end", "06000000 0008"},
    };
    for (const auto& c : bad) {
        SCOPED_TRACE(c.name);
        const Bytes b = Hex(c.hex);
        packet_test::HeapBytes exact(b);
        VarData v = VarData::FromR8(1.0);
        EXPECT_THROW(v.flexData(exact.begin(), exact.end()), ex::SyntaxError);
        EXPECT_EQ(VarData::FromR8(1.0), v);
    }
    // An odd-sized packet may bring its pad byte; a lone zero size is the empty value.
    const Bytes odd = Hex("07000000 0201 FF 00");
    VarData v;
    v.flexData(odd.data(), odd.data() + odd.size());
    EXPECT_EQ(VT_FLEXDATA, v.type());
    const Bytes zero = Hex("00000000");
    v.flexData(zero.data(), zero.data() + zero.size());
    EXPECT_TRUE(v.empty());
}

TEST(VarData, AccessorsReadTheirOwnKindsOnly) {
    EXPECT_EQ(-7, VarData::FromI4(-7).asInteger());
    EXPECT_EQ(1, VarData::FromBool(true).asInteger());
    EXPECT_EQ(-(1LL << 50), VarData::FromI8(-(1LL << 50)).asInteger());
    EXPECT_DOUBLE_EQ(2.5, VarData::FromR8(2.5).asDouble());
    EXPECT_DOUBLE_EQ(-7.0, VarData::FromI4(-7).asDouble());
    EXPECT_EQ(L"\u00e9t\u00e9", VarData::FromString(L"\u00e9t\u00e9").asString());
    EXPECT_EQ(std::wstring(L"a\0\u00ff", 3),
              VarData::FromAString(std::string("a\0\xff", 3)).asString());
    EXPECT_EQ(VT_LPSTR, VarData::FromAString("x").type());

    EXPECT_THROW(VarData::FromBool(true).asDouble(), ex::InvalidArgument);
    EXPECT_THROW(VarData::FromR8(1.0).asInteger(), ex::InvalidArgument);
    EXPECT_THROW(VarData::FromI4(1).asString(), ex::InvalidArgument);
    EXPECT_THROW(VarData(FlexData(1)).asInteger(),
                 ex::InvalidArgument);  // flex form: Convert first
    EXPECT_THROW(VarData().asDouble(), ex::InvalidArgument);
}

TEST(VarData, EqualityIsKindAndBytes) {
    VarData flex(FlexData(3));
    EXPECT_NE(VarData::FromI4(3), flex);  // same bytes, other kind
    flex.convertToNativeType();
    EXPECT_EQ(VarData::FromI4(3), flex);
    EXPECT_NE(VarData::FromI4(3), VarData::FromI4(4));
    EXPECT_EQ(VarData(), VarData());

    VarData moved(std::move(flex));
    EXPECT_TRUE(flex.empty());  // NOLINT: a moved-from value is empty
    EXPECT_EQ(VarData::FromI4(3), moved);
    VarData copy;
    copy = moved;
    EXPECT_EQ(moved, copy);
}

}  // namespace
