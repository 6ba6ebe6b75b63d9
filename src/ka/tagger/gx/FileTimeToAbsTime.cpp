#include "ka/tagger/gx/FileTimeToAbsTime.h"

#include <cstdint>

namespace ka {
namespace tagger {
namespace gx {

namespace {

constexpr std::uint64_t kTicksPerSecond = 10000000;
// Seconds from 1601-01-01 to 1904-01-01.
constexpr std::int64_t kSeconds1601To1904 = 9561628800LL;

}  // namespace

// Every Read converts a time stamp, and the general 128-bit arithmetic of tSSTimeValue and
// tSSTimeAbsolute was a fifth of a Read's cost. Dividing by the tick rate only needs the 64-bit
// quotient and a fraction built from a remainder below 2^24, in two 32-bit steps that fit 64-bit
// arithmetic on both builds; moving the epoch only changes the whole seconds, which cannot
// overflow for any 64-bit tick count.
kor::AbsTime FileTimeToAbsTime(const FILETIME& time) noexcept {
    const bool negative = time.ticks < 0;
    // The magnitude, also for the most negative count (unsigned negation wraps as wanted).
    const std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(time.ticks)
                                             : static_cast<std::uint64_t>(time.ticks);
    std::uint64_t whole = magnitude / kTicksPerSecond;
    const std::uint64_t remainder = magnitude % kTicksPerSecond;
    // floor(remainder * 2^64 / kTicksPerSecond), 32 bits at a time.
    const std::uint64_t high = (remainder << 32) / kTicksPerSecond;
    const std::uint64_t low = (((remainder << 32) % kTicksPerSecond) << 32) / kTicksPerSecond;
    std::uint64_t fraction = high << 32 | low;
    if (negative) {
        // Truncation toward zero: the magnitude's quotient negated, as one 128-bit number.
        whole = 0 - whole - (fraction != 0 ? 1 : 0);
        fraction = 0 - fraction;
    }
    whole -= static_cast<std::uint64_t>(kSeconds1601To1904);
    return kor::AbsTime(static_cast<std::uint32_t>(whole >> 32), static_cast<std::uint32_t>(whole),
                        static_cast<std::uint32_t>(fraction >> 32),
                        static_cast<std::uint32_t>(fraction));
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
