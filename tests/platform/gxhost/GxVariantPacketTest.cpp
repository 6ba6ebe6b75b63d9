#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "GxTestSupport.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/PacketTestSupport.h"

namespace {

using gx_test::Json;
using gx_test::PacketOf;
using gx_test::Text;
using gx_test::Var;
using ka::kor::AbsTime;
using ka::kor::AString;
using ka::kor::FlexData;
using ka::kor::String;
using ka::kor::Vector;
using packet_test::Bytes;
using packet_test::HeapBytes;
using packet_test::Hex;

Bytes Of(const FlexData& f) {
    return Bytes(f.begin(), f.begin() + f.getPacketSize());
}

template <typename T>
Bytes ArrayOf(std::initializer_list<T> values) {
    return Of(FlexData(Vector<T>(values)));
}

FlexData Waveform(std::uint32_t samples) {
    FlexData f;
    const Vector<std::int8_t> s(samples, 7);
    f.setWaveform(AbsTime(0u, 1u, 0x80000000u, 0u), 0.25, s.data(), s.size());
    return f;
}

MgErr Convert(const Bytes& packet, GxVariant** var) {
    HeapBytes exact(packet);  // exactly sized: AddressSanitizer reports any read past it
    return KORFlexToGxVar(exact.begin(), static_cast<int32_t>(exact.size()), var);
}

// Every modelled type and a sample of what is carried as a packet: flex -> variant -> flex must
// give the same bytes, and the model must read the value the packet holds.
TEST(GxVariantPacket, RoundTripsEveryTypeByteForByte) {
    FlexData wave = Waveform(3);  // odd sample bytes: written in one pass, size not rounded
    FlexData wide;
    wide.setUTF16(String(L"\U0001F600"));  // count understates the units: spare bytes follow
    FlexData waves;
    FlexData::Waveform<std::int8_t> w;
    w.samples = Vector<std::int8_t>{1, 2, 3};
    waves.setWaves(Vector<FlexData::Waveform<std::int8_t>>{w, w});
    struct Case {
        const char* name;
        Bytes packet;
        std::uint16_t type;
        bool carried;
        const char* text;
        Bytes written = {};  // what comes back, when not the packet itself
    };
    const Case cases[] = {
        {"I8", Of(FlexData(static_cast<signed char>(-5))), GX_TYPE_I8, false, "-5"},
        {"UI8", Of(FlexData(static_cast<unsigned char>(200))), GX_TYPE_UI8, false, "200"},
        {"Bool", Of(FlexData(true)), GX_TYPE_BOOL, false, "true"},
        {"I16", Of(FlexData(static_cast<short>(-300))), GX_TYPE_I16, false, "-300"},
        {"UI16", Of(FlexData(static_cast<unsigned short>(65535))), GX_TYPE_UI16, false, "65535"},
        {"Bool16", Hex("08000000 0202 0000"), GX_TYPE_BOOL16, false, "false"},
        {"I32", Of(FlexData(INT32_MIN)), GX_TYPE_I32, false, "-2147483648"},
        {"UI32", Of(FlexData(UINT32_MAX)), GX_TYPE_UI32, false, "4294967295"},
        {"F32", Of(FlexData(0.1f)), GX_TYPE_F32, false, "0.1"},
        {"I64", Of(FlexData(INT64_MIN)), GX_TYPE_I64, false, "-9223372036854775808"},
        {"UI64", Of(FlexData(UINT64_MAX)), GX_TYPE_UI64, false, "18446744073709551615"},
        {"F64", Of(FlexData(-3.5e300)), GX_TYPE_F64, false, "-3.5e+300"},
        {"Time", Of(FlexData(AbsTime(0u, 1u, 0x80000000u, 0u))), GX_TYPE_TIME, false,
         "1904-01-01T00:00:01.5Z"},
        {"AString", Of(FlexData("abc")), GX_TYPE_ASTRING, false, "abc"},
        {"AStringAlt", Hex("0E000000 0109 03000000 616263 00"), GX_TYPE_ASTRING_ALT, false, "abc"},
        {"UTF16", Of(FlexData(String(L"h\u00e9"))), GX_TYPE_UTF16, false, "h\xC3\xA9"},
        {"I8 array, odd", ArrayOf<std::int8_t>({1, -2, 3}), GX_TYPE_ARRAY, false, "[1,-2,3]"},
        {"F64 array", ArrayOf<double>({0.5, 1e-9}), GX_TYPE_ARRAY, false, "[0.5,1e-09]"},
        {"empty array", Of(FlexData(Vector<std::int32_t>())), GX_TYPE_ARRAY, false, "[]"},
        {"Bool array", Hex("14000000 0008 0100 06000000 0201 02000000 0100"), GX_TYPE_ARRAY, false,
         "[true,false]"},
        {"AString array", Of(FlexData(Vector<AString>{AString("a"), AString("b,c")})),
         GX_TYPE_ARRAY, false, "[\"a\",\"b,c\"]"},
        {"UTF16 array",
         Hex("20000000 0008 0100 06000000 000A 02000000 01000000 7800 "
             "02000000 79007A00"),
         GX_TYPE_ARRAY, false, "[\"x\",\"yz\"]"},
        {"named attribute", Hex(packet_test::kUnitAttributeHex), GX_TYPE_I32, false, "42"},
        {"waveform", Of(wave), GX_TYPE_CLUSTER, true, nullptr},
        // The range may hold the block's pad byte after an odd waveform; it is no part of it.
        {"waveform padded", Bytes(wave.begin(), wave.end()), GX_TYPE_CLUSTER, true, nullptr,
         Of(wave)},
        {"waves", Of(waves), GX_TYPE_ARRAY, true, nullptr},
        {"cluster", Hex("1A000000 0108 0200 06000000 0201 06000000 0003 0100 2A000000"),
         GX_TYPE_CLUSTER, true,
         "1A000000010802000600000002010600000000030100"
         "2A000000"},
        {"2-D array", Hex("1A000000 0008 0200 06000000 0001 02000000 02000000 01020304"),
         GX_TYPE_ARRAY, true, nullptr},
        {"Void", Hex("06000000 0100"), 0x0001, true, "060000000100"},
        {"Opaque", Hex("10000000 0209 0A000000 010203040506"), GX_TYPE_OPAQUE, true, nullptr},
        {"unnamed scalar", Hex("08000000 0301 0700"), 0x0103, true, nullptr},
        {"nonzero pad byte", Hex("08000000 0001 05FF"), GX_TYPE_I8, true, nullptr},
        {"spare UTF16 units", Of(wide), GX_TYPE_UTF16, true, nullptr},
    };
    Var v;  // one variant for all: each conversion replaces the value before it
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(mgNoErr, Convert(c.packet, v.out()));
        EXPECT_EQ(c.type, GxVarType(v.get()));
        EXPECT_EQ(c.carried, GxVarIsPacket(v.get()) != 0);
        if (c.text != nullptr) {
            EXPECT_EQ(c.text, Text(v.get()));
        }
        EXPECT_EQ(c.written.empty() ? c.packet : c.written, PacketOf(v.get()));
    }
}

