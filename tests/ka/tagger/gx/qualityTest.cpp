#include "ka/tagger/gx/quality.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/tagger/gx/VestaQualityException.h"

namespace {

using namespace ka::tagger::gx;

std::string Render(std::uint32_t q) {
    return RenderQuality(q, ", ").c_str();
}

TEST(GetQualityDescription, NamesSingleBitsOnly) {
    struct {
        std::uint32_t quality;
        const char* text;
    } const rows[] = {
        {0x0, "good"},
        {0x1, "stale"},
        {0x20, "nonexistant"},  // the spelling other components match on
        {0x40, "no known value"},
        {0x2000, "engineering unit limits exceeded"},
        {0x40000, "DNS failure"},
        {0x4000000, "app defined #1"},
        {0x80000000, "reserved"},
        {0x3, ""},
        {0x80000001, ""},
        {0xFFFFFFFF, ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.quality);
        EXPECT_STREQ(r.text, GetQualityDescription(r.quality).c_str());
    }
}

TEST(RenderQuality, JoinsSetBitsFromTheLowestUp) {
    EXPECT_EQ("good", Render(0));
    EXPECT_EQ("stale, no known value", Render(0x41));
    EXPECT_EQ("reserved", Render(0x80000000));
    EXPECT_EQ("stale, reserved", Render(0x80000001));
    EXPECT_EQ("forced, in alarm", Render(0x20000100));
    EXPECT_EQ("stale|sensor failure", std::string(RenderQuality(0x3, "|").c_str()));
    // Every bit named once, in order, with nothing after the last.
    const std::string all = Render(0xFFFFFFFF);
    EXPECT_EQ(0u, all.find("stale, sensor failure, device error"));
    EXPECT_EQ(all.size() - std::string("subscription failure, reserved").size(),
              all.find("subscription failure, reserved"));
}

// The ranking, first to last, as the host expects it.
const std::uint32_t kRanked[][2] = {
    {0x00000020, 0x8BBB0005}, {0x40000000, 0x8BBB0015}, {0x00200000, 0x8BBB0011},
    {0x01000000, 0x8BBB0014}, {0x00000008, 0x8BBB0003}, {0x00000010, 0x8BBB0004},
    {0x00000004, 0x8BBB0002}, {0x00010000, 0x8BBB000C}, {0x00400000, 0x8BBB0012},
    {0x00000002, 0x8BBB0001}, {0x02000000, 0x8BBB0016}, {0x00000080, 0x8BBB0007},
    {0x00004000, 0x8BBB000A}, {0x00008000, 0x8BBB000B}, {0x00040000, 0x8BBB000E},
    {0x00080000, 0x8BBB000F}, {0x00100000, 0x8BBB0010}, {0x00800000, 0x8BBB0013},
    {0x00000040, 0x8BBB0006}, {0x00020000, 0x8BBB000D}, {0x00002000, 0x8BBB0009},
    {0x00000001, 0x8BBB0000}, {0x00001000, 0x8BBB0008},
};

TEST(VestaQualityException, HigherRankedBitWinsOverEveryLowerOne) {
    const std::size_t n = sizeof kRanked / sizeof kRanked[0];
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t lower = 0;
        for (std::size_t j = i + 1; j < n; ++j) {
            lower |= kRanked[j][0];
        }
        SCOPED_TRACE(kRanked[i][0]);
        EXPECT_EQ(kRanked[i][1], VestaQualityException(1, "f", kRanked[i][0]).getErrorCode());
        EXPECT_EQ(kRanked[i][1],
                  VestaQualityException(1, "f", kRanked[i][0] | lower | 0x20000F00).getErrorCode());
    }
    EXPECT_EQ(0x8BBB0005u, VestaQualityException(1, "f", 0x21).getErrorCode());
    EXPECT_EQ(0x8BBB0008u, VestaQualityException(1, "f", 0x1000).getErrorCode());
    EXPECT_EQ(0x8BBB0036u, VestaQualityException(1, "f", 0x100).getErrorCode());
    EXPECT_EQ(0x8BBB0036u, VestaQualityException(1, "f", 0x9C000000).getErrorCode());
    EXPECT_STREQ("Vesta quality bad", VestaQualityException(1, "f", 0x1).what());
}

// Only informational bits are good; a good quality or one of warning bits alone is a warning.
TEST(VestaQualityException, GoodWarningAndNoValueOnly) {
    struct {
        std::uint32_t quality;
        bool good, warning, noValueOnly;
    } const rows[] = {
        {0x0, true, true, false},  // nothing set
        {0x20000F00, true, true, false},
        {0x41, false, true, false},
        {0x00023041, false, true, false},
        {0x40, false, true, true},
        {0x43, false, false, false},
        {0x140, false, false, false},
        {0x00023042, false, false, false},
        {0x20000040, false, false, false},  // an informational bit beside a warning
        {0x20000F01, false, false, false},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.quality);
        EXPECT_EQ(r.good, QualityIsGood(r.quality));
        const VestaQualityException e(1, "f", r.quality);
        EXPECT_EQ(r.warning, e.warning());
        EXPECT_EQ(r.noValueOnly, e.noValueOnlyProblem());
    }
}

}  // namespace
