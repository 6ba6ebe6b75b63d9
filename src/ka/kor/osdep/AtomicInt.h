// A signed 32-bit counter whose every operation runs under its own critical section, so it may be
// shared freely between threads (reference counts, flags).
#pragma once

#include <cstdint>

#include "ka/kor/osdep/CriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

class AtomicInt {
  public:
    explicit AtomicInt(std::int32_t value = 0) : value_(value) {}
    AtomicInt(const AtomicInt&) = delete;
    AtomicInt& operator=(const AtomicInt&) = delete;

    // Change by one and return the new value.
    std::int32_t increment() noexcept;
    std::int32_t decrement() noexcept;
    std::int32_t getCount() const noexcept;
    void replace(std::int32_t value) noexcept;
    // Stores desired when the value equals expected; returns the value found before either way.
    std::int32_t compareExchange(std::int32_t expected, std::int32_t desired) noexcept;

    bool operator==(std::int32_t v) const noexcept { return getCount() == v; }
    bool operator!=(std::int32_t v) const noexcept { return getCount() != v; }
    bool operator>(std::int32_t v) const noexcept { return getCount() > v; }
    bool operator>=(std::int32_t v) const noexcept { return getCount() >= v; }

  private:
    std::int32_t value_;
    mutable CriticalSection lock_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
