#include "ka/kor/FlexData.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <functional>
#include <limits>
#include <new>
#include <string>

#include "ka/kor/PacketTestSupport.h"
#include "ka/kor/exception.h"

namespace {

namespace fd = ka::kor::fd;
using fd::FlexType;
using ka::kor::AbsTime;
using ka::kor::AString;
using ka::kor::BufferWrapper;
using ka::kor::FlexData;
using ka::kor::String;
using ka::kor::Vector;
using ka::kor::exception::BufferOverflow;
using ka::kor::exception::DeserializationError;
using ka::kor::exception::InvalidArgument;
using ka::kor::exception::NotFound;
using ka::kor::exception::SyntaxError;
using packet_test::Bytes;
using packet_test::ExpectThrowAt;
using packet_test::HeapBytes;
using packet_test::Hex;

const char kAttributesHex[] =
    "0240 32000000 0340 12000000 0009 07000000 5F4B415F4D4454 00 0108 0200 06000000 0009 "
    "06000000 0002 03000000 4D445400 0300";
const char kTypePrefixHex[] = "0108 0500 06000000 0405 06000000 0204 0E000000 0008 0100 06000000";
const char kTypeSuffixHex[] =
    "1A000000 0108 0300 06000000 0201 06000000 0003 06000000 0009 06000000 0209";
const char kDataSuffixHex[] = "0000 00000000 00000000 0A000000 050300000000";
const AbsTime kT0(0u, 1u, 0x80000000u, 0u);  // 1.5 s

Bytes PacketOf(const FlexData& f) {
    return Bytes(f.begin(), f.begin() + f.getPacketSize());
}

FlexData Adopt(const Bytes& packet) {
    FlexData f;
    f.copyFrom(packet.data(), packet.data() + packet.size());
    return f;
}

// The value read back through the getter of type as.
long double Get(const FlexData& f, FlexType as) {
    switch (as) {
        case FlexType::I8:
            return f.getI8();
        case FlexType::UI8:
            return f.getUI8();
        case FlexType::I16:
            return f.getI16();
        case FlexType::UI16:
            return f.getUI16();
        case FlexType::I32:
            return f.getI32();
        case FlexType::UI32:
            return f.getUI32();
        case FlexType::I64:
            return f.getI64();
        case FlexType::UI64:
            return f.getUI64();
        case FlexType::F32:
            return f.getF32();
        default:
            return f.getF64();
    }
}

TEST(FlexData, EmptyValue) {
    FlexData f;
    EXPECT_EQ(FlexType::Empty, f.getType());
    EXPECT_EQ(0u, f.getPacketSize());
    EXPECT_EQ(4u, f.serializationSize());
    unsigned char out[4] = {1, 2, 3, 4};
    unsigned char* p = out;
    f.serialize(p, out + 4);
    EXPECT_EQ(Hex("00000000"), Bytes(out, out + 4));
    EXPECT_THROW(f.getI32(), InvalidArgument);
    EXPECT_EQ(0, f.compare(FlexData()));
}

TEST(FlexData, PacketsAreExactBytes) {
    std::setlocale(LC_ALL, "C.UTF-8");
    const struct {
        const char* name;
        std::function<void(FlexData&)> set;
        const char* hex;
        FlexType type;
    } cases[] = {
        {"I8", [](FlexData& f) { f.setI8(42); }, "08000000 0001 2A 00", FlexType::I8},
        {"UI8", [](FlexData& f) { f.setUI8(200); }, "08000000 0101 C8 00", FlexType::UI8},
        {"Bool", [](FlexData& f) { f.setBool(true); }, "08000000 0201 01 00", FlexType::Bool},
        {"Bool 256L", [](FlexData& f) { f.setBool(256L); }, "08000000 0201 00 00", FlexType::Bool},
        {"I16", [](FlexData& f) { f.setI16(-2); }, "08000000 0002 FEFF", FlexType::I16},
        {"UI16", [](FlexData& f) { f.setUI16(0xBEEF); }, "08000000 0102 EFBE", FlexType::UI16},
        {"I32", [](FlexData& f) { f.setI32(-1); }, "0A000000 0003 FFFFFFFF", FlexType::I32},
        {"UI32", [](FlexData& f) { f.setUI32(0x01020304); }, "0A000000 0103 04030201",
         FlexType::UI32},
        {"F32", [](FlexData& f) { f.setF32(1.0f); }, "0A000000 0203 0000803F", FlexType::F32},
        {"I64", [](FlexData& f) { f.setI64(-2); }, "0E000000 0004 FEFFFFFFFFFFFFFF", FlexType::I64},
        {"UI64", [](FlexData& f) { f.setUI64(1); }, "0E000000 0104 0100000000000000",
         FlexType::UI64},
        {"F64", [](FlexData& f) { f.setF64(-2.5); }, "0E000000 0204 00000000000004C0",
         FlexType::F64},
        {"Time", [](FlexData& f) { f.setTime(AbsTime(0u, 100u, 0x80000000u, 0u)); },
         "16000000 0405 00000000 00000080 64000000 00000000", FlexType::Time},
        {"AString", [](FlexData& f) { f.setAString(AString("abc")); },
         "0E000000 0009 03000000 616263 00", FlexType::AString},
        {"AString with a zero byte", [](FlexData& f) { f.setAString("ab\0c", 4); },
         "0E000000 0009 04000000 61620063", FlexType::AString},
        {"empty AString", [](FlexData& f) { f.setAString("", 0); }, "0A000000 0009 00000000",
         FlexType::AString},
        {"UTF16", [](FlexData& f) { f.setUTF16(String(L"h\u00E9\u20AC")); },
         "10000000 000A 03000000 6800 E900 AC20", FlexType::UTF16},
        {"Void", [](FlexData& f) { f.setVoid(); }, "06000000 0100", FlexType::Void},
        {"I32 over an AString",
         [](FlexData& f) {
             f.setAString(AString("a long text to shrink"));
             f.setI32(7);
         },
         "0A000000 0003 07000000", FlexType::I32},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FlexData f;
        c.set(f);
        EXPECT_EQ(Hex(c.hex), PacketOf(f));
        EXPECT_EQ(c.type, f.getType());
        EXPECT_EQ(0u, f.getDataBuffer().length() % 2);
        EXPECT_EQ(f.getPacketSize(),
                  4 + f.getMetaDataBuffer().length() + f.getDataBuffer().length());
        EXPECT_EQ(f, Adopt(PacketOf(f)));
    }
}

TEST(FlexData, ConstructorsPickTheSameTypeOnEveryBuild) {
    const struct {
        FlexData value;
        FlexType type;
    } cases[] = {
        {FlexData(true), FlexType::Bool},
        {FlexData(static_cast<signed char>(-1)), FlexType::I8},
        {FlexData(static_cast<unsigned char>(1)), FlexType::UI8},
        {FlexData(static_cast<short>(1)), FlexType::I16},
        {FlexData(static_cast<unsigned short>(1)), FlexType::UI16},
        {FlexData(1), FlexType::I32},
        {FlexData(1u), FlexType::UI32},
        {FlexData(std::int32_t{-1}), FlexType::I32},
        {FlexData(std::uint32_t{1}), FlexType::UI32},
        {FlexData(std::int64_t{-1}), FlexType::I64},
        {FlexData(std::uint64_t{1}), FlexType::UI64},
        {FlexData(-1L), sizeof(long) == 4 ? FlexType::I32 : FlexType::I64},
        {FlexData(1UL), sizeof(long) == 4 ? FlexType::UI32 : FlexType::UI64},
        {FlexData(1LL), FlexType::I64},
        {FlexData(1ULL), FlexType::UI64},
        {FlexData(1.0f), FlexType::F32},
        {FlexData(1.0), FlexType::F64},
        {FlexData("abc"), FlexType::AString},
        {FlexData("a\0b", 3), FlexType::AString},
        {FlexData(AString("abc")), FlexType::AString},
        {FlexData(L"abc"), FlexType::UTF16},
        {FlexData(AbsTime()), FlexType::Time},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(fd::Code(c.type));
        EXPECT_EQ(c.type, c.value.getType());
    }
    EXPECT_EQ(-1, FlexData(-1L).getI32());
    EXPECT_EQ(1LL << 40, FlexData(std::int64_t{1} << 40).getI64());
    EXPECT_EQ(3u, FlexData("a\0b", 3).getAString().size());
}

TEST(FlexData, NumericConversionsArePlainTruncatingCasts) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        FlexData value;
        FlexType as;
        long double expected;
    } cases[] = {
        {"I32 7 as F64", FlexData(7), FlexType::F64, 7.0L},
        {"F64 -2.9 as I32", FlexData(-2.9), FlexType::I32, -2},
        {"I32 300 as I8", FlexData(300), FlexType::I8, 44},
        {"F64 300.7 as I8", FlexData(300.7), FlexType::I8, 44},
        {"I8 -1 as UI16", FlexData(static_cast<signed char>(-1)), FlexType::UI16, 65535},
        {"UI64 max as I32", FlexData(~0ULL), FlexType::I32, -1},
        {"UI64 max as F64", FlexData(~0ULL), FlexType::F64, 18446744073709551616.0L},
        {"I64 -5 as UI64", FlexData(-5LL), FlexType::UI64, 18446744073709551611.0L},
        {"UI32 max as F64", FlexData(0xFFFFFFFFu), FlexType::F64, 4294967295.0L},
        {"F32 1e10 as I32", FlexData(1e10f), FlexType::I32, 1410065408},
        {"F64 1e20 as I64", FlexData(1e20), FlexType::I64, 7766279631452241920.0L},
        {"F64 -1e19 as I64", FlexData(-1e19), FlexType::I64, 8446744073709551616.0L},
        {"F64 -0.9 as UI8", FlexData(-0.9), FlexType::UI8, 0},
        {"F64 -1.5 as UI8", FlexData(-1.5), FlexType::UI8, 255},
        {"F64 NaN as I32", FlexData(nan), FlexType::I32, 0},
        {"F64 inf as UI64", FlexData(HUGE_VAL), FlexType::UI64, 0},
        {"F64 0.1 as F32", FlexData(0.1), FlexType::F32, 0.1f},
        {"I16 -300 as F32", FlexData(static_cast<short>(-300)), FlexType::F32, -300},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, Get(c.value, c.as));
    }
}

