#include "ka/kor/osdep/CallQPC.h"

#include <sys/time.h>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/CallQPC";
constexpr std::int64_t kMicrosecondsPerSecond = 1000000;

// Microseconds since the epoch; false when the system cannot tell the time.
bool ReadCounter(std::uint64_t& counter) noexcept {
    timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        return false;
    }
    counter = static_cast<std::uint64_t>(now.tv_sec) * kMicrosecondsPerSecond +
              static_cast<std::uint64_t>(now.tv_usec);
    return true;
}

// Ticks of unit in one second.
std::uint64_t TicksPerSecond(std::uint32_t unit) {
    switch (unit) {
        case CallQPC::k_MICRO:
            return 1000000;
        case CallQPC::k_MILLI:
            return 1000;
        case CallQPC::k_SECONDS:
            return 1;
        case CallQPC::k_FILETIME:
            return 10000000;
        default:
            // A unit of 0 would divide by zero: there is no count of such ticks to give.
            if (unit == 0) {
                throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                                  "unit must be at least 1 nanosecond");
            }
            return CallQPC::k_SECONDS / unit;
    }
}

}  // namespace

CallQPC::CallQPC() : frequency_(0) {
    std::uint64_t probe;
    if (!ReadCounter(probe)) {
        throw exception::NotImplemented(__LINE__, kSourceFile);
    }
    frequency_ = kMicrosecondsPerSecond;
}

std::uint64_t CallQPC::hires(std::uint32_t unit) const {
    const std::uint64_t multiplier = TicksPerSecond(unit);
    std::uint64_t counter;
    if (frequency_ <= 0 || !ReadCounter(counter)) {
        throw exception::NotImplemented(__LINE__, kSourceFile);
    }
    return Scale(counter, multiplier, static_cast<std::uint64_t>(frequency_));
}

std::uint64_t CallQPC::Scale(std::uint64_t counter, std::uint64_t multiplier,
                             std::uint64_t frequency) noexcept {
    const std::uint64_t whole = counter / frequency;
    const std::uint64_t rest = counter % frequency;
    return whole * multiplier + rest * multiplier / frequency;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
