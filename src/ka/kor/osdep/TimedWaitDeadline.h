// Turns a relative timeout into the absolute realtime-clock deadline that timed condition waits
// take.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

// The deadline ms milliseconds after now (gettimeofday): whole seconds are added to the seconds,
// the rest to the microseconds, which carry into the seconds; nanoseconds are always below 1e9.
timespec TimeoutToTimespec(std::uint32_t ms) noexcept;

// The same, counted from the given time instead of the current one.
timespec TimeoutToTimespec(const timeval& now, std::uint32_t ms) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
