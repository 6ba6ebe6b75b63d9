#include "ka/kor/fd.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ka/kor/PacketTestSupport.h"
#include "ka/kor/exception.h"

namespace {

namespace fd = ka::kor::fd;
using fd::FlexType;
using ka::kor::AbsTime;
using ka::kor::AString;
using ka::kor::exception::BufferOverflow;
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

// A waveform of two I16 samples (1, -1), t0 = 1.5 s, dt = 0.25.
std::string WaveformI16Hex() {
    return std::string("AA000000") + kAttributesHex + kTypePrefixHex + "0002" + kTypeSuffixHex +
           "00000000 00000080 01000000 00000000" + "000000000000D03F" + "02000000 0100 FFFF" +
           kDataSuffixHex;
}

struct PacketCase {
    const char* name;
    std::string hex;
    std::uint32_t typeOffset;  // from the packet start
    std::uint32_t dataOffset;
    std::uint32_t dataSize;
    std::uint32_t minimumDataSize;  // GetDataSize with null data
    std::uint16_t code;
};

std::vector<PacketCase> HandBuiltPackets() {
    return {
        {"I8", "08000000 0001 2A 00", 4, 6, 1, 1, 0x0100},
        {"F64", "0E000000 0204 000000000000F03F", 4, 6, 8, 8, 0x0402},
        {"AString abc", "0E000000 0009 03000000 616263 00", 4, 6, 7, 4, 0x0900},
        {"AStringAlt empty", "0A000000 0109 00000000", 4, 6, 4, 4, 0x0901},
        {"UTF16 hi", "0E000000 000A 02000000 6800 6900", 4, 6, 8, 4, 0x0A00},
        {"Opaque", "0C000000 0209 06000000 AABB", 4, 6, 6, 8, 0x0902},
        {"Time 100.5 s", "16000000 0405 00000000 00000080 64000000 00000000", 4, 6, 16, 16, 0x0504},
        {"array of three I8", "16000000 0008 0100 06000000 0001 03000000 010203 00", 4, 14, 7, 4,
         0x0800},
        {"2x3 array of I16",
         "22000000 0008 0200 06000000 0002 02000000 03000000 "
         "0100 0200 0300 0400 0500 0600",
         4, 14, 20, 8, 0x0800},
        {"array of two (Bool, I32) clusters",
         "2C000000 0008 0100 14000000 0108 0200 06000000 0201 06000000 0003 "
         "02000000 0100 07000000 0000 F9FFFFFF",
         4, 28, 16, 4, 0x0800},
        {"array of AStrings",
         "1E000000 0008 0100 06000000 0009 02000000 01000000 61 00 "
         "02000000 6263",
         4, 14, 16, 4, 0x0800},
        {"empty array of clusters", "1A000000 0008 0100 0E000000 0108 0100 06000000 0009 00000000",
         4, 22, 4, 4, 0x0800},
        {"cluster (Bool, I32)", "1A000000 0108 0200 06000000 0201 06000000 0003 0100 07000000", 4,
         20, 6, 6, 0x0801},
        {"cluster (I8, AString abc, I16)",
         "26000000 0108 0300 06000000 0001 06000000 0009 06000000 0002 "
         "0500 03000000 616263 00 0900",
         4, 26, 12, 8, 0x0801},
        {"named attribute unit=V on an I32",
         "28000000 0240 1C000000 0340 0E000000 0009 04000000 756E6974 0009 01000000 5600 "
         "0003 2A000000",
         34, 36, 4, 4, 0x0300},
        {"marker before a Bool", "0A000000 0180 0201 01 00", 6, 8, 1, 1, 0x0102},
        {"waveform of two I16", WaveformI16Hex(), 56, 118, 52, 46, 0x0801},
    };
}

TEST(fd, WaveformBlocksAreExactBytes) {
    const struct {
        const char* name;
        const unsigned char* block;
        std::size_t size;
        const char* hex;
    } blocks[] = {
        {"attributes", fd::k_waveformAttributes, sizeof fd::k_waveformAttributes, kAttributesHex},
        {"type prefix", fd::k_waveformTypePrefix, sizeof fd::k_waveformTypePrefix, kTypePrefixHex},
        {"type suffix", fd::k_waveformTypeSuffix, sizeof fd::k_waveformTypeSuffix, kTypeSuffixHex},
        {"data suffix", fd::k_waveformDataSuffix, sizeof fd::k_waveformDataSuffix, kDataSuffixHex},
    };
    for (const auto& b : blocks) {
        SCOPED_TRACE(b.name);
        EXPECT_EQ(Hex(b.hex), Bytes(b.block, b.block + b.size));
    }
    EXPECT_EQ(52u, fd::CalculateWaveformAttributeSize());
    EXPECT_EQ(62u, fd::CalculateWaveformTypeSize());
    EXPECT_EQ(48u + 7, fd::CalculateWaveformDataSize(7));
}

TEST(fd, WalksHandBuiltPackets) {
    for (const PacketCase& c : HandBuiltPackets()) {
        SCOPED_TRACE(c.name);
        HeapBytes p(Hex(c.hex.c_str()));
        ASSERT_EQ(p.size(), fd::GetUI32(p.begin(), p.end(), fd::TAEndianLittle));
        const unsigned char* type = fd::GetTypeFromPacket(p.begin(), p.end());
        const unsigned char* data = fd::GetData(p.begin(), p.end());
        EXPECT_EQ(c.typeOffset, type - p.begin());
        EXPECT_EQ(c.dataOffset, data - p.begin());
        EXPECT_EQ(c.dataOffset - 4, fd::GetMDSize(p.begin() + 4, p.end()));
        EXPECT_EQ(c.code, fd::ReadCode(type, p.end()));
        EXPECT_EQ(c.dataSize, fd::GetDataSize(type, data, p.end()));
        EXPECT_EQ(c.minimumDataSize, fd::GetDataSize(type, nullptr, p.end()));
        // The data area is reserved at an even size, pad byte included.
        EXPECT_EQ(p.size(), c.dataOffset + c.dataSize + (c.dataSize & 1));
    }
}

TEST(fd, DataSizeOfTypeCodes) {
    const struct {
        std::uint16_t code;
        std::uint32_t size;
    } cases[] = {
        {0x0000, 0}, {0x0001, 0},  {0x0100, 1},  {0x0102, 1},  {0x0202, 2},  {0x0302, 4},
        {0x0401, 8}, {0x0504, 16}, {0x0600, 32}, {0x06FF, 32}, {0x0800, 0},  {0x0801, 0},
        {0x0900, 4}, {0x0901, 4},  {0x09FF, 4},  {0x0902, 8},  {0x0A00, 4},  {0x0A07, 4},
        {0x0B00, 0}, {0x0700, 0},  {0x1FFF, 0},  {0x8100, 1},  {0x8600, 32}, {0xFFFF, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(c.size, fd::GetDataSize(static_cast<FlexType>(c.code)));
    }
}

TEST(fd, ElementSizesAndPrefixWalk) {
    const struct {
        const char* hex;
        std::uint32_t size;
    } cases[] = {
        {"0001", 2},
        {"0180", 2},  // marker
        {"0020", 0},  // undefined classes do not advance
        {"FFFF", 0},
        {"0340 0A000000 0009 00000000", 12},  // attribute: 2 + its packet
        {"0008 0000 04000000", 8},            // array of no element MD
        {"0108 0200 06000000 0001 07000000 0009 AB", 17},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        HeapBytes e(Hex(c.hex));
        EXPECT_EQ(c.size, fd::GetMDEltSize(e.begin(), e.end()));
    }

    HeapBytes md(Hex("0180 0340 0A000000 0009 00000000 0280 0201"));
    std::uint16_t code = 0;
    const unsigned char* second = fd::GetNextElt(md.begin(), code, md.end());
    EXPECT_EQ(md.begin() + 2, second);
    EXPECT_EQ(0x4003, code);
    EXPECT_EQ(md.begin() + 14, fd::GetNextElt(second, md.end()));
    EXPECT_EQ(md.begin() + 16, fd::GetTypeFromMD(md.begin(), md.end()));
    EXPECT_EQ(18u, fd::GetMDSize(md.begin(), md.end()));

    // A prefix element of an undefined class would stall the walk; it is refused instead.
    HeapBytes stalled(Hex("0180 0060 0001"));
    ExpectThrowAt<SyntaxError>([&] { fd::GetTypeFromMD(stalled.begin(), stalled.end()); },
                               "ka/kor/fd", 223);
}

TEST(fd, ClusterWithZeroMembersRunsOnUntilTheWalkPassesEnd) {
    HeapBytes e(Hex("0108 0000 06000000 0001 06000000 0001 06000000 0001"));
    EXPECT_THROW(fd::GetMDEltSize(e.begin(), e.end()), SyntaxError);
    HeapBytes far(Hex("0108 0000 06000000 0001 FFFFFF7F 0001"));
    ExpectThrowAt<SyntaxError>([&] { fd::GetMDEltSize(far.begin(), far.end()); }, "ka/kor/fd", 454);
    // Zero-sized descriptions never move the walk; the size is then the head alone.
    HeapBytes zeros(Hex("0108 0000 00000000"));
    EXPECT_EQ(4u, fd::GetMDEltSize(zeros.begin(), zeros.end()));
}

// levels zero-dimensional arrays nested in each other around one I8, then its data byte and pad.
Bytes NestedArrays(int levels) {
    Bytes md = Hex("0001");
    for (int i = 0; i < levels; ++i) {
        const std::uint32_t l = static_cast<std::uint32_t>(md.size()) + 4;
        Bytes outer = Hex("0008 0000");
        for (int b = 0; b < 4; ++b) {
            outer.push_back(static_cast<unsigned char>(l >> (8 * b)));
        }
        outer.insert(outer.end(), md.begin(), md.end());
        md.swap(outer);
    }
    md.push_back(0x7F);
    md.push_back(0x00);
    return md;
}

TEST(fd, DeepNestingIsRefusedBeforeTheStackRunsOut) {
    HeapBytes fine(NestedArrays(100));
    // Each level holds one element, its data rounded up to even.
    EXPECT_EQ(2u, fd::GetDataSize(fine.begin(), fine.end() - 2, fine.end()));
    HeapBytes deep(NestedArrays(300));
    try {
        fd::GetDataSize(deep.begin(), deep.end() - 2, deep.end());
        ADD_FAILURE() << "nothing thrown";
    } catch (const SyntaxError& e) {
        EXPECT_STREQ("SyntaxError: type nested too deeply", e.what());
    }
}

TEST(fd, MemCpyChecksTheSourceFirst) {
    HeapBytes src(Hex("01020304"));
    HeapBytes dst(Hex("000000"));
    ExpectThrowAt<BufferOverflow>(
        [&] { fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.begin() + 2, 4); }, "ka/kor/fd",
        138);
    ExpectThrowAt<SyntaxError>(
        [&] { fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.end(), 4); }, "ka/kor/fd", 141);
    EXPECT_EQ(3u, fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.end(), 3));
    EXPECT_EQ(Hex("010203"), Bytes(dst.begin(), dst.end()));
}

