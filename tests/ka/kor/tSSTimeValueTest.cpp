#include "ka/kor/tSSTimeValue.h"

#include <gtest/gtest.h>

#include "ka/kor/tSSTimeAbsolute.h"

namespace {

using namespace nKASS100;
typedef tSSTimeValue::Value Value;

TEST(tSSTimeValue, UnitsConvertToAndFromSeconds) {
    struct Case {
        tTimeUnit unit;
        std::int64_t perSecond;  // units per second, or 0 when the unit is whole seconds
        std::int64_t seconds;    // seconds per unit for the larger units
    };
    const Case cases[] = {
        {kTimeUnitAttoseconds, 1000000000000000000, 0},
        {kTimeUnitFemtoseconds, 1000000000000000, 0},
        {kTimeUnitPicoseconds, 1000000000000, 0},
        {kTimeUnitNanoseconds, 1000000000, 0},
        {kTimeUnit100Nanoseconds, 10000000, 0},
        {kTimeUnitMicroseconds, 1000000, 0},
        {kTimeUnitMilliseconds, 1000, 0},
        {kTimeUnitSeconds, 0, 1},
        {kTimeUnitMinutes, 0, 60},
        {kTimeUnitHours, 0, 3600},
        {kTimeUnitDays, 0, 86400},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<std::int32_t>(c.unit));
        std::int32_t status = 0;
        const tSSTimeValue span(1234567, c.unit, &status);
        EXPECT_EQ(0, status);
        const Value expected = c.perSecond != 0 ? Value(1234567) / Value(c.perSecond)
                                                : Value(1234567) * Value(c.seconds);
        EXPECT_EQ(expected, span.getValue());
        // Division truncates, so only rounding to nearest brings the count back.
        EXPECT_EQ(1234567, span.getI64ByUnits(c.unit, kRoundToNearest, &status));
        EXPECT_EQ(1234567, span.getI32ByUnits(c.unit, kRoundToNearest, &status));
        EXPECT_EQ(0, status);
    }
    std::int32_t status = 0;
    EXPECT_EQ(1234566, tSSTimeValue(1234567, kTimeUnitMilliseconds, &status)
                           .getI32ByUnits(kTimeUnitMilliseconds, kRoundTowardZero, &status));
    EXPECT_EQ(90, tSSTimeValue(Value(5400)).getI32ByUnits(kTimeUnitMinutes, kRoundDown, &status));
    EXPECT_EQ(0, status);
}

TEST(tSSTimeValue, CodesBetweenUnitsAreInvalid) {
    const std::int32_t invalid[] = {919263158, 919263160, 919263161, 919263163,
                                    919263169, 919263172, 919263178, 919263180,
                                    919263182, 919263184, 0};
    for (std::int32_t code : invalid) {
        SCOPED_TRACE(code);
        std::int32_t status = 0;
        Value v(7);
        tSSTimeValue::_CorrectUnits(kToBase, static_cast<tTimeUnit>(code), v, &status);
        EXPECT_EQ(kStatusInvalidValue, status);
        EXPECT_EQ(Value(7), v);
        status = 0;
        EXPECT_EQ(0, tSSTimeValue(Value(7)).getI32ByUnits(static_cast<tTimeUnit>(code),
                                                          kRoundToNearest, &status));
        EXPECT_EQ(kStatusInvalidValue, status);
    }
    std::int32_t status = 0;
    Value v(7);
    tSSTimeValue::_CorrectUnits(static_cast<tDirection>(3), kTimeUnitDays, v, &status);
    EXPECT_EQ(kStatusInvalidValue, status);
}

