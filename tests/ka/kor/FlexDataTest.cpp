#include "ka/kor/FlexData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <functional>
#include <new>
#include <string>

#include "ka/kor/PacketTestSupport.h"
#include "ka/kor/ThrowSite.h"
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
using ka::kor::exception::DeserializationError;
using ka::kor::exception::InvalidArgument;
using ka::kor::exception::SyntaxError;
using namespace packet_test;

const AbsTime kT0(0u, 1u, 0x80000000u, 0u);  // 1.5 s

Bytes PacketOf(const FlexData& f) {
    return Bytes(f.begin(), f.begin() + f.getPacketSize());
}

FlexData Adopt(const Bytes& packet) {
    FlexData f;
    f.copyFrom(packet.data(), packet.data() + packet.size());
    return f;
}

// The value read through one getter, widened so that one table holds every getter.
template <auto Getter>
long double As(const FlexData& f) {
    return (f.*Getter)();
}

// Overwrites the block's bytes from offset, as a caller writing through begin() may.
void Poke(FlexData& f, std::size_t offset, const char* hex) {
    const Bytes bytes = Hex(hex);
    std::copy(bytes.begin(), bytes.end(), f.begin() + offset);
}

FlexData BoolOf(long v) {
    FlexData f;
    f.setBool(v);
    return f;
}

TEST(FlexData, EmptyValue) {
    FlexData f;
    EXPECT_EQ(FlexType::Empty, f.getType());
    EXPECT_EQ(4u, f.serializationSize());
    unsigned char out[4] = {1, 2, 3, 4};
    unsigned char* p = out;
    f.serialize(p, out + 4);
    EXPECT_EQ(Hex("00000000"), Bytes(out, out + 4));
    EXPECT_THROW(f.getI32(), InvalidArgument);
}

// Values of every kind as their setters write them.
struct Written {
    const char* name;
    std::string hex;
    std::function<void(FlexData&)> set;
};

std::vector<Written> WrittenValues() {
    return {
        {"I8", "08000000 0001 2A 00", [](FlexData& f) { f.setI8(42); }},
        {"UI8", "08000000 0101 C8 00", [](FlexData& f) { f.setUI8(200); }},
        {"Bool", "08000000 0201 01 00", [](FlexData& f) { f.setBool(true); }},
        {"I16", "08000000 0002 FEFF", [](FlexData& f) { f.setI16(-2); }},
        {"UI16", "08000000 0102 EFBE", [](FlexData& f) { f.setUI16(0xBEEF); }},
        {"I32", "0A000000 0003 FFFFFFFF", [](FlexData& f) { f.setI32(-1); }},
        {"UI32", "0A000000 0103 04030201", [](FlexData& f) { f.setUI32(0x01020304); }},
        {"F32", "0A000000 0203 0000803F", [](FlexData& f) { f.setF32(1.0f); }},
        {"I64", "0E000000 0004 FEFFFFFFFFFFFFFF", [](FlexData& f) { f.setI64(-2); }},
        {"UI64", "0E000000 0104 0100000000000000", [](FlexData& f) { f.setUI64(1); }},
        {"F64", "0E000000 0204 00000000000004C0", [](FlexData& f) { f.setF64(-2.5); }},
        {"Time", "16000000 0405 00000000 00000080 64000000 00000000",
         [](FlexData& f) { f.setTime(AbsTime(0u, 100u, 0x80000000u, 0u)); }},
        {"AString", "0E000000 0009 03000000 616263 00",
         [](FlexData& f) { f.setAString(AString("abc")); }},
        {"AString with a zero byte", "0E000000 0009 04000000 61620063",
         [](FlexData& f) { f = FlexData("ab\0c", 4); }},
        {"empty AString", "0A000000 0009 00000000", [](FlexData& f) { f.setAString("", 0); }},
        {"UTF16", "10000000 000A 03000000 6800 E900 AC20",
         [](FlexData& f) { f.setUTF16(String(L"h\u00E9\u20AC")); }},
        {"Void", "06000000 0100", [](FlexData& f) { f.setVoid(); }},
        {"I32 over an AString", "0A000000 0003 07000000",
         [](FlexData& f) {
             f.setAString(AString("a long text to shrink"));
             f.setI32(7);
         }},
        {"array of three I8", "16000000 0008 0100 06000000 0001 03000000 070707 00",
         [](FlexData& f) { f.setScalarArray(Vector<signed char>(3, 7)); }},
        {"2x3 array of I16",
         "22000000 0008 0200 06000000 0002 02000000 03000000 0100 0200 0300 0400 0500 FAFF",
         [](FlexData& f) {
             f.setScalarArray(Vector<int>{1, 2, 3, 4, 5, -6}.data(), Vector<std::int32_t>{2, 3},
                              FlexType::I16);
         }},
        {"empty F32 array", "12000000 0008 0100 06000000 0203 00000000",
         [](FlexData& f) { f.setScalarArray(Vector<float>{}); }},
        {"array of AStrings",
         "1E000000 0008 0100 06000000 0009 02000000 01000000 61 00 02000000 6263",
         [](FlexData& f) {
             f.setAStringArray({AString("a"), AString("bc")});
         }},
        {"waveform of two I16", WaveformHex("AA000000", "0002", "02000000 0100 FFFF"),
         [](FlexData& f) {
             f.setWaveform(FlexData::Waveform<short>{kT0, 0.25, {1, -1}});
         }},
        {"named attribute", kUnitAttributeHex,
         [](FlexData& f) {
             f.setI32(42);
             f.setAttribute(AString("unit"), FlexData("V"));
         }},
    };
}

