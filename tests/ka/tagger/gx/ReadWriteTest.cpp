// Read and Write through the exported functions on the stand-in provider and host: which
// qualities are errors, which are warnings, and what reaches the host in each case.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <cstring>

#include "FakePlatform.h"
#include "ka/kor/AbsTime.h"
#include "ka/kor/FlexData.h"
#include "vesta/VestaRealTime.h"

namespace {

class ReadWriteTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fake::ResetLibrary();
        fake::Cluster error;
        GxBoolean no = 0;
        GxRefnum none = 0;
        refnum_ = ka_tagger_gx_Connect("\\\\m1\\p\\x", &no, &no, &none, error.ptr());
        ASSERT_NE(0u, refnum_);
        item_ = fake::vesta().items.at(0);
        item_->value = VarData::FromR8(2.5);
        item_->time.ticks = 95616288000000000LL;  // 1904-01-01
    }
    void TearDown() override {
        delete variant_;
        fake::ResetLibrary();
    }

    // "<error> | <variant packet or 'unchanged'> q=<quality> t=<1904|none|unchanged>"
    std::string read(fake::Cluster& error) {
        variant_ = nullptr;
        std::uint32_t quality = 0xDEAD;
        ka_tagger_gx_TimeStamp time = {{1, 1, 1, 1}};
        ka_tagger_gx_Read(refnum_, &variant_, &quality, &time, error.ptr());
        return error.str() + " | " +
               (variant_ ? fake::Hex(variant_->packet.data(),
                                     variant_->packet.data() + variant_->packet.size())
                         : "unchanged") +
               " q=" + std::to_string(quality) + " t=" +
               (std::memcmp(&time, &kEpoch, 16) == 0    ? "1904"
                : std::memcmp(&time, &kNoTime, 16) == 0 ? "none"
                                                        : "unchanged");
    }

    const ka::kor::AbsTime kEpoch;
    const ka::kor::AbsTime kNoTime = ka::kor::AbsTime::min;
    ka_tagger_gx_Refnum refnum_ = 0;
    fake::Item* item_ = nullptr;
    GxVariant* variant_ = nullptr;
};

const std::string kValue = fake::Hex(ka::kor::FlexData(2.5));

TEST_F(ReadWriteTest, ReadTellsWarningsFromErrors) {
    struct {
        std::uint32_t mask;
        std::uint32_t quality;
        std::string expected;
    } const rows[] = {
        {0x7, 0, "0 00000000  | " + kValue + " q=0 t=1904"},
        {0x5, 0x20, "0 00000000  | " + kValue + " q=0 t=1904"},  // no quality in the state: good
        {0x7, 0x100, "0 00000000  | " + kValue + " q=256 t=1904"},
        {0x3, 0x20000800, "0 00000000  | " + kValue + " q=536872960 t=none"},
        {0x6, 0x40, "0 8BBB0006 ka_tagger_gx_Read | unchanged q=64 t=1904"},
        {0x7, 0x41, "0 8BBB0006 ka_tagger_gx_Read | unchanged q=65 t=1904"},
        {0x7, 0x1, "0 8BBB0000 ka_tagger_gx_Read | unchanged q=1 t=1904"},
        {0x3, 0x20000, "0 8BBB000D ka_tagger_gx_Read | unchanged q=131072 t=none"},
        {0x7, 0x43, "1 8BBB0001 ka_tagger_gx_Read | unchanged q=67 t=1904"},
        {0x7, 0x20, "1 8BBB0005 ka_tagger_gx_Read | unchanged q=32 t=1904"},
        {0x7, 0x400000, "1 8BBB0012 ka_tagger_gx_Read | unchanged q=4194304 t=1904"},
        {0x7, 0x80000000, "1 8BBB0036 ka_tagger_gx_Read | unchanged q=2147483648 t=1904"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.quality);
        item_->mask = r.mask;
        item_->quality = r.quality;
        fake::Cluster error;
        EXPECT_EQ(r.expected, read(error));
        delete variant_;
    }
}

TEST_F(ReadWriteTest, ReadWithoutAValueIsANoValueWarning) {
    item_->mask = 0x6;
    item_->quality = 0;
    item_->value = VarData();
    fake::Cluster error;
    EXPECT_EQ("0 8BBB0006 ka_tagger_gx_Read | unchanged q=0 t=1904", read(error));
    EXPECT_EQ(0, fake::host().flexToVarCalls);
}