TEST(fd, RecordedLinesOfTheChecks) {
    HeapBytes code1(Hex("00"));
    HeapBytes arrayHead(Hex("0008"));
    HeapBytes arrayDims(Hex("0008 0200 06000000 0001 05000000"));
    HeapBytes clusterHead(Hex("0108"));
    HeapBytes clusterWalk(Hex("0108 0300 06000000 0001 0A000000 0001"));
    HeapBytes attribute(Hex("0240 0400"));
    HeapBytes shortPacket(Hex("080000"));
    HeapBytes cutMD(Hex("16000000 0108 0100 06000000 00"));
    HeapBytes string3(Hex("0009 030000"));
    HeapBytes room(Bytes(29, 0));
    const struct {
        const char* name;
        std::function<void()> run;
        std::uint32_t line;
    } cases[] = {
        {"code read", [&] { fd::GetMDEltSize(code1.begin(), code1.end()); }, 223},
        {"type from MD", [&] { fd::GetTypeFromMD(code1.begin(), code1.end()); }, 223},
        {"attribute lookup",
         [&] { fd::GetAttributeMD(code1.begin(), fd::FlexAttrName, code1.end()); }, 223},
        {"sample type", [&] { fd::GetWaveformSampleType(room.begin(), room.end()); }, 223},
        {"cluster head", [&] { fd::GetMDEltSize(clusterHead.begin(), clusterHead.end()); }, 223},
        {"attribute size", [&] { fd::GetMDEltSize(attribute.begin(), attribute.end()); }, 279},
        {"string count",
         [&] { fd::GetDataSize(string3.begin(), string3.begin() + 2, string3.end()); }, 279},
        {"sample type room", [&] { fd::SetWaveformType(room.begin(), room.end(), FlexType::F64); },
         232},
        {"array head", [&] { fd::GetMDEltSize(arrayHead.begin(), arrayHead.end()); }, 472},
        {"array dims",
         [&] { fd::GetDataSize(arrayDims.begin(), arrayDims.begin() + 10, arrayDims.end()); }, 472},
        {"cluster walk", [&] { fd::GetMDEltSize(clusterWalk.begin(), clusterWalk.end()); }, 454},
        {"packet head", [&] { fd::GetTypeFromPacket(shortPacket.begin(), shortPacket.end()); },
         393},
        {"data", [&] { fd::GetData(shortPacket.begin(), shortPacket.end()); }, 393},
        {"MD past end", [&] { fd::GetData(cutMD.begin(), cutMD.end()); }, 393},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ExpectThrowAt<SyntaxError>(c.run, "ka/kor/fd", c.line);
    }
    try {
        fd::GetMDEltSize(code1.begin(), code1.end());
    } catch (const SyntaxError& e) {
        EXPECT_STREQ("SyntaxError", e.what());
    }
}

