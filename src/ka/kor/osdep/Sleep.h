// Suspends the calling thread for a number of milliseconds.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

// Sleeps at least ms milliseconds, any length up to 0xFFFFFFFF (about 49.7 days); a signal
// handler running on this thread does not cut the sleep short. Sleep(0) returns at once.
void Sleep(std::uint32_t ms) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