TEST(GxVariantPacket, KeepsAttributesInFrontOfAModelledValue) {
    Var v;
    ASSERT_EQ(mgNoErr, Convert(Hex(packet_test::kUnitAttributeHex), v.out()));
    EXPECT_TRUE(GxVarHasPrefix(v.get()));
    int64_t value = 0;
    EXPECT_EQ(mgNoErr, GxVarGetInt(v.get(), &value));
    EXPECT_EQ(42, value);
    // A setter replaces the whole value, attributes included.
    ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I32, 42));
    EXPECT_FALSE(GxVarHasPrefix(v.get()));
    EXPECT_EQ(Of(FlexData(42)), PacketOf(v.get()));
}

// What the host program builds must be what the library itself writes for the same value.
TEST(GxVariantPacket, BuiltVariantsWriteTheLibrarysPackets) {
    struct Case {
        std::uint16_t type;
        std::uint16_t element;
        const char* text;
        Bytes expected;
    };
    const Case cases[] = {
        {GX_TYPE_F64, 0, "3.5", Of(FlexData(3.5))},
        {GX_TYPE_I32, 0, " -7 ", Of(FlexData(-7))},
        {GX_TYPE_UI64, 0, "0xFFFFFFFFFFFFFFFF", Of(FlexData(UINT64_MAX))},
        {GX_TYPE_BOOL, 0, "TRUE", Of(FlexData(true))},
        {GX_TYPE_ASTRING, 0, "h\xC3\xA9llo", Of(FlexData("h\xC3\xA9llo"))},
        {GX_TYPE_UTF16, 0, "h\xC3\xA9", Of(FlexData(String(L"h\u00e9")))},
        {GX_TYPE_TIME, 0, "1904-01-01 00:00:01.5", Of(FlexData(AbsTime(0u, 1u, 0x80000000u, 0u)))},
        {GX_TYPE_ARRAY, GX_TYPE_I8, "1,2,3", ArrayOf<std::int8_t>({1, 2, 3})},
        {GX_TYPE_ARRAY, GX_TYPE_F32, "[0.5, -1]", ArrayOf<float>({0.5f, -1.0f})},
        {GX_TYPE_ARRAY, GX_TYPE_I32, "[]", Of(FlexData(Vector<std::int32_t>()))},
        {GX_TYPE_ARRAY, GX_TYPE_ASTRING, "[\"a\", \"b,c\"]",
         Of(FlexData(Vector<AString>{AString("a"), AString("b,c")}))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Var v;
        ASSERT_EQ(mgNoErr, GxVarParse(v.get(), c.type, c.element, c.text, -1));
        EXPECT_EQ(c.expected, PacketOf(v.get()));
    }
}

TEST(GxVariantPacket, NoValueIsTheLoneZeroSize) {
    Var v;
    ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I8, 1));
    ASSERT_EQ(mgNoErr, KORFlexToGxVar(nullptr, 0, v.out()));
    EXPECT_EQ(GX_TYPE_NONE, GxVarType(v.get()));
    EXPECT_EQ(Hex("00000000"), PacketOf(v.get()));
    EXPECT_EQ("null", Json(v.get()));
    ASSERT_EQ(mgNoErr, Convert(Hex("00000000"), v.out()));
    EXPECT_EQ(GX_TYPE_NONE, GxVarType(v.get()));
}