TEST(tSSTimeValue, MultiplicationOverflowIsReported) {
    struct Case {
        Value value;
        tTimeUnit unit;
    };
    const Case cases[] = {
        {Value(0x40000000u, 0u, 0u, 0u), kTimeUnitMinutes},           // sign change
        {Value(0xC0000000u, 0u, 0u, 0u), kTimeUnitHours},             // negative too
        {Value(0x04000000u, 0u, 0u, 0u), kTimeUnitDays},              // wraps to zero
        {Value(std::int64_t{INT64_MAX} / 60 + 1), kTimeUnitMinutes},  // just past
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.value));
        std::int32_t status = 0;
        Value v = c.value;
        tSSTimeValue::_CorrectUnits(kToBase, c.unit, v, &status);
        EXPECT_EQ(kStatusOverflow, status);
        EXPECT_EQ(c.value, v);
    }
    std::int32_t status = 0;
    Value v(std::int64_t{INT64_MAX} / 60);
    tSSTimeValue::_CorrectUnits(kToBase, kTimeUnitMinutes, v, &status);
    EXPECT_EQ(0, status);
    // From seconds to attoseconds multiplies by 10^18: 9 s fit the whole part, 10 s do not.
    v = Value(9);
    tSSTimeValue::_CorrectUnits(kFromBase, kTimeUnitAttoseconds, v, &status);
    EXPECT_EQ(0, status);
    EXPECT_EQ(Value(std::int64_t{9000000000000000000}), v);
    v = Value(10);
    tSSTimeValue::_CorrectUnits(kFromBase, kTimeUnitAttoseconds, v, &status);
    EXPECT_EQ(kStatusOverflow, status);
}

TEST(tSSTimeValue, AFailedStatusStopsTheChain) {
    std::int32_t status = kStatusOverflow;
    Value v(5);
    tSSTimeValue::_CorrectUnits(kToBase, kTimeUnitDays, v, &status);
    tSSTimeAbsolute::_CorrectEpoch(kToBase, kEpoch1970, v, &status);
    std::int64_t out = 99;
    tSSTimeValue::_RoundAndCheckFit(kRoundDown, 0, 10, v, out, &status);
    EXPECT_EQ(Value(5), v);
    EXPECT_EQ(99, out);
    EXPECT_EQ(kStatusOverflow, status);
    EXPECT_EQ(Value(), tSSTimeValue(5, kTimeUnitDays, &status).getValue());
    // A null status is allowed; failures then go unreported.
    EXPECT_EQ(0,
              tSSTimeValue(Value(5)).getI32ByUnits(static_cast<tTimeUnit>(1), kRoundUp, nullptr));
}

TEST(tSSTimeValue, RoundingMethods) {
    struct Case {
        long double value;
        std::int64_t nearest, towardZero, up, down;
    };
    const Case cases[] = {
        {2.5L, 2, 2, 3, 2},      {3.5L, 4, 3, 4, 3}, {-2.5L, -2, -2, -2, -3},
        {-3.5L, -4, -3, -3, -4}, {2.4L, 2, 2, 3, 2}, {2.6L, 3, 2, 3, 2},
        {-2.6L, -3, -2, -2, -3}, {0.5L, 0, 0, 1, 0}, {-0.5L, 0, 0, 0, -1},
        {-0.25L, 0, 0, 0, -1},   {7.0L, 7, 7, 7, 7}, {-7.0L, -7, -7, -7, -7},
    };
    const tRoundMethod methods[] = {kRoundToNearest, kRoundTowardZero, kRoundUp, kRoundDown};
    for (const Case& c : cases) {
        const std::int64_t expected[] = {c.nearest, c.towardZero, c.up, c.down};
        for (int m = 0; m < 4; ++m) {
            SCOPED_TRACE(::testing::Message()
                         << static_cast<double>(c.value) << " method " << methods[m]);
            std::int32_t status = 0;
            std::int64_t out = 12345;
            tSSTimeValue::_RoundAndCheckFit(methods[m], -100, 100, Value(c.value), out, &status);
            EXPECT_EQ(0, status);
            EXPECT_EQ(expected[m], out);
        }
    }
    // 1 - 2^-64 is not a tie.
    std::int64_t out = 0;
    std::int32_t status = 0;
    tSSTimeValue::_RoundAndCheckFit(kRoundToNearest, -100, 100, Value(0u, 0u, 0x80000000u, 1u), out,
                                    &status);
    EXPECT_EQ(1, out);
}