TEST(FlexData, BooleanReadsAndRefusals) {
    FlexData low256;
    low256.setBool(256L);  // only the low byte is kept
    FlexData low257;
    low257.setBool(257L);
    FlexData fromInt;
    fromInt.setBool(2);
    const struct {
        const char* name;
        FlexData value;
        bool expected;
    } cases[] = {
        {"Bool true", FlexData(true), true},
        {"setBool(256L)", low256, false},
        {"setBool(257L)", low257, true},
        {"setBool(2)", fromInt, true},
        {"I32 5", FlexData(5), true},
        {"I32 0x100", FlexData(0x100), true},
        {"I32 0", FlexData(0), false},
        {"Bool16", Adopt(Hex("08000000 0202 0001")), true},
        {"Bool byte 2", Adopt(Hex("08000000 0201 02 00")), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, c.value.getBool());
    }
    for (const FlexData& wrong : {FlexData(1.0f), FlexData(1LL), FlexData("1"), FlexData()}) {
        EXPECT_THROW(wrong.getBool(), InvalidArgument);
    }
    EXPECT_THROW(FlexData(true).getI32(), InvalidArgument);
}

TEST(FlexData, WrongTypeAccessorsLeaveTheValueUnchanged) {
    const FlexData alt = Adopt(Hex("0C000000 0109 02000000 6869"));
    std::uint32_t length = 0;
    EXPECT_STREQ("hi", AString(alt.getAString(length), 2).c_str());
    EXPECT_EQ(2u, length);
    EXPECT_THROW(alt.getUnicode(), InvalidArgument);  // AStringAlt is 8-bit text only

    FlexData f(AString("abc"));
    const Bytes before = PacketOf(f);
    const std::function<void()> wrong[] = {
        [&] { f.getI8(); },
        [&] { f.getF64(); },
        [&] { f.getBool(); },
        [&] { f.getTime(); },
        [&] { f.getDims(); },
        [&] { f.getScalarArray<int>(); },
        [&] { f.getNumElts(); },
        [&] { f.getWaveformSampleCount(); },
        [&] { FlexData(1).getAString(); },
    };
    for (const auto& w : wrong) {
        ExpectThrowAt<InvalidArgument>(w, "ka/kor/FlexData", 0);
        EXPECT_EQ(before, PacketOf(f));
    }
    EXPECT_STREQ(L"abc", f.getUnicode().c_str());
}

