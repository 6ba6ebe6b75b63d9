// A high-resolution counter in the shape of the Win32 performance counter: the time since the
// epoch, read in the unit the caller asks for. Units are given as nanoseconds per unit.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

class CallQPC {
  public:
    // Nanoseconds in one unit.
    static constexpr std::uint32_t k_SECONDS = 1000000000u;
    static constexpr std::uint32_t k_MILLI = 1000000u;
    static constexpr std::uint32_t k_MICRO = 1000u;
    static constexpr std::uint32_t k_FILETIME = 100u;

    // Reads the counter's frequency; throws NotImplemented when the system has no counter.
    CallQPC();

    // The counter in the given unit: one of the constants above, or any other number of
    // nanoseconds, counted as whole ticks of 1000000000 / unit per second, so that a unit longer
    // than one second gives 0. A unit of 0 throws InvalidArgument2. Throws NotImplemented when
    // the object holds no frequency, which is the case for a static instance used before its
    // constructor ran.
    std::uint64_t operator()(std::uint32_t unit) const { return hires(unit); }
    std::uint64_t hires(std::uint32_t unit) const;

    // Counts per second (1000000: the counter is gettimeofday in microseconds).
    std::int64_t frequency() const noexcept { return frequency_; }

    // counter × multiplier / frequency rounded down, exact whenever the result and
    // frequency × multiplier fit in 64 bits: counter is divided by frequency first and only the
    // quotient and the remainder are multiplied, so counter × multiplier is never formed.
    // frequency must not be 0.
    static std::uint64_t Scale(std::uint64_t counter, std::uint64_t multiplier,
                               std::uint64_t frequency) noexcept;

  private:
    std::int64_t frequency_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