TEST(FlexData, PacketsAreExactBytes) {
    std::setlocale(LC_ALL, "C.UTF-8");
    for (const Written& c : WrittenValues()) {
        SCOPED_TRACE(c.name);
        FlexData f;
        c.set(f);
        EXPECT_EQ(Hex(c.hex), PacketOf(f));
        // The type is the one behind any prefix elements.
        EXPECT_EQ(fd::ReadCode(fd::GetTypeFromPacket(f.begin(), f.end()), f.end()),
                  fd::Code(f.getType()));
        EXPECT_EQ(f.getPacketSize(),
                  4 + f.getMetaDataBuffer().length() + f.getDataBuffer().length());
        EXPECT_EQ(f, Adopt(PacketOf(f)));
    }
}

TEST(FlexData, ConversionsArePlainTruncatingCasts) {
    const struct {
        const char* name;
        FlexData value;
        long double (*get)(const FlexData&);
        long double expected;
    } cases[] = {
        {"I32 7 as F64", FlexData(7), As<&FlexData::getF64>, 7.0L},
        {"F64 -2.9 as I32", FlexData(-2.9), As<&FlexData::getI32>, -2},
        {"I32 300 as I8", FlexData(300), As<&FlexData::getI8>, 44},
        {"F64 300.7 as I8", FlexData(300.7), As<&FlexData::getI8>, 44},
        {"long -1 as I32", FlexData(-1L), As<&FlexData::getI32>, -1},
        {"int64_t 2^40", FlexData(std::int64_t{1} << 40), As<&FlexData::getI64>, 1099511627776.0L},
        {"UI64 max as I32", FlexData(~0ULL), As<&FlexData::getI32>, -1},
        {"UI64 max as F64", FlexData(~0ULL), As<&FlexData::getF64>, 18446744073709551616.0L},
        {"F32 1e10 as I32", FlexData(1e10f), As<&FlexData::getI32>, 1410065408},
        {"F64 1e20 as I64", FlexData(1e20), As<&FlexData::getI64>, 7766279631452241920.0L},
        {"F64 -1e19 as I64", FlexData(-1e19), As<&FlexData::getI64>, 8446744073709551616.0L},
        {"F64 -1.5 as UI8", FlexData(-1.5), As<&FlexData::getUI8>, 255},
        {"F64 NaN as I32", FlexData(std::nan("")), As<&FlexData::getI32>, 0},
        {"F64 0.1 as F32", FlexData(0.1), As<&FlexData::getF32>, 0.1f},
        {"setBool(256L) keeps the low byte", BoolOf(256L), As<&FlexData::getBool>, 0},
        {"I32 5 as Bool", FlexData(5), As<&FlexData::getBool>, 1},
        {"I32 0x100 as Bool", FlexData(0x100), As<&FlexData::getBool>, 1},
        {"I32 0 as Bool", FlexData(0), As<&FlexData::getBool>, 0},
        {"Bool16 as Bool", Adopt(Hex("08000000 0202 0001")), As<&FlexData::getBool>, 1},
        {"Bool byte 2", Adopt(Hex("08000000 0201 02 00")), As<&FlexData::getBool>, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, c.get(c.value));
    }
    // long follows its width; the fixed-width types map alike on both builds.
    EXPECT_EQ(sizeof(long) == 4 ? FlexType::I32 : FlexType::I64, FlexData(1L).getType());
    EXPECT_EQ(sizeof(long) == 4 ? FlexType::UI32 : FlexType::UI64, FlexData(1UL).getType());
    EXPECT_EQ(FlexType::I64, FlexData(std::int64_t{1}).getType());
    EXPECT_EQ(FlexType::UI64, FlexData(std::uint64_t{1}).getType());
}