TEST(FlexData, SettingTheHeldScalarTypeRewritesOnlyTheData) {
    FlexData f(1.0);
    f.setAttribute(AString("unit"), FlexData("s"));
    const unsigned char* block = f.begin();
    const Bytes md(f.getMetaDataBuffer().data(),
                   f.getMetaDataBuffer().data() + f.getMetaDataBuffer().length());
    f.setF64(2.5);
    EXPECT_EQ(block, f.begin());
    EXPECT_EQ(2.5, f.getF64());
    EXPECT_EQ(md, Bytes(f.getMetaDataBuffer().data(),
                        f.getMetaDataBuffer().data() + f.getMetaDataBuffer().length()));
    // Another type makes a fresh value: the attributes go with the old type.
    f.setI32(3);
    EXPECT_FALSE(f.hasAttributes());
    EXPECT_EQ(Hex("0A000000 0003 03000000"), PacketOf(f));
}

TEST(FlexData, AdoptsPacketsOfOddSizePadded) {
    FlexData f = Adopt(Hex("07000000 0001 2A"));
    EXPECT_EQ(Hex("08000000 0001 2A 00"), PacketOf(f));
    EXPECT_EQ(42, f.getI8());
    unsigned char out[8];
    unsigned char* p = out;
    f.serialize(p, out + sizeof out);
    EXPECT_EQ(out + 8, p);

    FlexData g(5);
    EXPECT_THROW(g.copyFrom(out, out + 7), DeserializationError);  // size 8 in 7 bytes
    const Bytes cutMD = Hex("0A000000 0108 0100 06000000");
    EXPECT_THROW(g.copyFrom(cutMD.data(), cutMD.data() + cutMD.size()), SyntaxError);
    EXPECT_EQ(5, g.getI32());
    const Bytes zero = Hex("00000000");
    g.copyFrom(zero.data(), zero.data() + 4);
    EXPECT_EQ(FlexType::Empty, g.getType());
}

