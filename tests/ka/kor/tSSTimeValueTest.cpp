#include "ka/kor/tSSTimeValue.h"

#include <gtest/gtest.h>

#include "ka/kor/tSSTimeAbsolute.h"

namespace {

using namespace nKASS100;
typedef tSSTimeValue::Value Value;

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
    std::int32_t status = 0;
    EXPECT_EQ(1234566, tSSTimeValue(1234567, kTimeUnitMilliseconds, &status)
                           .getI32ByUnits(kTimeUnitMilliseconds, kRoundTowardZero, &status));
}

TEST(tSSTimeValue, InvalidCodesAndOverflow) {
    // Codes between the listed steps, and outside them.
    for (std::int32_t code : {919263158, 919263160, 919263161, 919263169, 919263172, 919263178,
                              919263180, 919263182, 919263184}) {
        SCOPED_TRACE(code);
        std::int32_t status = 0;
        Value v(7);
        tSSTimeValue::_CorrectUnits(kToBase, static_cast<tTimeUnit>(code), v, &status);
        EXPECT_EQ(kStatusInvalidValue, status);
        EXPECT_EQ(Value(7), v);
    }
    struct Case {
        Value value;
        tDirection direction;
        tTimeUnit unit;
    };
    const Case overflows[] = {
        {Value(0x40000000u, 0u, 0u, 0u), kToBase, kTimeUnitMinutes},  // sign change
        {Value(0xC0000000u, 0u, 0u, 0u), kToBase, kTimeUnitHours},    // from negative
        {Value(0x04000000u, 0u, 0u, 0u), kToBase, kTimeUnitDays},     // wraps to zero
        {Value(std::int64_t{INT64_MAX} / 60 + 1), kToBase, kTimeUnitMinutes},
        {Value(10), kFromBase, kTimeUnitAttoseconds},  // 10^19 as
    };
    for (const Case& c : overflows) {
        SCOPED_TRACE(static_cast<double>(c.value));
        std::int32_t status = 0;
        Value v = c.value;
        tSSTimeValue::_CorrectUnits(c.direction, c.unit, v, &status);
        EXPECT_EQ(kStatusOverflow, status);
        EXPECT_EQ(c.value, v);
    }
    std::int32_t status = 0;
    Value v(9);
    tSSTimeValue::_CorrectUnits(kFromBase, kTimeUnitAttoseconds, v, &status);
    EXPECT_EQ(Value(std::int64_t{9000000000000000000}), v);
    EXPECT_EQ(0, status);

    // A failed status makes every later step do nothing.
    status = kStatusOverflow;
    v = Value(5);
    tSSTimeValue::_CorrectUnits(kToBase, kTimeUnitDays, v, &status);
    tSSTimeAbsolute::_CorrectEpoch(kToBase, kEpoch1970, v, &status);
    EXPECT_EQ(Value(5), v);
    EXPECT_EQ(kStatusOverflow, status);
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
}

TEST(tSSTimeValue, RoundingChecksMethodAndFit) {
    std::int32_t status = 0;
    std::int64_t out = 42;
    tSSTimeValue::_RoundAndCheckFit(static_cast<tRoundMethod>(5), -10, 10, Value(1), out, &status);
    EXPECT_EQ(kStatusInvalidValue, status);
    // Rounding the largest value up carries into the sign.
    status = 0;
    tSSTimeValue::_RoundAndCheckFit(kRoundUp, INT64_MIN, INT64_MAX, Value::Max(), out, &status);
    EXPECT_EQ(kStatusOverflow, status);
    EXPECT_EQ(42, out);

    // 2^31 - 0.5: toward zero fits 32 bits; to nearest is a tie with an odd floor and does not.
    const tSSTimeValue almost(Value(std::int64_t{0x7FFFFFFF}) + Value(0u, 0u, 0x80000000u, 0u));
    status = 0;
    EXPECT_EQ(0x7FFFFFFF, almost.getI32ByUnits(kTimeUnitSeconds, kRoundTowardZero, &status));
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, almost.getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(kStatusOverflow, status);
    status = 0;
    EXPECT_EQ(0, tSSTimeValue(Value(std::int64_t{INT32_MIN} - 1))
                     .getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(kStatusOverflow, status);
}

TEST(tSSTimeAbsolute, EpochOffsets) {
    struct Case {
        tEpoch epoch;
        std::int64_t start;  // the epoch's first second, counted from 1904
    };
    const Case cases[] = {{kEpoch1, -60052752000},
                          {kEpoch1601, -9561628800},
                          {kEpoch1904, 0},
                          {kEpoch1970, 2082844800}};
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.epoch));
        std::int32_t status = 0;
        const tSSTimeAbsolute start(0, kTimeUnitSeconds, c.epoch, &status);
        EXPECT_EQ(Value(c.start), start.getValue());
        EXPECT_EQ(Value(), start.sinceEpoch(c.epoch, &status).getValue());
        EXPECT_EQ(0, status);
    }
    // The current-time source counts microseconds since 1970; network time stamps count
    // 100-nanosecond ticks since 1601. Both zeroes of 1970 give 2082844800 and no fraction.
    std::int32_t status = 0;
    const Value unixZero =
        tSSTimeAbsolute(0, kTimeUnitMicroseconds, kEpoch1970, &status).getValue();
    EXPECT_EQ(Value(0u, 2082844800u, 0u, 0u), unixZero);
    EXPECT_EQ(unixZero,
              tSSTimeAbsolute(116444736000000000, kTimeUnit100Nanoseconds, kEpoch1601, &status)
                  .getValue());
    EXPECT_EQ(Value(0u, 2082844800u, 0x80000000u, 0u),
              tSSTimeAbsolute(500000, kTimeUnitMicroseconds, kEpoch1970, &status).getValue());
    EXPECT_EQ(0, status);
}

TEST(tSSTimeAbsolute, BadEpochAndOverflow) {
    std::int32_t status = 0;
    Value v(1);
    tSSTimeAbsolute::_CorrectEpoch(kToBase, static_cast<tEpoch>(2000), v, &status);
    EXPECT_EQ(kStatusInvalidValue, status);
    EXPECT_EQ(Value(1), v);
    status = 0;
    v = Value::Max();
    tSSTimeAbsolute::_CorrectEpoch(kToBase, kEpoch1970, v, &status);
    EXPECT_EQ(kStatusOverflow, status);
    EXPECT_EQ(Value::Max(), v);
    status = 0;
    v = Value::Min();
    tSSTimeAbsolute::_CorrectEpoch(kFromBase, kEpoch1601, v, &status);
    EXPECT_EQ(0, status);
}

}  // namespace