TEST(FlexData, WrongTypeAccessorsLeaveTheValueUnchanged) {
    const FlexData alt = Adopt(Hex("0C000000 0109 02000000 6869"));
    EXPECT_STREQ("hi", alt.getAString().c_str());
    FlexData f(AString("abc"));
    const Bytes before = PacketOf(f);
    const std::function<void()> wrong[] = {
        [&] { f.getF64(); },
        [&] { f.getBool(); },
        [&] { f.getTime(); },
        [&] { f.getDims(); },
        [&] { f.getScalarArray<int>(); },
        [&] { f.getWaveformSampleCount(); },
        [] { FlexData(1).getAString(); },
        [] { FlexData(1.0f).getBool(); },
        [] { FlexData(1LL).getBool(); },
        [] { FlexData(true).getI32(); },
        [&] { alt.getUnicode(); },  // AStringAlt is 8-bit text only
    };
    for (const auto& w : wrong) {
        EXPECT_THAT(ka_test::ThrowSite<InvalidArgument>(w),
                    ::testing::StartsWith("ka/kor/FlexData:"));
        EXPECT_EQ(before, PacketOf(f));
    }
}

TEST(FlexData, SettingTheHeldScalarTypeRewritesOnlyTheData) {
    FlexData f(1.0);
    f.setAttribute(AString("unit"), FlexData("s"));
    const unsigned char* block = f.begin();
    const Bytes before = PacketOf(f);
    f.setF64(2.5);
    EXPECT_EQ(block, f.begin());
    EXPECT_EQ(2.5, f.getF64());
    EXPECT_TRUE(std::equal(before.begin(), before.end() - 8, f.begin()));
    // Another type makes a fresh value: the attributes go with the old type.
    f.setI32(3);
    EXPECT_EQ(Hex("0A000000 0003 03000000"), PacketOf(f));
}

TEST(FlexData, AdoptsPacketsOfOddSizePadded) {
    FlexData f = Adopt(Hex("07000000 0001 2A"));
    EXPECT_EQ(Hex("08000000 0001 2A 00"), PacketOf(f));
    unsigned char out[8];
    unsigned char* p = out;
    f.serialize(p, out + sizeof out);
    EXPECT_EQ(out + 8, p);

    // A refused packet leaves the value as it was.
    FlexData g(5);
    EXPECT_THROW(g.copyFrom(out, out + 7), DeserializationError);  // size 8 in 7 bytes
    const Bytes cutMD = Hex("0A000000 0108 0100 06000000");
    EXPECT_THROW(g.copyFrom(cutMD.data(), cutMD.data() + cutMD.size()), SyntaxError);
    EXPECT_EQ(5, g.getI32());
    const Bytes zero = Hex("00000000");
    g.copyFrom(zero.data(), zero.data() + 4);
    EXPECT_EQ(FlexType::Empty, g.getType());
}

