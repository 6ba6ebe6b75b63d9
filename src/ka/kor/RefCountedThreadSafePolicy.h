// The count behind RefCountedImplementation when references are taken and given back from
// several threads: an atomic counter that starts at 0.
#pragma once

#include <cstdint>

#include "ka/kor/osdep/AtomicInt.h"

namespace ka {
namespace kor {

class RefCountedThreadSafePolicy {
  public:
    RefCountedThreadSafePolicy() : count_(0) {}
    RefCountedThreadSafePolicy(const RefCountedThreadSafePolicy&) = delete;
    RefCountedThreadSafePolicy& operator=(const RefCountedThreadSafePolicy&) = delete;

    // Each returns the count after the change.
    std::int32_t increment() noexcept { return count_.increment(); }
    std::int32_t decrement() noexcept { return count_.decrement(); }
    std::int32_t count() const noexcept { return count_.getCount(); }

  private:
    osdep::AtomicInt count_;
};

}  // namespace kor
}  // namespace ka
