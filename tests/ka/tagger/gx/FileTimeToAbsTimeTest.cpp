#include "ka/tagger/gx/FileTimeToAbsTime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "ka/kor/tSSTimeAbsolute.h"
#include "ka/kor/tSSTimeValue.h"

namespace {

using ka::kor::AbsTime;

// The general conversion the fast one must match bit for bit.
AbsTime Reference(std::int64_t ticks) {
    std::int32_t status = 0;
    const nKASS100::tSSTimeValue since1601(ticks, nKASS100::kTimeUnit100Nanoseconds, &status);
    nKASS100::tSSTimeValue::Value value = since1601.getValue();
    nKASS100::tSSTimeAbsolute::_CorrectEpoch(nKASS100::kToBase, nKASS100::kEpoch1601, value,
                                             &status);
    EXPECT_EQ(0, status);
    return AbsTime(value);
}

TEST(FileTimeToAbsTime, MatchesTheGeneralConversion) {
    const std::int64_t k1904 = 95616288000000000LL;
    EXPECT_EQ(AbsTime(), ka::tagger::gx::FileTimeToAbsTime(FILETIME{k1904}));
    EXPECT_EQ(AbsTime(0, 1, 0x80000000u, 0),
              ka::tagger::gx::FileTimeToAbsTime(FILETIME{k1904 + 15000000}));
    const std::int64_t edges[] = {0,         1,         -1,           9999999,   10000000,
                                  -9999999,  -10000000, -10000001,    k1904 - 1, k1904 + 1,
                                  INT64_MAX, INT64_MIN, INT64_MIN + 1};
    for (std::int64_t ticks : edges) {
        SCOPED_TRACE(ticks);
        EXPECT_EQ(Reference(ticks), ka::tagger::gx::FileTimeToAbsTime(FILETIME{ticks}));
    }
    std::mt19937_64 random(20240501);
    for (int i = 0; i < 20000; ++i) {
        const std::int64_t ticks = static_cast<std::int64_t>(random()) >> (random() % 40);
        SCOPED_TRACE(ticks);
        ASSERT_EQ(Reference(ticks), ka::tagger::gx::FileTimeToAbsTime(FILETIME{ticks}));
    }
}

}  // namespace
