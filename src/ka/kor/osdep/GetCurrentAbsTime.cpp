#include "ka/kor/osdep/GetCurrentAbsTime.h"

#include <sys/time.h>

#include <cstdint>

#include "ka/kor/exception.h"
#include "ka/kor/tSSTimeAbsolute.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/GetCurrentAbsTime";
}

AbsTime GetCurrentAbsTime() {
    timeval now;
    ::gettimeofday(&now, nullptr);
    const std::int64_t microseconds =
        static_cast<std::int64_t>(now.tv_sec) * 1000000 + static_cast<std::int64_t>(now.tv_usec);
    std::int32_t status = 0;
    const nKASS100::tSSTimeAbsolute t(microseconds, nKASS100::kTimeUnitMicroseconds,
                                      nKASS100::kEpoch1970, &status);
    if (status < 0) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return AbsTime(t.getValue());
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