// Packets no writer makes: each is refused at once, before any block is sized from it, and a
// failed deserialize leaves the target empty and the cursor where it was.
TEST(FlexData, HostilePacketsAreRefusedAtOnce) {
    const struct {
        const char* name;
        std::string hex;
    } cases[] = {
        {"size 1", "01000000"},
        {"size 2", "02000000 0000"},
        {"size 5", "05000000 0001 00"},
        {"nested clusters of zero-sized members",
         "16000000 0108 FFFF 00000000 0108 FFFF 00000000 0001"},
        {"65536 x 65536 elements", "16000000 0008 0200 06000000 0001 00000100 00000100"},
        {"a string of 2^32 - 1 bytes", "0A000000 0009 FFFFFFFF"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HeapBytes source(Hex(c.hex));
        FlexData target(7);
        const unsigned char* cursor = source.begin();
        EXPECT_THROW(target.deserialize(cursor, source.end()), SyntaxError);
        EXPECT_EQ(FlexType::Empty, target.getType());
        EXPECT_EQ(source.begin(), cursor);
    }
}

TEST(FlexData, DeserializeStepsByTheSizeHeld) {
    // An odd packet is padded to even, and the next one is read after its pad byte.
    HeapBytes stream(Hex("07000000 0001 2A 00  00000000  0A000000 0003 07000000"));
    const unsigned char* cursor = stream.begin();
    FlexData f;
    f.deserialize(cursor, stream.end());
    EXPECT_EQ(42, f.getI8());
    EXPECT_EQ(stream.begin() + 8, cursor);
    f.deserialize(cursor, stream.end());
    EXPECT_EQ(FlexType::Empty, f.getType());
    EXPECT_EQ(stream.begin() + 12, cursor);
    f.deserialize(cursor, stream.end());
    EXPECT_EQ(7, f.getI32());
    EXPECT_EQ(stream.end(), cursor);
}

TEST(FlexData, SerializationRoundTripAndFailures) {
    std::setlocale(LC_ALL, "C.UTF-8");
    const FlexData values[] = {FlexData(1), FlexData(), FlexData("odd"), FlexData(L"wide")};
    HeapBytes buffer(Bytes(10 + 4 + 14 + 18, 0xEE));  // exactly their serialized sizes
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

    unsigned char* p = buffer.begin();
    EXPECT_THROW(FlexData(1.0).serialize(p, buffer.begin() + 13),
                 ka::kor::exception::BufferOverflow);
    EXPECT_EQ(buffer.begin(), p);
    // A failed read leaves the target empty and the cursor where it was.
    FlexData victim(7);
    const unsigned char* q = buffer.begin();
    EXPECT_THROW(victim.deserialize(q, buffer.begin() + 9), DeserializationError);
    EXPECT_EQ(FlexType::Empty, victim.getType());
    EXPECT_EQ(buffer.begin(), q);
}

TEST(FlexData, CompareOrdersByRawBytesFromTheSizeField) {
    FlexData longText(AString(250, 'x'));  // size 260: bytes 04 01 00 00
    const FlexData i8(static_cast<signed char>(1));
    EXPECT_EQ(-8, FlexData().compare(i8));  // common bytes equal: the size difference
    EXPECT_EQ(8, i8.compare(FlexData()));
    EXPECT_TRUE(longText < i8);
    EXPECT_TRUE(FlexData(static_cast<signed char>(9)) < FlexData(0));  // size 8 before size 10
    EXPECT_EQ(-1, FlexData(1).compare(FlexData(2)));
    EXPECT_EQ(-1, FlexData(0x100).compare(FlexData(0xFF)));  // byte order, not numeric order
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
    // 8-bit text is read as wide text through the locale.
    EXPECT_STREQ(L"\u00E9", FlexData("\xC3\xA9").getUnicode().c_str());
}

TEST(FlexData, ArrayShapesAndElements) {
    const int values[] = {1, 2, 3, 4, 5, -6};
    FlexData grid;
    grid.setScalarArray(values, Vector<std::int32_t>{2, 3}, FlexType::I16);
    EXPECT_EQ((Vector<std::int32_t>{2, 3}), grid.getDims());
    EXPECT_EQ(3, grid.getDimSize(1));
    EXPECT_THROW(grid.getDimSize(2), ka::kor::exception::OutOfRange);
    EXPECT_EQ(6u, grid.getNumElts());
    EXPECT_EQ((Vector<unsigned char>{1, 2, 3, 4, 5, 250}), grid.getScalarArray<unsigned char>());
    EXPECT_THROW(grid.setScalarArray(values, Vector<std::int32_t>{-1}), InvalidArgument);
    // A count that the dimensions' product would wrap is refused, not read as another count.
    Poke(grid, 14, "00000100 00000100");  // [65536, 65536]
    EXPECT_THROW(grid.getNumElts(), SyntaxError);

    // Any dimension of 0 makes an empty array, whatever the others are.
    for (const Vector<std::int32_t>& dims :
         {Vector<std::int32_t>{2, 0}, Vector<std::int32_t>{0, 5}, Vector<std::int32_t>{0}}) {
        FlexData empty;
        empty.setScalarArray(values, dims, FlexType::I16);
        const FlexData read = Adopt(PacketOf(empty));
        EXPECT_EQ(dims, read.getDims());
        EXPECT_EQ(0u, read.getNumElts());
        EXPECT_TRUE(read.getScalarArray<int>().empty());
    }
    EXPECT_THROW(grid.setScalarArray(values, 3, FlexType::Bool), InvalidArgument);

    const char xy[] = "x\0y";
    const Vector<AString> strings{AString(""), AString("odd"), AString("even"),
                                  AString(xy, xy + 3)};
    const Vector<AString> back = Adopt(PacketOf(FlexData(strings))).getAStringArray();
    ASSERT_EQ(strings.size(), back.size());
    for (unsigned i = 0; i < strings.size(); ++i) {
        EXPECT_EQ(0, strings[i].exactCompare(back[i]));
    }
    EXPECT_THROW(grid.getAStringArray(), InvalidArgument);
}

template <typename T>
class FlexDataArrayOf : public ::testing::Test {};
typedef ::testing::Types<signed char, short, int, long, long long, float, double> HostTypes;
TYPED_TEST_SUITE(FlexDataArrayOf, HostTypes);

TYPED_TEST(FlexDataArrayOf, RoundTripsThroughEveryElementType) {
    const Vector<TypeParam> values{TypeParam(0), TypeParam(1), TypeParam(100), TypeParam(7)};
    for (FlexType element :
         {FlexType::I8, FlexType::UI8, FlexType::I16, FlexType::UI16, FlexType::I32, FlexType::UI32,
          FlexType::F32, FlexType::I64, FlexType::UI64, FlexType::F64}) {
        SCOPED_TRACE(fd::Code(element));
        const FlexData f(values, element);
        EXPECT_EQ(element, f.getArrayElementType());
        EXPECT_EQ(values, Adopt(PacketOf(f)).getScalarArray<TypeParam>());
    }
}

// Odd sample bytes: no pad between samples and suffix, and a size field that is not even.
TEST(FlexData, WaveformsOfOddSizeKeepTheSuffixAfterTheSamples) {
    FlexData odd(FlexData::Waveform<signed char>{kT0, 0.25, {1, 2, 3}});
    const Bytes oddPacket = Hex(WaveformHex("A9000000", "0001", "03000000 010203"));
    EXPECT_EQ(oddPacket, PacketOf(odd));
    EXPECT_EQ(Bytes{0}, Bytes(odd.begin() + 169, odd.end()));  // the block keeps a pad byte
    EXPECT_EQ(170u, Adopt(oddPacket).getPacketSize());
    for (const FlexData& w : {odd, Adopt(oddPacket)}) {
        const FlexData::Waveform<int> back = w.getWaveform<int>();
        EXPECT_TRUE(w.isWaveform());
        EXPECT_EQ(kT0, back.t0);
        EXPECT_EQ(0.25, back.dt);
        EXPECT_EQ((Vector<int>{1, 2, 3}), back.samples);
    }
    EXPECT_TRUE(odd.hasAttribute(AString("_KA_MDT")));
}

TEST(FlexData, WaveformSampleTypes) {
    FlexData f;
    const double samples[] = {1.5, -2.5};
    // Booleans, and sample types that may take no bytes, whose counts nothing could check.
    for (FlexType refused :
         {FlexType::Bool, FlexType::Bool16, FlexType::Void, FlexType::Cluster, FlexType::Array}) {
        SCOPED_TRACE(fd::Code(refused));
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

// Sample counts are checked against the bytes that hold the samples before anything is sized
// from them; a sample type that takes no bytes makes no valid waveform.
TEST(FlexData, WaveformCountsNeverOutgrowThePacket) {
    const FlexData voids = Adopt(Hex(WaveformHex("A6000000", "0100", "FFFFFF7F")));
    ASSERT_TRUE(voids.isWaveform());
    EXPECT_THROW(voids.getWaveformSampleCount(), InvalidArgument);
    EXPECT_THROW(voids.getWaveform<double>(), InvalidArgument);
    EXPECT_THROW(voids.getWaveform<unsigned char>(), InvalidArgument);

    FlexData bytes(FlexData::Waveform<signed char>{kT0, 0.25, {1, 2}});
    Poke(bytes, 142, "FFFFFF7F");  // the sample count
    EXPECT_THROW(bytes.getWaveformSampleCount(), SyntaxError);
    EXPECT_THROW(bytes.getWaveform<double>(), SyntaxError);

    // The same sample type and count in a multi-waveform.
    const FlexData::Waveform<signed char> none{kT0, 0.25, {}};
    Bytes waves = PacketOf(FlexData(Vector<FlexData::Waveform<signed char>>{none}));
    const Bytes voidType = Hex("0100");
    const Bytes count = Hex("FFFFFF7F");
    std::copy(voidType.begin(), voidType.end(), waves.begin() + 92);
    std::copy(count.begin(), count.end(), waves.begin() + 154);
    const FlexData hostile = Adopt(waves);
    ASSERT_TRUE(hostile.isWaves());
    EXPECT_THROW(hostile.getWaves<double>(), InvalidArgument);
}

TEST(FlexData, WavesRoundTripAndAreSizedByTheGenericWalk) {
    const FlexData::Waveform<signed char> a{kT0, 0.5, {1, 2, 3}};
    const FlexData::Waveform<signed char> empty;
    const FlexData waves(Vector<FlexData::Waveform<signed char>>{a, empty, a});
    EXPECT_TRUE(waves.isWaves());
    EXPECT_FALSE(waves.isWaveform());
    EXPECT_EQ(3u, waves.getNumElts());
    // Each odd-sized wave is rounded up to even, as the walk over cluster elements expects.
    EXPECT_EQ(4u + 52 + 48 + 52, waves.getDataBuffer().length());
    const auto back = Adopt(PacketOf(waves)).getWaves<double>();
    ASSERT_EQ(3u, back.size());
    EXPECT_EQ(kT0, back[2].t0);
    EXPECT_EQ(0.5, back[2].dt);
    EXPECT_EQ((Vector<double>{1, 2, 3}), back[2].samples);
    EXPECT_TRUE(back[1].samples.empty());
    EXPECT_FALSE(FlexData(Vector<int>{1}).isWaves());
}

TEST(FlexData, NamedAttributes) {
    FlexData f(42);
    f.setAttribute(AString("unit"), FlexData("V"));
    EXPECT_FALSE(f.hasAttribute(AString("Unit")));
    EXPECT_EQ(FlexData("V"), f.getAttribute(AString("unit")));
    EXPECT_THROW(f.getAttribute(AString("UNIT")), ka::kor::exception::NotFound);

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
    FlexData arr(Vector<int>{1, 2, 3});
    arr.setScalarArray(reinterpret_cast<const int*>(arr.getDataBuffer().data() + 4), 2);
    EXPECT_EQ((Vector<int>{1, 2}), arr.getScalarArray<int>());
}

TEST(FlexData, BlockOperationsCheckTheirPointers) {
    FlexData f(7);
    EXPECT_THROW(f.chkPointer(f.end() + 1), SyntaxError);
    EXPECT_THROW(f.memClear(f.end() - 2, 4), SyntaxError);
    f.resize(4);
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
    std::vector<FlexData> values;
    for (const Written& c : WrittenValues()) {
        c.set(values.emplace_back());
    }
    const FlexData::Waveform<signed char> w{AbsTime(), 0, {1, 2, 3}};
    values.emplace_back(Vector<FlexData::Waveform<signed char>>{w, w});
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
                [&] { f.getAttribute(AString("unit")); },
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
