#include "ka/kor/tSSTimeValue.h"

namespace nKASS100 {

namespace {

typedef tSSTimeValue::Value Value;

bool HasFailed(const std::int32_t* status) noexcept {
    return status != nullptr && *status < 0;
}

void Report(std::int32_t* status, std::int32_t code) noexcept {
    if (status != nullptr) {
        *status = code;
    }
}

// How a count of unit becomes seconds: multiply by factor (+1), divide by it (-1) or neither.
bool LookUpUnit(tTimeUnit unit, std::int64_t& factor, int& toSeconds) noexcept {
    switch (unit) {
        case kTimeUnitAttoseconds:
            factor = 1000000000000000000;
            toSeconds = -1;
            return true;
        case kTimeUnitFemtoseconds:
            factor = 1000000000000000;
            toSeconds = -1;
            return true;
        case kTimeUnitPicoseconds:
            factor = 1000000000000;
            toSeconds = -1;
            return true;
        case kTimeUnitNanoseconds:
            factor = 1000000000;
            toSeconds = -1;
            return true;
        case kTimeUnit100Nanoseconds:
            factor = 10000000;
            toSeconds = -1;
            return true;
        case kTimeUnitMicroseconds:
            factor = 1000000;
            toSeconds = -1;
            return true;
        case kTimeUnitMilliseconds:
            factor = 1000;
            toSeconds = -1;
            return true;
        case kTimeUnitSeconds:
            factor = 1;
            toSeconds = 0;
            return true;
        case kTimeUnitMinutes:
            factor = 60;
            toSeconds = 1;
            return true;
        case kTimeUnitHours:
            factor = 3600;
            toSeconds = 1;
            return true;
        case kTimeUnitDays:
            factor = 86400;
            toSeconds = 1;
            return true;
    }
    return false;
}

// The whole part of a value without fraction bits.
std::int64_t WholePart(const Value& v) noexcept {
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(v.GetWord(3)) << 32) |
                                     v.GetWord(2));
}

}  // namespace

tSSTimeValue::tSSTimeValue(std::int64_t count, tTimeUnit unit, std::int32_t* status) noexcept
    : value_() {
    std::int32_t local = status != nullptr ? *status : 0;
    Value v(count);
    _CorrectUnits(kToBase, unit, v, &local);
    if (local < 0) {
        Report(status, local);
        return;
    }
    value_ = v;
}

std::int64_t tSSTimeValue::getI64ByUnits(tTimeUnit unit, tRoundMethod method,
                                         std::int32_t* status) const noexcept {
    std::int32_t local = status != nullptr ? *status : 0;
    Value v = value_;
    std::int64_t out = 0;
    _CorrectUnits(kFromBase, unit, v, &local);
    _RoundAndCheckFit(method, INT64_MIN, INT64_MAX, v, out, &local);
    if (local < 0) {
        Report(status, local);
        return 0;
    }
    return out;
}

std::int32_t tSSTimeValue::getI32ByUnits(tTimeUnit unit, tRoundMethod method,
                                         std::int32_t* status) const noexcept {
    std::int32_t local = status != nullptr ? *status : 0;
    Value v = value_;
    std::int64_t out = 0;
    _CorrectUnits(kFromBase, unit, v, &local);
    _RoundAndCheckFit(method, INT32_MIN, INT32_MAX, v, out, &local);
    if (local < 0) {
        Report(status, local);
        return 0;
    }
    return static_cast<std::int32_t>(out);
}

void tSSTimeValue::_CorrectUnits(tDirection direction, tTimeUnit unit, Value& value,
                                 std::int32_t* status) noexcept {
    if (HasFailed(status)) {
        return;
    }
    std::int64_t factor = 1;
    int toSeconds = 0;
    if (!LookUpUnit(unit, factor, toSeconds) || (direction != kToBase && direction != kFromBase)) {
        Report(status, kStatusInvalidValue);
        return;
    }
    const int operation = direction == kToBase ? toSeconds : -toSeconds;
    const Value f(factor);
    if (operation < 0) {
        value /= f;
    } else if (operation > 0) {
        const Value product = value * f;
        // An overflow shows as a sign change; one that wrapped all the way round does not, so
        // the product is also divided back (exact, the factor being whole).
        if (product.IsNegative() != value.IsNegative() || product / f != value) {
            Report(status, kStatusOverflow);
            return;
        }
        value = product;
    }
}

void tSSTimeValue::_RoundAndCheckFit(tRoundMethod method, std::int64_t min, std::int64_t max,
                                     const Value& value, std::int64_t& out,
                                     std::int32_t* status) noexcept {
    if (HasFailed(status)) {
        return;
    }
    const Value fraction = value & Value(0u, 0u, 0xFFFFFFFFu, 0xFFFFFFFFu);
    const Value floor = value - fraction;
    bool up = false;
    switch (method) {
        case kRoundToNearest: {
            // The floor is the integer part in two's complement, so "odd floor rounds up on a
            // tie" gives ties to even for both signs.
            const Value half(0u, 0u, 0x80000000u, 0u);
            up = fraction > half || (fraction == half && floor.IsOdd());
            break;
        }
        case kRoundTowardZero:
            up = value.IsNegative() && fraction != 0;
            break;
        case kRoundUp:
            up = fraction != 0;
            break;
        case kRoundDown:
            up = false;
            break;
        default:
            Report(status, kStatusInvalidValue);
            return;
    }
    Value rounded = floor;
    if (up) {
        rounded += Value(1);
        if (rounded.IsNegative() && !value.IsNegative()) {
            Report(status, kStatusOverflow);  // carried past the largest whole number
            return;
        }
    }
    const std::int64_t whole = WholePart(rounded);
    if (whole < min || whole > max) {
        Report(status, kStatusOverflow);
        return;
    }
    out = whole;
}

}  // namespace nKASS100