TEST(FlexData, SerializationRoundTripAndFailures) {
    std::setlocale(LC_ALL, "C.UTF-8");
    const FlexData values[] = {FlexData(1), FlexData(), FlexData("odd"), FlexData(L"wide"),
                               FlexData(AbsTime(1.25, 0.0))};
    std::uint32_t total = 0;
    for (const FlexData& v : values) {
        total += v.serializationSize();
    }
    HeapBytes buffer(Bytes(total, 0xEE));
    unsigned char* w = buffer.begin();
    for (const FlexData& v : values) {
        v.serialize(w, buffer.end());
    }
    EXPECT_EQ(buffer.end(), w);
    const unsigned char* r = buffer.begin();
    for (const FlexData& v : values) {
        FlexData back(3.0);
        back.deserialize(r, buffer.end());
        EXPECT_EQ(v, back);
    }
    EXPECT_EQ(buffer.end(), r);

    unsigned char small[9] = {0};
    unsigned char* p = small;
    EXPECT_THROW(FlexData(1.0).serialize(p, small + sizeof small), BufferOverflow);
    EXPECT_EQ(small, p);

    FlexData victim(7);
    const unsigned char* q = buffer.begin();
    EXPECT_THROW(victim.deserialize(q, buffer.begin() + 9), DeserializationError);
    EXPECT_EQ(FlexType::Empty, victim.getType());
    EXPECT_EQ(buffer.begin(), q);
}

TEST(FlexData, CompareOrdersByRawBytesFromTheSizeField) {
    FlexData longText(AString(250, 'x'));  // size 260: bytes 04 01 00 00
    EXPECT_EQ(-8, FlexData().compare(FlexData(static_cast<signed char>(1))));
    EXPECT_EQ(8, FlexData(static_cast<signed char>(1)).compare(FlexData()));
    EXPECT_TRUE(longText < FlexData(static_cast<signed char>(1)));
    EXPECT_TRUE(FlexData(static_cast<signed char>(9)) < FlexData(0));  // size 8 before size 10
    EXPECT_EQ(-1, FlexData(1).compare(FlexData(2)));
    EXPECT_EQ(-1, FlexData(0x100).compare(FlexData(0xFF)));  // byte order, not numeric order
    EXPECT_TRUE(FlexData("ab") == FlexData(AString("ab")));
    EXPECT_TRUE(FlexData("ab") != FlexData("ac"));
}

