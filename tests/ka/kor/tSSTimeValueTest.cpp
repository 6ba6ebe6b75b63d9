#include "ka/kor/tSSTimeValue.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "ka/kor/tSSTimeAbsolute.h"

namespace {

using namespace nKASS100;
typedef tSSTimeValue::Value Value;

// The status codes are part of the contract with callers outside the library.
constexpr std::int32_t kInvalid = -50003;
constexpr std::int32_t kOverflow = -50175;

TEST(tSSTimeValue, UnitsConvertToAndFromSeconds) {
    struct Case {
        tTimeUnit unit;
        Value one;  // one unit in seconds
    };
    const Case cases[] = {
        {kTimeUnitAttoseconds, Value(1) / Value(1000000000000000000)},
        {kTimeUnitFemtoseconds, Value(1) / Value(1000000000000000)},
        {kTimeUnitPicoseconds, Value(1) / Value(1000000000000)},
        {kTimeUnitNanoseconds, Value(1) / Value(1000000000)},
        {kTimeUnit100Nanoseconds, Value(1) / Value(10000000)},
        {kTimeUnitMicroseconds, Value(1) / Value(1000000)},
        {kTimeUnitMilliseconds, Value(1) / Value(1000)},
        {kTimeUnitSeconds, Value(1)},
        {kTimeUnitMinutes, Value(60)},
        {kTimeUnitHours, Value(3600)},
        {kTimeUnitDays, Value(86400)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<std::int32_t>(c.unit));
        std::int32_t status = 0;
        EXPECT_EQ(c.one, tSSTimeValue(1, c.unit, &status).getValue());
        const tSSTimeValue span(1234567, c.unit, &status);
        // Division truncates, so only rounding to nearest brings the count back.
        EXPECT_EQ(1234567, span.getI32ByUnits(c.unit, kRoundToNearest, &status));
        EXPECT_EQ(0, status);
    }
}

TEST(tSSTimeValue, FailuresLeaveTheValueAndStopLaterSteps) {
    typedef std::function<void(Value&, std::int32_t*)> Step;
    const auto units = [](tDirection direction, std::int32_t unit) -> Step {
        return [=](Value& v, std::int32_t* status) {
            tSSTimeValue::_CorrectUnits(direction, static_cast<tTimeUnit>(unit), v, status);
        };
    };
    const auto epoch = [](tDirection direction, std::int32_t epoch) -> Step {
        return [=](Value& v, std::int32_t* status) {
            tSSTimeAbsolute::_CorrectEpoch(direction, static_cast<tEpoch>(epoch), v, status);
        };
    };
    std::int64_t out = 42;
    const auto round = [&out](std::int32_t method, std::int64_t min, std::int64_t max) -> Step {
        return [=, &out](Value& v, std::int32_t* status) {
            tSSTimeValue::_RoundAndCheckFit(static_cast<tRoundMethod>(method), min, max, v, out,
                                            status);
        };
    };
    struct Case {
        Step step;
        Value value;
        std::int32_t status;
    };
    std::vector<Case> cases = {
        {units(kToBase, kTimeUnitMinutes), Value(0x40000000u, 0u, 0u, 0u), kOverflow},  // to < 0
        {units(kToBase, kTimeUnitHours), Value(0xC0000000u, 0u, 0u, 0u), kOverflow},    // from < 0
        {units(kToBase, kTimeUnitDays), Value(0x04000000u, 0u, 0u, 0u), kOverflow},  // wraps to 0
        {units(kToBase, kTimeUnitMinutes), Value(std::int64_t{INT64_MAX} / 60 + 1), kOverflow},
        {units(kFromBase, kTimeUnitAttoseconds), Value(10), kOverflow},  // 10^19 as
        {epoch(kToBase, 2000), Value(1), kInvalid},
        {epoch(kToBase, kEpoch1970), Value::Max(), kOverflow},
        {round(5, -10, 10), Value(1), kInvalid},
        {round(kRoundUp, INT64_MIN, INT64_MAX), Value::Max(), kOverflow},  // carries into the sign
        {round(kRoundDown, -10, 10), Value(-11), kOverflow},
    };
    // Unit codes between the listed steps, and outside them.
    for (std::int32_t code : {919263158, 919263160, 919263161, 919263169, 919263172, 919263178,
                              919263180, 919263182, 919263184}) {
        cases.push_back({units(kToBase, code), Value(7), kInvalid});
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        std::int32_t status = 0;
        Value v = cases[i].value;
        cases[i].step(v, &status);
        EXPECT_EQ(cases[i].status, status);
        // A failed status makes every later step do nothing.
        units(kToBase, kTimeUnitDays)(v, &status);
        epoch(kToBase, kEpoch1970)(v, &status);
        EXPECT_EQ(cases[i].value, v);
        EXPECT_EQ(cases[i].status, status);
    }
    EXPECT_EQ(42, out);
}

TEST(tSSTimeValue, RoundingMethods) {
    struct Case {
        long double value;
        std::int64_t nearest, towardZero, up, down;
    };
    const Case cases[] = {
        {2.5L, 2, 2, 3, 2},      {3.5L, 4, 3, 4, 3},    {-2.5L, -2, -2, -2, -3},
        {-3.5L, -4, -3, -3, -4}, {2.6L, 3, 2, 3, 2},    {-2.6L, -3, -2, -2, -3},
        {0.5L, 0, 0, 1, 0},      {-0.25L, 0, 0, 0, -1}, {-7.0L, -7, -7, -7, -7},
    };
    const tRoundMethod methods[] = {kRoundToNearest, kRoundTowardZero, kRoundUp, kRoundDown};
    for (const Case& c : cases) {
        const std::int64_t expected[] = {c.nearest, c.towardZero, c.up, c.down};
        for (int m = 0; m < 4; ++m) {
            SCOPED_TRACE(::testing::Message()
                         << static_cast<double>(c.value) << " by " << methods[m]);
            std::int32_t status = 0;
            std::int64_t out = 12345;
            tSSTimeValue::_RoundAndCheckFit(methods[m], -100, 100, Value(c.value), out, &status);
            EXPECT_EQ(0, status);
            EXPECT_EQ(expected[m], out);
        }
    }
    // 2^31 - 0.5: toward zero fits 32 bits; to nearest is a tie with an odd floor and does not.
    const tSSTimeValue almost(Value(std::int64_t{0x7FFFFFFF}) + Value(0u, 0u, 0x80000000u, 0u));
    std::int32_t status = 0;
    EXPECT_EQ(0x7FFFFFFF, almost.getI32ByUnits(kTimeUnitSeconds, kRoundTowardZero, &status));
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, almost.getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(kOverflow, status);
}

TEST(tSSTimeAbsolute, EpochOffsetsAndBack) {
    // Each epoch's first second counted from 1904; the current-time source counts microseconds
    // since 1970 and network time stamps 100-nanosecond ticks since 1601.
    struct Case {
        std::int64_t count;
        tTimeUnit unit;
        tEpoch epoch;
        Value since1904;
    };
    const Case cases[] = {
        {0, kTimeUnitSeconds, kEpoch1, Value(std::int64_t{-60052752000})},
        {0, kTimeUnitSeconds, kEpoch1601, Value(std::int64_t{-9561628800})},
        {0, kTimeUnitSeconds, kEpoch1904, Value()},
        {0, kTimeUnitMicroseconds, kEpoch1970, Value(0u, 2082844800u, 0u, 0u)},
        {116444736000000000, kTimeUnit100Nanoseconds, kEpoch1601, Value(0u, 2082844800u, 0u, 0u)},
        {500000, kTimeUnitMicroseconds, kEpoch1970, Value(0u, 2082844800u, 0x80000000u, 0u)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.count << " in " << c.unit << " since " << c.epoch);
        std::int32_t status = 0;
        const tSSTimeAbsolute t(c.count, c.unit, c.epoch, &status);
        EXPECT_EQ(c.since1904, t.getValue());
        EXPECT_EQ(c.count,
                  t.sinceEpoch(c.epoch, &status).getI64ByUnits(c.unit, kRoundToNearest, &status));
        EXPECT_EQ(0, status);
    }
}

}  // namespace