TEST(fd, AttributeLookupByNumberAndName) {
    HeapBytes p(
        Hex("28000000 0240 1C000000 0340 0E000000 0009 04000000 756E6974 0009 01000000 "
            "5600 0003 2A000000"));
    const unsigned char* md = p.begin() + 4;
    EXPECT_EQ(md, fd::GetAttributeMD(md, fd::FlexAttrNamed, p.end()));
    EXPECT_EQ(nullptr, fd::GetAttributeMD(md, fd::FlexAttrName, p.end()));
    EXPECT_EQ(md, fd::GetAttributeMD(md, AString("unit"), p.end()));
    EXPECT_EQ(md + 2, fd::GetAttributePacket(md, AString("unit"), p.end()));
    EXPECT_EQ(md + 2, fd::GetAttributePacket(md, fd::FlexAttrNamed, p.end()));
    for (const char* other : {"Unit", "UNIT", "uni", "units", ""}) {
        SCOPED_TRACE(other);
        EXPECT_EQ(nullptr, fd::GetAttributeMD(md, AString(other), p.end()));
    }
    // Without attributes only the type code is read.
    HeapBytes bare(Hex("0003"));
    EXPECT_EQ(nullptr, fd::GetAttributeMD(bare.begin(), AString("unit"), bare.end()));

    HeapBytes wave(Hex(WaveformI16Hex().c_str()));
    EXPECT_EQ(wave.begin() + 4,
              fd::GetAttributeMD(wave.begin() + 4, AString("_KA_MDT"), wave.end()));
    EXPECT_EQ(nullptr, fd::GetAttributeMD(wave.begin() + 4, AString("_ka_mdt"), wave.end()));
}