TEST(FlexData, Utf16CountAndReservedSizeAgreeForBasicPlaneText) {
    std::setlocale(LC_ALL, "C.UTF-8");
    for (const wchar_t* text : {L"", L"a", L"\u00E9t\u00E9", L"\u20AC\uFFFD\u4E2D"}) {
        SCOPED_TRACE(String(text).length());
        FlexData f{String(text)};
        const FlexData copy(f);
        EXPECT_EQ(f.getDataBuffer().length(), copy.getDataBuffer().length());
        EXPECT_STREQ(text, copy.getUnicode().c_str());
    }
    // Outside the basic plane the units outnumber the count; a reader goes by the count.
    FlexData emoji{String(L"\U0001F600")};
    EXPECT_EQ(Hex("0E000000 000A 01000000 3DD8 00DE"), PacketOf(emoji));
    EXPECT_EQ(6u, FlexData(emoji).getDataBuffer().length());
    EXPECT_STREQ(L"?", emoji.getUnicode().c_str());
}

TEST(FlexData, AStringToUnicodeUsesTheLocale) {
    std::setlocale(LC_ALL, "C.UTF-8");
    EXPECT_STREQ(L"\u00E9", FlexData("\xC3\xA9").getUnicode().c_str());
}

TEST(FlexData, ScalarArraysAreExactBytes) {
    FlexData bytes;
    const signed char three[] = {1, 2, 3};
    bytes.setScalarArray(three, 3);
    EXPECT_EQ(Hex("16000000 0008 0100 06000000 0001 03000000 010203 00"), PacketOf(bytes));
    EXPECT_EQ(8u, bytes.getDataBuffer().length());

    FlexData grid;
    const int values[] = {1, 2, 3, 4, 5, -6};
    grid.setScalarArray(values, Vector<std::int32_t>{2, 3}, FlexType::I16);
    EXPECT_EQ(Hex("22000000 0008 0200 06000000 0002 02000000 03000000 "
                  "0100 0200 0300 0400 0500 FAFF"),
              PacketOf(grid));
    EXPECT_EQ((Vector<std::int32_t>{2, 3}), grid.getDims());
    EXPECT_EQ(3, grid.getDimSize(1));
    EXPECT_THROW(grid.getDimSize(2), ka::kor::exception::OutOfRange);
    EXPECT_EQ(6u, grid.getNumElts());
    EXPECT_EQ(FlexType::I16, grid.getArrayElementType());
    EXPECT_EQ((Vector<double>{1, 2, 3, 4, 5, -6}), grid.getScalarArray<double>());
    EXPECT_EQ((Vector<unsigned char>{1, 2, 3, 4, 5, 250}), grid.getScalarArray<unsigned char>());

    FlexData empty(Vector<float>{});
    EXPECT_EQ(Hex("12000000 0008 0100 06000000 0203 00000000"), PacketOf(empty));
    EXPECT_TRUE(empty.getScalarArray<int>().empty());
    EXPECT_THROW(grid.setScalarArray(values, Vector<std::int32_t>{-1}), InvalidArgument);
    EXPECT_THROW(grid.setScalarArray(values, 3, FlexType::Bool), InvalidArgument);
}

template <typename T>
void RoundTripArrays() {
    const Vector<T> values{T(0), T(1), T(100), T(7)};
    for (FlexType element :
         {FlexType::I8, FlexType::UI8, FlexType::I16, FlexType::UI16, FlexType::I32, FlexType::UI32,
          FlexType::F32, FlexType::I64, FlexType::UI64, FlexType::F64}) {
        SCOPED_TRACE(fd::Code(element));
        const FlexData f(values, element);
        EXPECT_EQ(element, f.getArrayElementType());
        EXPECT_EQ(values, Adopt(PacketOf(f)).getScalarArray<T>());
    }
}

TEST(FlexData, ScalarArraysRoundTripThroughEveryElementType) {
    RoundTripArrays<signed char>();
    RoundTripArrays<short>();
    RoundTripArrays<int>();
    RoundTripArrays<long>();
    RoundTripArrays<long long>();
    RoundTripArrays<float>();
    RoundTripArrays<double>();
}

