#include "ka/kor/osdep/TimedWaitDeadline.h"

namespace ka {
namespace kor {
namespace osdep {

timespec TimeoutToTimespec(std::uint32_t ms) noexcept {
    timeval now;
    gettimeofday(&now, nullptr);
    return TimeoutToTimespec(now, ms);
}

timespec TimeoutToTimespec(const timeval& now, std::uint32_t ms) noexcept {
    // At most 999999 + 999000, so no overflow even with a 32-bit long.
    const long micros = static_cast<long>(now.tv_usec) + static_cast<long>(ms % 1000) * 1000L;
    timespec deadline;
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(ms / 1000) + micros / 1000000L;
    deadline.tv_nsec = (micros % 1000000L) * 1000L;
    return deadline;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
