// A point in time as 64.64 fixed-point seconds since 1904-01-01 00:00:00 UTC (the base epoch of
// AbsTime), with the moves between that base and the other epochs clocks count from. Status
// words work as for tSSTimeValue.
#pragma once

#include <cstdint>

#include "ka/kor/tSSTimeValue.h"

namespace nKASS100 {

// Epochs by their year, each at January 1, 00:00:00 UTC.
enum tEpoch : std::int32_t {
    kEpoch1 = 1,
    kEpoch1601 = 1601,
    kEpoch1904 = 1904,
    kEpoch1970 = 1970,
};

class tSSTimeAbsolute : public tSSTimeValue {
  public:
    // The base epoch itself.
    tSSTimeAbsolute() noexcept = default;
    explicit tSSTimeAbsolute(const Value& secondsSince1904) noexcept
        : tSSTimeValue(secondsSince1904) {}
    // count units since epoch (for example 100-nanosecond ticks since 1601); on failure the
    // value is zero and *status says why.
    tSSTimeAbsolute(std::int64_t count, tTimeUnit unit, tEpoch epoch,
                    std::int32_t* status) noexcept;

    // Seconds since epoch.
    tSSTimeValue sinceEpoch(tEpoch epoch, std::int32_t* status) const noexcept;

    // Moves value, in seconds, between epoch and the base: kToBase turns seconds since epoch into
    // seconds since 1904, kFromBase the reverse. kStatusInvalidValue for an unknown epoch,
    // kStatusOverflow when the result leaves the range.
    static void _CorrectEpoch(tDirection direction, tEpoch epoch, Value& value,
                              std::int32_t* status) noexcept;
};

}  // namespace nKASS100