TEST(GxVariantPacket, RefusesMalformedPacketsAndKeepsTheVariant) {
    const struct {
        const char* name;
        const char* hex;
    } cases[] = {
        {"shorter than a size field", "0800"},
        {"truncated", "08000000 0001"},
        {"bytes past the packet", "08000000 0001 0500 00"},
        {"odd size", "07000000 0001 05"},
        {"no room for a type", "05000000 00"},
        {"no value with bytes after it", "00000000 0000"},
        {"array head past end", "06000000 0008"},
        {"text past end", "0C000000 0009 10000000 6162"},
        {"text count that wraps the size", "0C000000 0009 FFFFFFFF 6162"},
        {"array count that wraps the size", "12000000 0008 0100 06000000 0003 00000040 01000000"},
        {"negative dimension", "12000000 0008 0100 06000000 0003 FFFFFFFF 01000000"},
        {"text element past end", "14000000 0008 0100 06000000 0009 01000000 05000000 6162"},
        {"cluster of no members", "0C000000 0108 0000 06000000 0003"},
        {"element of an undefined class", "08000000 0020 0003"},
        {"attribute past end", "0C000000 0240 FF000000 0003"},
    };
    Var v;
    ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I32, 42));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(mgArgErr, Convert(Hex(c.hex), v.out()));
        EXPECT_EQ("42", Text(v.get()));
    }
    // A one-pass waveform whose sample count claims more samples than it holds.
    Bytes wave = Of(Waveform(3));
    wave[4 + 114 + 24] = 9;
    EXPECT_EQ(mgArgErr, Convert(wave, v.out()));

    const unsigned char i8[8] = {8, 0, 0, 0, 0, 1, 5, 0};
    EXPECT_EQ(mgArgErr, KORFlexToGxVar(nullptr, 8, v.out()));
    EXPECT_EQ(mgArgErr, KORFlexToGxVar(i8, -1, v.out()));
    EXPECT_EQ(mgArgErr, KORFlexToGxVar(i8, 8, nullptr));
    unsigned char sentinel = 0;
    unsigned char* buffer = &sentinel;
    int32_t length = 0;
    EXPECT_EQ(mgArgErr, GxVarToKORFlex(nullptr, &buffer, &length));
    EXPECT_EQ(nullptr, buffer);
}

// Random packets with a plausible size field and a head drawn from the interesting type codes:
// each is refused or round-trips exactly, and nothing reads past the bytes.
TEST(GxVariantPacket, RandomPacketsAreRefusedOrRoundTrip) {
    const std::uint16_t heads[] = {0x0001, 0x0100, 0x0504, 0x0800, 0x0801, 0x0900,
                                   0x0902, 0x0A00, 0x4002, 0x4003, 0x8000, 0x2000};
    std::mt19937 random(12345);
    Var v;
    int accepted = 0;
    for (int i = 0; i < 20000; ++i) {
        Bytes packet(6 + random() % 40);
        for (unsigned char& b : packet) {
            b = static_cast<unsigned char>(random() % 4 == 0 ? random() : random() % 8);
        }
        packet[0] = static_cast<unsigned char>(packet.size());
        packet[1] = packet[2] = packet[3] = 0;
        const std::uint16_t head = heads[random() % (sizeof heads / sizeof heads[0])];
        packet[4] = static_cast<unsigned char>(head);
        packet[5] = static_cast<unsigned char>(head >> 8);
        const MgErr status = Convert(packet, v.out());
        ASSERT_TRUE(status == mgNoErr || status == mgArgErr) << status;
        if (status == mgNoErr) {
            ++accepted;
            ASSERT_EQ(packet, PacketOf(v.get()));
        }
    }
    EXPECT_GT(accepted, 100);  // the walk reached the modelled and carried paths, not only errors
}

}  // namespace
