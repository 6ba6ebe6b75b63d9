// Calendar break-down of time stamps through the C library. gmtime and localtime share static
// storage, so every break-down in the process runs inside one critical section and copies its
// result out before leaving it.
#pragma once

#include <ctime>

#include "ka/kor/AbsTime.h"

namespace ka {
namespace kor {
namespace osdep {

// Fills fields with t in UTC, whole seconds rounded to nearest (ties to even) when
// roundToNearest is set, else toward zero. The seconds since 1970 must fit 32 signed bits (the
// C library's time_t on i386); otherwise, or when the C library cannot break the time down,
// throws OutOfRange. fields is unchanged on failure.
void AbsTimeToUTCDateTime(const AbsTime& t, std::tm& fields, bool roundToNearest);
// The same in the local time zone (TZ as the C library reads it).
void AbsTimeToLocalDateTime(const AbsTime& t, std::tm& fields, bool roundToNearest);

// The range every build can break down: 1970-01-01 00:00:00 UTC and 0x7FFFFFFF seconds after
// it (2038-01-19 03:14:07 UTC). Times before 1970 down to -2^31 seconds are broken down too
// where the C library allows it, as glibc does.
const AbsTime& GetMinTime_T();
const AbsTime& GetMaxTime_T();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
