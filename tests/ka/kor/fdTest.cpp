#include "ka/kor/fd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ka/kor/PacketTestSupport.h"
#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

namespace {

namespace fd = ka::kor::fd;
using fd::FlexType;
using ka::kor::AbsTime;
using ka::kor::AString;
using ka::kor::exception::BufferOverflow;
using ka::kor::exception::SyntaxError;
using ka_test::ThrowSite;
using namespace packet_test;

// What a failed bounds check at line records.
std::string At(std::uint32_t line) {
    return "ka/kor/fd:" + std::to_string(line) + ": SyntaxError";
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
         "22000000 0008 0200 06000000 0002 02000000 03000000 0100 0200 0300 0400 0500 0600", 4, 14,
         20, 8, 0x0800},
        {"array of two (Bool, I32) clusters",
         "2C000000 0008 0100 14000000 0108 0200 06000000 0201 06000000 0003 02000000 0100 "
         "07000000 0000 F9FFFFFF",
         4, 28, 16, 4, 0x0800},
        {"array of AStrings",
         "1E000000 0008 0100 06000000 0009 02000000 01000000 61 00 02000000 6263", 4, 14, 16, 4,
         0x0800},
        {"empty array of clusters", "1A000000 0008 0100 0E000000 0108 0100 06000000 0009 00000000",
         4, 22, 4, 4, 0x0800},
        {"cluster (Bool, I32)", "1A000000 0108 0200 06000000 0201 06000000 0003 0100 07000000", 4,
         20, 6, 6, 0x0801},
        {"cluster (I8, AString abc, I16)",
         "26000000 0108 0300 06000000 0001 06000000 0009 06000000 0002 0500 03000000 616263 00 "
         "0900",
         4, 26, 12, 8, 0x0801},
        {"named attribute unit=V on an I32", kUnitAttributeHex, 34, 36, 4, 4, 0x0300},
        {"marker before a Bool", "0A000000 0180 0201 01 00", 6, 8, 1, 1, 0x0102},
        {"waveform of two I16", WaveformHex("AA000000", "0002", "02000000 0100 FFFF"), 56, 118, 52,
         46, 0x0801},
    };
}