TEST(FlexData, AStringArrays) {
    const FlexData f(Vector<AString>{AString("a"), AString("bc")});
    EXPECT_EQ(Hex("1E000000 0008 0100 06000000 0009 02000000 01000000 61 00 02000000 6263"),
              PacketOf(f));
    const char xy[] = "x\0y";
    const Vector<AString> values{AString(""), AString("odd"), AString("even"), AString(xy, xy + 3)};
    const Vector<AString> back = Adopt(PacketOf(FlexData(values))).getAStringArray();
    ASSERT_EQ(values.size(), back.size());
    for (unsigned i = 0; i < values.size(); ++i) {
        EXPECT_EQ(0, values[i].exactCompare(back[i]));
    }
    EXPECT_THROW(FlexData(Vector<int>{1}).getAStringArray(), InvalidArgument);
}

std::string WaveformHex(const char* size, const char* sampleType, const char* samples) {
    return std::string(size) + kAttributesHex + kTypePrefixHex + sampleType + kTypeSuffixHex +
           "00000000 00000080 01000000 00000000" + "000000000000D03F" + samples + kDataSuffixHex;
}

TEST(FlexData, WaveformsAreWrittenInOnePass) {
    FlexData even;
    const short two[] = {1, -1};
    even.setWaveform(kT0, 0.25, two, 2);
    EXPECT_EQ(Hex(WaveformHex("AA000000", "0002", "02000000 0100 FFFF").c_str()), PacketOf(even));
    EXPECT_TRUE(even.isWaveform());
    EXPECT_EQ(FlexType::I16, even.getWaveformSampleType());
    EXPECT_EQ(2u, even.getWaveformSampleCount());
    EXPECT_EQ(fd::GetDataSize(fd::GetTypeFromPacket(even.begin(), even.end()),
                              fd::GetData(even.begin(), even.end()), even.end()),
              even.getDataBuffer().length());

    // Odd sample bytes: no pad between samples and suffix, and a size field that is not even.
    FlexData odd;
    const signed char three[] = {1, 2, 3};
    odd.setWaveform(kT0, 0.25, three, 3);
    const Bytes oddPacket = Hex(WaveformHex("A9000000", "0001", "03000000 010203").c_str());
    EXPECT_EQ(oddPacket, PacketOf(odd));
    EXPECT_EQ(170, odd.end() - odd.begin());
    EXPECT_EQ(0, odd.end()[-1]);

    for (const FlexData& w : {odd, Adopt(oddPacket)}) {
        AbsTime t0;
        double dt = 0;
        Vector<int> samples;
        w.getWaveform(t0, dt, samples);
        EXPECT_EQ(kT0, t0);
        EXPECT_EQ(0.25, dt);
        EXPECT_EQ((Vector<int>{1, 2, 3}), samples);
    }
    EXPECT_EQ(170u, Adopt(oddPacket).getPacketSize());
    EXPECT_TRUE(odd.hasAttribute(AString("_KA_MDT")));
}

TEST(FlexData, WaveformSampleTypes) {
    FlexData f;
    const double samples[] = {1.5, -2.5};
    for (FlexType refused : {FlexType::Bool, FlexType::Bool16}) {
        EXPECT_THROW(f.setWaveform(kT0, 1.0, samples, 2, refused), InvalidArgument);
        EXPECT_THROW(f.setWaveform(kT0, 1.0, refused, 0, BufferWrapper()), InvalidArgument);
    }
    f.setWaveform(kT0, 1.0, samples, 2, FlexType::I32);
    EXPECT_EQ((Vector<double>{1, -2}), f.getWaveform<double>().samples);

    // Any other sample type is taken as raw element bytes.
    const Bytes strings = Hex("01000000 61 00");
    f.setWaveform(kT0, 1.0, FlexType::AString, 1, BufferWrapper(strings.data(), 6));
    EXPECT_TRUE(f.isWaveform());
    EXPECT_EQ(FlexType::AString, Adopt(PacketOf(f)).getWaveformSampleType());
    EXPECT_THROW(f.getWaveform<double>(), InvalidArgument);
    EXPECT_THROW(f.setWaveform(kT0, 1.0, FlexType::I16, 2, BufferWrapper(strings.data(), 3)),
                 InvalidArgument);
}

