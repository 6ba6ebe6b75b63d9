// Setting the system clock.
#pragma once

#include "ka/kor/AbsTime.h"

namespace ka {
namespace kor {
namespace osdep {

// Sets the system clock to t, rounded to the nearest microsecond. Throws OutOfRange when t
// cannot be expressed as the C library's time (before 1970 cannot be set, and on a 32-bit
// time_t nothing after 2038), and PosixError (an OSException carrying errno, typically EPERM
// without the right to set the clock) when the system refuses.
void SetCurrentSystemTime(const AbsTime& t);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
