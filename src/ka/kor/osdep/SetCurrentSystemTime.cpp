#include "ka/kor/osdep/SetCurrentSystemTime.h"

#include <sys/time.h>

#include <cstdint>
#include <limits>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/tSSTimeAbsolute.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/SetCurrentSystemTime";
}

void SetCurrentSystemTime(const AbsTime& t) {
    std::int32_t status = 0;
    const std::int64_t microseconds =
        nKASS100::tSSTimeAbsolute(t.value())
            .sinceEpoch(nKASS100::kEpoch1970, &status)
            .getI64ByUnits(nKASS100::kTimeUnitMicroseconds, nKASS100::kRoundToNearest, &status);
    const std::int64_t seconds = microseconds / 1000000;
    if (status < 0 || microseconds < 0 ||
        seconds > static_cast<std::int64_t>(std::numeric_limits<time_t>::max())) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    timeval tv;
    tv.tv_sec = static_cast<time_t>(seconds);
    tv.tv_usec = static_cast<suseconds_t>(microseconds % 1000000);
    if (::settimeofday(&tv, nullptr) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "settimeofday");
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
