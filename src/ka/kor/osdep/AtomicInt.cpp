#include "ka/kor/osdep/AtomicInt.h"

namespace ka {
namespace kor {
namespace osdep {

// Arithmetic wraps like the 32-bit registers other implementations use, instead of overflowing.
static std::int32_t Wrap(std::int64_t v) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
}

std::int32_t AtomicInt::increment() noexcept {
    CriticalSection::Guard g(lock_);
    value_ = Wrap(std::int64_t{value_} + 1);
    return value_;
}

std::int32_t AtomicInt::decrement() noexcept {
    CriticalSection::Guard g(lock_);
    value_ = Wrap(std::int64_t{value_} - 1);
    return value_;
}

std::int32_t AtomicInt::getCount() const noexcept {
    CriticalSection::Guard g(lock_);
    return value_;
}

void AtomicInt::replace(std::int32_t value) noexcept {
    CriticalSection::Guard g(lock_);
    value_ = value;
}

std::int32_t AtomicInt::compareExchange(std::int32_t expected, std::int32_t desired) noexcept {
    CriticalSection::Guard g(lock_);
    const std::int32_t found = value_;
    if (found == expected) {
        value_ = desired;
    }
    return found;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