TEST(FlexData, WavesRoundTripAndAreSizedByTheGenericWalk) {
    FlexData::Waveform<signed char> a;
    a.t0 = kT0;
    a.dt = 0.5;
    a.samples = Vector<signed char>{1, 2, 3};
    FlexData::Waveform<signed char> b;
    b.dt = 2;
    const FlexData waves(Vector<FlexData::Waveform<signed char>>{a, b, a});
    EXPECT_TRUE(waves.isWaves());
    EXPECT_FALSE(waves.isWaveform());
    EXPECT_EQ(3u, waves.getNumElts());
    EXPECT_EQ(4u + 52 + 52 + 48, waves.getDataBuffer().length());
    EXPECT_EQ(waves.getDataBuffer().length(),
              fd::GetDataSize(fd::GetTypeFromPacket(waves.begin(), waves.end()),
                              fd::GetData(waves.begin(), waves.end()), waves.end()));
    const auto back = Adopt(PacketOf(waves)).getWaves<double>();
    ASSERT_EQ(3u, back.size());
    EXPECT_EQ(kT0, back[2].t0);
    EXPECT_EQ(0.5, back[2].dt);
    EXPECT_EQ((Vector<double>{1, 2, 3}), back[2].samples);
    EXPECT_TRUE(back[1].samples.empty());
    EXPECT_EQ(2.0, back[1].dt);
    EXPECT_FALSE(FlexData(Vector<int>{1}).isWaves());
}

TEST(FlexData, NamedAttributes) {
    FlexData f(42);
    f.setAttribute(AString("unit"), FlexData("V"));
    EXPECT_EQ(Hex("28000000 0240 1C000000 0340 0E000000 0009 04000000 756E6974 0009 01000000 "
                  "5600 0003 2A000000"),
              PacketOf(f));
    EXPECT_EQ(42, f.getI32());
    EXPECT_TRUE(f.hasAttributes());
    EXPECT_TRUE(f.hasAttribute(AString("unit")));
    EXPECT_FALSE(f.hasAttribute(AString("Unit")));
    EXPECT_EQ(FlexData("V"), f.getAttribute(AString("unit")));
    EXPECT_THROW(f.getAttribute(AString("UNIT")), NotFound);

    // Any value, attributes of its own and the object itself included.
    FlexData nested(Vector<double>{1, 2});
    nested.setAttribute(AString("inner"), FlexData(true));
    f.setAttribute(AString("limits"), nested);
    f.setAttribute(AString("self"), f);
    f.setAttribute(AString("unit"), FlexData("mV"));
    const Vector<AString> names = f.getAttributeNames();
    ASSERT_EQ(3u, names.size());
    EXPECT_STREQ("unit", names[0].c_str());
    EXPECT_STREQ("limits", names[1].c_str());
    EXPECT_STREQ("self", names[2].c_str());
    EXPECT_EQ(FlexData("mV"), f.getAttribute(AString("unit")));
    EXPECT_EQ(nested, f.getAttribute(AString("limits")));
    EXPECT_TRUE(f.getAttribute(AString("limits")).getAttribute(AString("inner")).getBool());
    EXPECT_EQ(2u, f.getAttribute(AString("self")).getAttributeNames().size());

    EXPECT_TRUE(f.deleteAttribute(AString("limits")));
    EXPECT_FALSE(f.deleteAttribute(AString("limits")));
    EXPECT_TRUE(f.deleteAttribute(AString("unit")));
    EXPECT_TRUE(f.deleteAttribute(AString("self")));
    EXPECT_FALSE(f.hasAttributes());
    EXPECT_EQ(FlexData(42), f);
    EXPECT_THROW(FlexData().setAttribute(AString("a"), FlexData(1)), InvalidArgument);
}

TEST(FlexData, AllocationFailureKeepsTheValue) {
    if (sizeof(void*) != 4) {
        GTEST_SKIP() << "a 4 GiB request may succeed on a 64-bit host";
    }
    FlexData f(5);
    EXPECT_THROW(f.setType(FlexType::AString, 0xF0000000u), std::bad_alloc);
    EXPECT_EQ(5, f.getI32());
}

