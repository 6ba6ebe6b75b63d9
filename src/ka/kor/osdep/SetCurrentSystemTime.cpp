#include "ka/kor/osdep/SetCurrentSystemTime.h"

#include <sys/time.h>

#include <cerrno>
#include <cstdint>
#include <limits>

#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/tSSTimeAbsolute.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/SetCurrentSystemTime";
constexpr std::int64_t kMicrosecondsPerSecond = 1000000;
}  // namespace

void SetCurrentSystemTime(const AbsTime& t) {
    std::int32_t status = 0;
    const std::int64_t microseconds =
        nKASS100::tSSTimeAbsolute(t.value())
            .sinceEpoch(nKASS100::kEpoch1970, &status)
            .getI64ByUnits(nKASS100::kTimeUnitMicroseconds, nKASS100::kRoundToNearest, &status);
    // Rounded down, so that a time before 1970 still has its microseconds in [0, 1000000).
    std::int64_t seconds = microseconds / kMicrosecondsPerSecond;
    std::int64_t rest = microseconds % kMicrosecondsPerSecond;
    if (rest < 0) {
        rest += kMicrosecondsPerSecond;
        --seconds;
    }
    if (status < 0 || seconds < static_cast<std::int64_t>(std::numeric_limits<time_t>::min()) ||
        seconds > static_cast<std::int64_t>(std::numeric_limits<time_t>::max())) {
        // The errno the C library itself gives for a time too large for its types.
        errno = EOVERFLOW;
        throw PosixError::FromCall(__LINE__, kSourceFile, "settimeofday");
    }
    timeval tv;
    tv.tv_sec = static_cast<time_t>(seconds);
    tv.tv_usec = static_cast<suseconds_t>(rest);
    if (::settimeofday(&tv, nullptr) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "settimeofday");
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