TEST(tSSTimeValue, RoundingChecksFitAndMethod) {
    std::int32_t status = 0;
    std::int64_t out = 42;
    tSSTimeValue::_RoundAndCheckFit(static_cast<tRoundMethod>(5), -10, 10, Value(1), out, &status);
    EXPECT_EQ(kStatusInvalidValue, status);
    EXPECT_EQ(42, out);

    // Rounding up the largest value carries into the sign.
    status = 0;
    tSSTimeValue::_RoundAndCheckFit(kRoundUp, INT64_MIN, INT64_MAX, Value::Max(), out, &status);
    EXPECT_EQ(kStatusOverflow, status);
    EXPECT_EQ(42, out);
    status = 0;
    tSSTimeValue::_RoundAndCheckFit(kRoundDown, INT64_MIN, INT64_MAX, Value::Max(), out, &status);
    EXPECT_EQ(0, status);
    EXPECT_EQ(INT64_MAX, out);

    // The 32-bit bounds: 2^31 - 0.5 is a tie whose floor is odd.
    const Value almost = Value(std::int64_t{0x7FFFFFFF}) + Value(0u, 0u, 0x80000000u, 0u);
    status = 0;
    EXPECT_EQ(0x7FFFFFFF,
              tSSTimeValue(almost).getI32ByUnits(kTimeUnitSeconds, kRoundTowardZero, &status));
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, tSSTimeValue(almost).getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(kStatusOverflow, status);
    status = 0;
    EXPECT_EQ(INT32_MIN, tSSTimeValue(Value(std::int64_t{INT32_MIN}))
                             .getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(0, tSSTimeValue(Value(std::int64_t{INT32_MIN} - 1))
                     .getI32ByUnits(kTimeUnitSeconds, kRoundToNearest, &status));
    EXPECT_EQ(kStatusOverflow, status);
}

TEST(tSSTimeAbsolute, EpochsMoveByTheirOffsets) {
    struct Case {
        tEpoch epoch;
        std::int64_t secondsSince1904AtEpochStart;
    };
    const Case cases[] = {
        {kEpoch1, -60052752000},
        {kEpoch1601, -9561628800},
        {kEpoch1904, 0},
        {kEpoch1970, 2082844800},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.epoch));
        std::int32_t status = 0;
        const tSSTimeAbsolute start(0, kTimeUnitSeconds, c.epoch, &status);
        EXPECT_EQ(Value(c.secondsSince1904AtEpochStart), start.getValue());
        EXPECT_EQ(Value(), start.sinceEpoch(c.epoch, &status).getValue());
        EXPECT_EQ(0, status);
    }
}

TEST(tSSTimeAbsolute, UnixAndFileTimeZeroesLandOn1970) {
    std::int32_t status = 0;
    // The current-time source counts microseconds since 1970.
    const tSSTimeAbsolute unixZero(0, kTimeUnitMicroseconds, kEpoch1970, &status);
    EXPECT_EQ(Value(0u, 2082844800u, 0u, 0u), unixZero.getValue());
    // Network time stamps count 100-nanosecond ticks since 1601.
    const tSSTimeAbsolute fileTime(116444736000000000, kTimeUnit100Nanoseconds, kEpoch1601,
                                   &status);
    EXPECT_EQ(unixZero.getValue(), fileTime.getValue());
    // Half a second past.
    const tSSTimeAbsolute half(500000, kTimeUnitMicroseconds, kEpoch1970, &status);
    EXPECT_EQ(Value(0u, 2082844800u, 0x80000000u, 0u), half.getValue());
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
    tSSTimeAbsolute::_CorrectEpoch(kToBase, kEpoch1601, v, &status);
    EXPECT_EQ(kStatusOverflow, status);
    status = 0;
    tSSTimeAbsolute::_CorrectEpoch(kFromBase, kEpoch1601, v, &status);
    EXPECT_EQ(0, status);
}

}  // namespace