TEST(FlexData, SelfReferencesAndCopies) {
    FlexData f("some text");
    std::uint32_t length = 0;
    const char* text = f.getAString(length);
    f.setAString(text + 5, length - 5);
    EXPECT_STREQ("text", f.getAString().c_str());
    const FlexData copy(f);
    f = f;
    EXPECT_EQ(copy, f);
    FlexData moved(static_cast<FlexData&&>(f));
    EXPECT_EQ(FlexType::Empty, f.getType());
    EXPECT_EQ(copy, moved);
    swap(moved, f);
    EXPECT_EQ(copy, f);
    FlexData arr(Vector<int>{1, 2, 3});
    arr.setScalarArray(reinterpret_cast<const int*>(arr.getDataBuffer().data() + 4), 2);
    EXPECT_EQ((Vector<int>{1, 2}), arr.getScalarArray<int>());
}

TEST(FlexData, BlockOperationsCheckTheirPointers) {
    FlexData f(7);
    EXPECT_THROW(f.chkPointer(f.end() + 1), SyntaxError);
    f.chkPointer(f.end());
    EXPECT_THROW(f.memClear(f.end() - 2, 4), SyntaxError);
    f.resize(4);
    EXPECT_EQ(14u, f.getPacketSize());
    EXPECT_EQ(8u, f.getDataBuffer().length());
    f.memMove(f.end() - 4, f.end() - 8, 4);
    EXPECT_EQ(Hex("0E000000 0003 07000000 07000000"), PacketOf(f));
    f.setDataSize(5);
    EXPECT_EQ(Hex("0C000000 0003 000000000000"), PacketOf(f));
    EXPECT_THROW(f.resize(-8), InvalidArgument);
    f.buildPacketFromComponents(BufferWrapper(Hex("0001").data(), 2),
                                BufferWrapper(Hex("7F").data(), 1));
    EXPECT_EQ(127, f.getI8());
    EXPECT_THROW(f.buildPacketFromComponents(BufferWrapper(Hex("0108").data(), 2), BufferWrapper()),
                 SyntaxError);
    EXPECT_EQ(127, f.getI8());
}

// Every value kind, cut at every byte (with the size field claiming the cut length), is either
// refused on adoption or read by every accessor without leaving the block.
TEST(FlexData, TruncatedPacketsAreRefusedOrReadInBounds) {
    std::setlocale(LC_ALL, "C.UTF-8");
    FlexData named(1.0);
    named.setAttribute(AString("name"), FlexData(Vector<short>{1, 2}));
    FlexData::Waveform<signed char> w;
    w.samples = Vector<signed char>{1, 2, 3};
    const FlexData values[] = {FlexData(static_cast<signed char>(1)),
                               FlexData(2.0),
                               FlexData("text"),
                               FlexData(L"wide"),
                               FlexData(AbsTime()),
                               FlexData(Vector<int>{1, 2}),
                               FlexData(Vector<AString>{AString("a"), AString("bcd")}),
                               FlexData(w),
                               FlexData(Vector<FlexData::Waveform<signed char>>{w, w}),
                               named};
    for (const FlexData& v : values) {
        const Bytes whole = PacketOf(v);
        for (std::size_t n = 0; n < whole.size(); ++n) {
            SCOPED_TRACE(::testing::Message() << fd::Code(v.getType()) << " cut to " << n);
            Bytes cut(whole.begin(), whole.begin() + n);
            if (n >= 4) {
                cut[0] = static_cast<unsigned char>(n);
                cut[1] = static_cast<unsigned char>(n >> 8);
            }
            HeapBytes source(cut);
            FlexData f;
            try {
                f.copyFrom(source.begin(), source.end());
            } catch (const SyntaxError&) {
                continue;
            } catch (const DeserializationError&) {
                continue;
            }
            const std::function<void()> reads[] = {
                [&] { f.getF64(); },
                [&] { f.getAString(); },
                [&] { f.getUnicode(); },
                [&] { f.getTime(); },
                [&] { f.getScalarArray<double>(); },
                [&] { f.getAStringArray(); },
                [&] { f.getWaveform<double>(); },
                [&] { f.getWaves<double>(); },
                [&] { f.getAttributeNames(); },
                [&] { f.getAttribute(AString("name")); },
            };
            for (const auto& read : reads) {
                try {
                    read();
                } catch (const ka::kor::exception::Exception&) {
                }
            }
        }
    }
}

}  // namespace