TEST(fd, WaveformTypeRecognition) {
    unsigned char type[62];
    EXPECT_EQ(62u, fd::SetWaveformType(type, type + sizeof type, FlexType::I16));
    EXPECT_EQ(Hex((std::string(kTypePrefixHex) + "0002" + kTypeSuffixHex).c_str()),
              Bytes(type, type + sizeof type));
    unsigned char attributes[52];
    EXPECT_EQ(52u, fd::SetWaveformAttributes(attributes, attributes + sizeof attributes));
    EXPECT_EQ(Hex(kAttributesHex), Bytes(attributes, attributes + sizeof attributes));
    unsigned char suffix[20];
    EXPECT_EQ(20u, fd::SetWaveformDataSuffix(suffix, suffix + sizeof suffix));
    EXPECT_EQ(Hex(kDataSuffixHex), Bytes(suffix, suffix + sizeof suffix));

    const struct {
        FlexType sample;
        bool waveform;
    } cases[] = {
        {FlexType::F64, true},   {FlexType::I8, true},      {FlexType::UI8, true},
        {FlexType::I16, true},   {FlexType::AString, true}, {FlexType::Cluster, true},
        {FlexType::Bool, false}, {FlexType::Bool16, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(fd::Code(c.sample));
        fd::SetWaveformType(type, type + sizeof type, c.sample);
        HeapBytes t(type, sizeof type);
        EXPECT_EQ(c.waveform, fd::IsWaveformType(t.begin(), t.end()));
        EXPECT_EQ(c.sample, fd::GetWaveformSampleType(t.begin(), t.end()));
        HeapBytes shorter(type, 61);
        EXPECT_FALSE(fd::IsWaveformType(shorter.begin(), shorter.end()));
    }
    fd::SetWaveformType(type, type + sizeof type, FlexType::F64);
    type[40] ^= 1;
    EXPECT_FALSE(fd::IsWaveformType(type, type + sizeof type));
}

TEST(fd, TimeEncoding) {
    const AbsTime t(0xFFFFFFFEu, 0x01020304u, 0x80000000u, 0x00000005u);
    HeapBytes out(Bytes(16, 0xEE));
    fd::SetTime(out.begin(), t, out.end());
    EXPECT_EQ(Hex("05000000 00000080 04030201 FEFFFFFF"), Bytes(out.begin(), out.end()));
    EXPECT_EQ(t, fd::GetTime(out.begin(), out.end(), fd::TAEndianLittle));
    // TAEndianNative takes the words as they lie, which on this little-endian host is the same.
    EXPECT_EQ(t, fd::GetTime(out.begin(), out.end(), fd::TAEndianNative));

    // Each word is checked before it is written: the words before the failing one stay written.
    HeapBytes shortOut(Bytes(11, 0xEE));
    ExpectThrowAt<SyntaxError>([&] { fd::SetTime(shortOut.begin(), t, shortOut.end()); },
                               "ka/kor/fd", 279);
    EXPECT_EQ(Hex("05000000 00000080 EEEEEE"), Bytes(shortOut.begin(), shortOut.end()));
    HeapBytes shortIn(Bytes(15, 0));
    ExpectThrowAt<SyntaxError>(
        [&] { fd::GetTime(shortIn.begin(), shortIn.end(), fd::TAEndianLittle); }, "ka/kor/fd", 279);
}

TEST(fd, TruncatedPacketsAreNeverTakenAsComplete) {
    for (const PacketCase& c : HandBuiltPackets()) {
        const Bytes whole = Hex(c.hex.c_str());
        for (std::size_t n = 0; n < whole.size(); ++n) {
            SCOPED_TRACE(::testing::Message() << c.name << " cut to " << n);
            HeapBytes p(whole.data(), n);
            try {
                const unsigned char* type = fd::GetTypeFromPacket(p.begin(), p.end());
                const unsigned char* data = fd::GetData(p.begin(), p.end());
                const std::uint64_t size = fd::GetDataSize(type, data, p.end());
                EXPECT_GT(size + (size & 1), static_cast<std::uint64_t>(p.end() - data));
                fd::GetAttributeMD(p.begin() + 4, AString("unit"), p.end());
            } catch (const SyntaxError& e) {
                EXPECT_STREQ("ka/kor/fd", e.file());
            }
        }
    }
}

}  // namespace
