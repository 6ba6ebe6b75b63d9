// Setting the system clock.
#pragma once

#include "ka/kor/AbsTime.h"

namespace ka {
namespace kor {
namespace osdep {

// Sets the system clock to t, rounded to the nearest microsecond. Every failure is a PosixError
// (an OSException carrying errno): the system's refusal as settimeofday reports it, EPERM
// without the right to set the clock and EINVAL for a time before 1970, which is passed on like
// any other. A time that the C library's time_t cannot hold (on a 32-bit time_t anything after
// 2038 or before 1902) never reaches the call and is reported as EOVERFLOW.
void SetCurrentSystemTime(const AbsTime& t);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
