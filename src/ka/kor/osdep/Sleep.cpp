#include "ka/kor/osdep/Sleep.h"

#include <time.h>

#include <cerrno>

namespace ka {
namespace kor {
namespace osdep {

// nanosleep rather than usleep: usleep may refuse a second or more, and nanosleep hands back the
// time still to sleep when a signal interrupts it.
void Sleep(std::uint32_t ms) noexcept {
    timespec remaining;
    remaining.tv_sec = static_cast<time_t>(ms / 1000);
    remaining.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
