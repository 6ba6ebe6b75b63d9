// The system clock as an AbsTime.
#pragma once

#include "ka/kor/AbsTime.h"

namespace ka {
namespace kor {
namespace osdep {

// Now, to the microsecond the system clock gives.
AbsTime GetCurrentAbsTime();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
