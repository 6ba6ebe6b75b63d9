// The time zone the process's local time is in now.
#pragma once

#include "ka/kor/TimeZone.h"

namespace ka {
namespace kor {
namespace osdep {

// The zone's current abbreviation (for example "CET" or "CEST", converted from the locale's
// narrow encoding) and its offset east of UTC in whole minutes at this moment, daylight saving
// included. Follows TZ as the C library reads it. Throws PosixError when the C library cannot
// break down the current time.
TimeZone GetCurrentTimeZone();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
