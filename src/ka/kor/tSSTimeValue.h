// A span of time held as 64.64 fixed-point seconds, with the conversions between time units and
// the rounding to whole counts that time stamps need on their way to and from other clocks.
//
// Failures are reported through a status word instead of exceptions: kStatusInvalidValue for an
// unknown unit, epoch, round method or direction, kStatusOverflow for a result out of range.
// A status pointer may be null. Operations never clear a status; an operation given a status
// that already holds a failure (a negative value) does nothing, so a chain of conversions needs
// one check at its end. On failure the value operated on is left as it was.
#pragma once

#include <cstdint>

#include "ka/kor/tFixedPoint128.h"

namespace nKASS100 {

constexpr std::int32_t kStatusInvalidValue = -50003;
constexpr std::int32_t kStatusOverflow = -50175;

// Consecutive codes from 919263159; the codes between the listed ones are invalid.
enum tTimeUnit : std::int32_t {
    kTimeUnitAttoseconds = 919263159,
    kTimeUnitFemtoseconds = 919263159 + 3,
    kTimeUnitPicoseconds = 919263159 + 6,
    kTimeUnitNanoseconds = 919263159 + 9,
    kTimeUnit100Nanoseconds = 919263159 + 11,
    kTimeUnitMicroseconds = 919263159 + 12,
    kTimeUnitMilliseconds = 919263159 + 15,
    kTimeUnitSeconds = 919263159 + 18,
    kTimeUnitMinutes = 919263159 + 20,
    kTimeUnitHours = 919263159 + 22,
    kTimeUnitDays = 919263159 + 24,
};

enum tRoundMethod : std::int32_t {
    kRoundToNearest = 1,  // ties to even
    kRoundTowardZero = 2,
    kRoundUp = 3,    // toward +inf
    kRoundDown = 4,  // toward -inf
};

// Direction of a unit or epoch correction: toward the base (seconds, or the 1904 epoch) or away
// from it.
enum tDirection : std::int32_t {
    kToBase = 1,
    kFromBase = 2,
};

class tSSTimeValue {
  public:
    typedef tFixedPoint128<64, true> Value;

    // Zero seconds.
    tSSTimeValue() noexcept : value_() {}
    explicit tSSTimeValue(const Value& seconds) noexcept : value_(seconds) {}
    // count units; on failure the value is zero and *status says why.
    tSSTimeValue(std::int64_t count, tTimeUnit unit, std::int32_t* status) noexcept;

    // The span in seconds.
    const Value& getValue() const noexcept { return value_; }

    // The span expressed in unit, rounded by method, as a 32-bit (or 64-bit) count; 0 with
    // kStatusOverflow when it does not fit, 0 with kStatusInvalidValue for a bad unit or method.
    std::int32_t getI32ByUnits(tTimeUnit unit, tRoundMethod method,
                               std::int32_t* status) const noexcept;
    std::int64_t getI64ByUnits(tTimeUnit unit, tRoundMethod method,
                               std::int32_t* status) const noexcept;

    // Converts value between unit and seconds: kToBase takes a count of units to seconds,
    // kFromBase seconds to units. Multiplications that overflow (they show as a sign change)
    // give kStatusOverflow; divisions are exact fixed-point divisions, truncated toward zero.
    static void _CorrectUnits(tDirection direction, tTimeUnit unit, Value& value,
                              std::int32_t* status) noexcept;

    // Rounds value to a whole number by method and stores it in out when it lies in
    // [min, max]; kStatusOverflow when rounding carries past the largest value or the result is
    // out of bounds, kStatusInvalidValue for an unknown method. out is left alone on failure.
    static void _RoundAndCheckFit(tRoundMethod method, std::int64_t min, std::int64_t max,
                                  const Value& value, std::int64_t& out,
                                  std::int32_t* status) noexcept;

  protected:
    Value value_;
};

}  // namespace nKASS100