TEST(fd, WalksHandBuiltPackets) {
    for (const PacketCase& c : HandBuiltPackets()) {
        SCOPED_TRACE(c.name);
        HeapBytes p(Hex(c.hex));
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

// Each prefix of a packet, in a block of its own size, is refused or sized past its end.
TEST(fd, TruncatedPacketsAreNeverTakenAsComplete) {
    for (const PacketCase& c : HandBuiltPackets()) {
        const Bytes whole = Hex(c.hex);
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

TEST(fd, ElementSizes) {
    const struct {
        const char* hex;
        std::uint32_t size;
    } cases[] = {
        {"0180", 2},  // marker
        {"0020", 0},  // undefined classes do not advance
        {"FFFF", 0},
        {"0108 0200 06000000 0001 07000000 0009 AB", 17},
        {"0108 0000 00000000", 4},  // empty descriptions never move the walk: the head alone
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        HeapBytes e(Hex(c.hex));
        EXPECT_EQ(c.size, fd::GetMDEltSize(e.begin(), e.end()));
    }
}

// Sizes and counts are formed without wrapping: what a 32-bit sum or product would wrap to a
// small number is refused instead.
TEST(fd, SizesAndCountsNeverWrap) {
    const struct {
        const char* name;
        const char* type;
        const char* data;
        std::uint32_t size;
        std::uint32_t line;  // 0 when the size is expected
    } cases[] = {
        {"AString of 2^32 - 3 bytes", "0009", "FDFFFFFF", 0, 454},
        {"UTF16 of 2^31 units", "000A", "00000080", 0, 454},
        {"2^30 I32 elements", "0008 0100 06000000 0003", "00000040", 0, 454},
        {"65536 x 65536 I8 elements", "0008 0200 06000000 0001", "00000100 00000100", 0, 472},
        {"a negative count", "0008 0100 06000000 0001", "FFFFFFFF", 0, 472},
        {"two negative sizes", "0008 0200 06000000 0001", "FEFFFFFF FEFFFFFF 01020304", 12, 0},
        {"2 x 0: empty", "0008 0200 06000000 0001", "02000000 00000000", 8, 0},
        {"0 x -5: empty", "0008 0200 06000000 0001", "00000000 FBFFFFFF", 8, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HeapBytes b(Hex(std::string(c.type) + c.data));
        const unsigned char* data = b.begin() + Hex(c.type).size();
        if (c.line == 0) {
            EXPECT_EQ(c.size, fd::GetDataSize(b.begin(), data, b.end()));
        } else {
            EXPECT_EQ(At(c.line),
                      ThrowSite<SyntaxError>([&] { fd::GetDataSize(b.begin(), data, b.end()); }));
        }
    }
    // Element sizes of 2^32 and more.
    for (const char* hex : {"0240 FFFFFFFF", "0008 0100 FEFFFFFF"}) {
        SCOPED_TRACE(hex);
        HeapBytes e(Hex(hex));
        EXPECT_EQ(At(223), ThrowSite<SyntaxError>([&] { fd::GetMDEltSize(e.begin(), e.end()); }));
    }
}

// count clusters of 8 bytes each whose member descriptions, all of size 8, are the size fields of
// the clusters after them: cluster k has as members the clusters k + 1 to count, then a Void. The
// members share bytes, and walking them as given takes about 2^count steps.
Bytes SharingClusters(int count) {
    Bytes md;
    for (int k = 0; k < count; ++k) {
        const Bytes cluster = Hex("0108 0000 08000000");
        md.insert(md.end(), cluster.begin(), cluster.end());
        md[md.size() - 6] = static_cast<unsigned char>(count - k);
    }
    const Bytes tail = Hex("0001 0000");
    md.insert(md.end(), tail.begin(), tail.end());
    return md;
}

TEST(fd, NestedDescriptionsMustHoldTheirMD) {
    const struct {
        const char* name;
        Bytes type;
        Bytes data;
        std::uint32_t size;  // 0: refused at line 454
    } cases[] = {
        {"a description larger than its MD", Hex("0108 0200 08000000 0001 AAAA 06000000 0002"),
         Hex("2A00 0100"), 4},
        {"a zero-sized member", Hex("0108 0300 00000000 0001"), {}, 0},
        {"zero-sized members nested", Hex("0108 FFFF 00000000 0108 FFFF 00000000 0001"), {}, 0},
        {"a member description too small",
         Hex("0108 0100 06000000 0108 0100 06000000 0001"),
         {},
         0},
        {"an element description too small", Hex("0008 0100 04000000 0108 0100 06000000 0001"),
         Hex("01000000"), 0},
        {"a zero-sized member in the elements", Hex("0008 0100 08000000 0108 0100 00000000 0001"),
         Hex("02000000"), 0},
        {"members sharing bytes", SharingClusters(40), {}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes all = c.type;
        all.insert(all.end(), c.data.begin(), c.data.end());
        HeapBytes b(all);
        unsigned char* data = b.begin() + c.type.size();
        if (c.size != 0) {
            EXPECT_EQ(c.size, fd::GetDataSize(b.begin(), data, b.end()));
            continue;
        }
        EXPECT_EQ(At(454),
                  ThrowSite<SyntaxError>([&] { fd::GetDataSize(b.begin(), data, b.end()); }));
        if (c.data.empty()) {  // the minimum size walks the members too
            EXPECT_EQ(At(454), ThrowSite<SyntaxError>(
                                   [&] { fd::GetDataSize(b.begin(), nullptr, b.end()); }));
        }
    }
}

TEST(fd, RecordedLinesOfTheChecks) {
    typedef unsigned char* P;
    const std::string room(58, '0');  // 29 bytes: the waveform type prefix and one byte more
    const struct {
        const char* name;
        std::string hex;
        std::function<void(P, P)> run;
        std::uint32_t line;
    } cases[] = {
        {"code read", "00", fd::GetMDEltSize, 223},
        {"type from MD", "00", fd::GetTypeFromMD, 223},
        {"attribute lookup", "00", [](P b, P e) { fd::GetAttributeMD(b, fd::FlexAttrName, e); },
         223},
        {"undefined prefix class", "0180 0060 0001", fd::GetTypeFromMD, 223},
        {"sample type", room, fd::GetWaveformSampleType, 223},
        {"cluster head", "0108", fd::GetMDEltSize, 223},
        {"attribute size", "0240 0400", fd::GetMDEltSize, 279},
        {"string count", "0009 030000", [](P b, P e) { fd::GetDataSize(b, b + 2, e); }, 279},
        {"cluster of no members", "0108 0000 06000000 0001 06000000 0001 06000000 0001",
         fd::GetMDEltSize, 279},
        {"sample type room", room, [](P b, P e) { fd::SetWaveformType(b, e, FlexType::F64); }, 232},
        {"array head", "0008", fd::GetMDEltSize, 472},
        {"array dims", "0008 0200 06000000 0001 05000000",
         [](P b, P e) { fd::GetDataSize(b, b + 10, e); }, 472},
        {"cluster walk", "0108 0300 06000000 0001 0A000000 0001", fd::GetMDEltSize, 454},
        {"cluster of no members, far", "0108 0000 06000000 0001 FFFFFF7F 0001", fd::GetMDEltSize,
         454},
        {"packet head", "080000", fd::GetTypeFromPacket, 393},
        {"data", "080000", fd::GetData, 393},
        {"MD past end", "16000000 0108 0100 06000000 00", fd::GetData, 393},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HeapBytes b(Hex(c.hex));
        EXPECT_EQ(At(c.line), ThrowSite<SyntaxError>([&] { c.run(b.begin(), b.end()); }));
    }
}

TEST(fd, MemCpyChecksTheSourceFirst) {
    HeapBytes src(Hex("01020304"));
    HeapBytes dst(Hex("000000"));
    EXPECT_EQ("ka/kor/fd:138: Buffer overflowed", ThrowSite<BufferOverflow>([&] {
                  fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.begin() + 2, 4);
              }));
    EXPECT_EQ(At(141), ThrowSite<SyntaxError>(
                           [&] { fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.end(), 4); }));
    EXPECT_EQ(3u, fd::MemCpy(dst.begin(), dst.end(), src.begin(), src.end(), 3));
    EXPECT_EQ(Hex("010203"), Bytes(dst.begin(), dst.end()));
}

// levels zero-dimensional arrays nested in each other around one I8, then its data byte and pad.
Bytes NestedArrays(int levels) {
    Bytes md = Hex("0001");
    for (int i = 0; i < levels; ++i) {
        Bytes outer = Hex("0008 0000 00000000");
        outer[4] = static_cast<unsigned char>(md.size() + 4);
        outer[5] = static_cast<unsigned char>((md.size() + 4) >> 8);
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
    EXPECT_THAT(
        ThrowSite<SyntaxError>([&] { fd::GetDataSize(deep.begin(), deep.end() - 2, deep.end()); }),
        ::testing::MatchesRegex("ka/kor/fd:[0-9]+: SyntaxError: type nested too deeply"));
}

TEST(fd, AttributeLookupByNumberAndName) {
    HeapBytes p(Hex(kUnitAttributeHex));
    const unsigned char* md = p.begin() + 4;
    EXPECT_EQ(nullptr, fd::GetAttributeMD(md, fd::FlexAttrName, p.end()));
    EXPECT_EQ(md + 2, fd::GetAttributePacket(md, fd::FlexAttrNamed, p.end()));
    EXPECT_EQ(md + 2, fd::GetAttributePacket(md, AString("unit"), p.end()));
    for (const char* other : {"Unit", "uni", "units"}) {
        SCOPED_TRACE(other);
        EXPECT_EQ(nullptr, fd::GetAttributeMD(md, AString(other), p.end()));
    }
    // Without attributes only the type code is read.
    HeapBytes bare(Hex("0003"));
    EXPECT_EQ(nullptr, fd::GetAttributeMD(bare.begin(), AString("unit"), bare.end()));

    HeapBytes wave(Hex(WaveformHex("AA000000", "0002", "02000000 0100 FFFF")));
    const unsigned char* waveMD = wave.begin() + 4;
    EXPECT_EQ(waveMD, fd::GetAttributeMD(waveMD, AString("_KA_MDT"), wave.end()));
    EXPECT_EQ(nullptr, fd::GetAttributeMD(waveMD, AString("_ka_mdt"), wave.end()));
}

// The waveform blocks themselves are compared byte for byte where FlexData writes a waveform.
TEST(fd, WaveformTypeRecognition) {
    unsigned char type[62];
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

    // Each word is checked before it is written: the words before the failing one stay written.
    HeapBytes shortOut(Bytes(11, 0xEE));
    EXPECT_EQ(At(279),
              ThrowSite<SyntaxError>([&] { fd::SetTime(shortOut.begin(), t, shortOut.end()); }));
    EXPECT_EQ(Hex("05000000 00000080 EEEEEE"), Bytes(shortOut.begin(), shortOut.end()));
    HeapBytes shortIn(Bytes(15, 0));
    EXPECT_EQ(At(279), ThrowSite<SyntaxError>([&] {
                  fd::GetTime(shortIn.begin(), shortIn.end(), fd::TAEndianLittle);
              }));
}

}  // namespace