TEST_F(ReadWriteTest, ReadReportsHostAndProviderFailures) {
    item_->mask = 0x7;
    item_->quality = 0;
    {
        fake::host().flexToVarResult = mFullErr;
        fake::Cluster error;
        EXPECT_EQ("1 00000002 ka_tagger_gx_Read | unchanged q=0 t=1904", read(error));
        fake::host().flexToVarResult = 0;
    }
    {
        item_->stateResult = VESTA_E_NOTCONNECTED;
        item_->mask = 0;
        fake::Cluster error;
        EXPECT_EQ("1 8BBB0005 ka_tagger_gx_Read | unchanged q=57005 t=unchanged", read(error));
    }
}

TEST_F(ReadWriteTest, ReadCreatesTheSourceHandleItNeeds) {
    ErrorCluster error = {0, 0, nullptr};
    GxVariant* variant = nullptr;
    std::uint32_t quality;
    ka_tagger_gx_TimeStamp time;
    ka_tagger_gx_Read(0, &variant, &quality, &time, &error);
    EXPECT_EQ("ka_tagger_gx_Read", fake::Text(error.source));
    DSDisposeHandle(reinterpret_cast<UHandle>(error.source));
    // Without room for the text, status and code are still reported.
    fake::host().failArrayResize = true;
    ErrorCluster bare = {0, 0, nullptr};
    ka_tagger_gx_Read(0, &variant, &quality, &time, &bare);
    EXPECT_EQ(1, bare.status);
    EXPECT_EQ(static_cast<std::int32_t>(0x8ABC701D), bare.code);
    EXPECT_EQ(nullptr, bare.source);
}

TEST_F(ReadWriteTest, WriteReportsTheQualityAfterwards) {
    GxVariant value;
    const ka::kor::FlexData packet(7.25);
    value.packet.assign(packet.begin(), packet.begin() + packet.getPacketSize());
    GxVariant* pointer = &value;
    struct {
        std::uint32_t mask;
        std::uint32_t quality;
        const char* expected;
    } const rows[] = {
        {0x3, 0, "0 00000000 earlier"},
        {0x2, 0x40, "0 00000000 earlier"},  // no value yet: the write still counts as done
        {0x3, 0x100, "0 00000000 earlier"},
        {0x3, 0x41, "0 8BBB0006 ka_tagger_gx_Write"},
        {0x3, 0x1000, "0 8BBB0008 ka_tagger_gx_Write"},
        {0x3, 0x60, "1 8BBB0005 ka_tagger_gx_Write"},
        {0x3, 0x1000000, "1 8BBB0014 ka_tagger_gx_Write"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.quality);
        item_->mask = r.mask;
        item_->quality = r.quality;
        fake::Cluster error(false, 0, "earlier");
        const int blocks = fake::host().liveBlocks;
        ka_tagger_gx_Write(refnum_, &pointer, error.ptr());
        EXPECT_EQ(r.expected, error.str());
        ASSERT_FALSE(item_->written.empty());
        VarData sent = item_->written.back();
        EXPECT_EQ(VT_R8, sent.type());  // sent in its native kind
        sent.Convert(VT_FLEXDATA);
        EXPECT_EQ(fake::Hex(packet), fake::Hex(sent.getFlexData()));
        EXPECT_EQ(blocks, fake::host().liveBlocks);  // the host's packet was freed
    }
}

TEST_F(ReadWriteTest, WriteFailures) {
    GxVariant value;
    const ka::kor::FlexData packet(7.25);
    value.packet.assign(packet.begin(), packet.begin() + packet.getPacketSize());
    GxVariant* pointer = &value;
    item_->mask = 0x3;
    item_->quality = 0;
    const int blocks = fake::host().liveBlocks;
    {
        fake::host().varToFlexResult = mgArgErr;
        fake::host().varToFlexGivesBuffer = true;
        fake::Cluster error;
        ka_tagger_gx_Write(refnum_, &pointer, error.ptr());
        EXPECT_EQ("1 00000001 ka_tagger_gx_Write", error.str());
        fake::host().varToFlexResult = 0;
    }
    {
        item_->writeResult = VESTA_E_ACCESSDENIED;
        fake::Cluster error;
        ka_tagger_gx_Write(refnum_, &pointer, error.ptr());
        EXPECT_EQ("1 80004005 ka_tagger_gx_Write", error.str());
        item_->writeResult = S_OK;
    }
    {
        value.packet = {6, 0, 0, 0, 0x01};  // not a whole packet
        fake::Cluster error;
        ka_tagger_gx_Write(refnum_, &pointer, error.ptr());
        EXPECT_EQ("1 80004005 ka_tagger_gx_Write", error.str());
    }
    EXPECT_EQ(blocks, fake::host().liveBlocks);
    EXPECT_EQ(1u, item_->written.size());  // the refused one
}

}  // namespace
