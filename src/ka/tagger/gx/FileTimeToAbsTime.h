// The provider's time stamps (FILETIME: 100-nanosecond ticks since 1601-01-01 UTC) as the
// library's AbsTime (64.64 fixed-point seconds since 1904-01-01 UTC).
#pragma once

#include "ka/kor/AbsTime.h"
#include "vesta/VestaRealTime.h"

namespace ka {
namespace tagger {
namespace gx {

// Exactly what tSSTimeValue(ticks, kTimeUnit100Nanoseconds) moved from the 1601 epoch with
// tSSTimeAbsolute::_CorrectEpoch gives, bit for bit (the fraction truncated toward zero), for
// every 64-bit tick count; see the source for why it does not call them.
kor::AbsTime FileTimeToAbsTime(const FILETIME& time) noexcept;

}  // namespace gx
}  // namespace tagger
}  // namespace ka
