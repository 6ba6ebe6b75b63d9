// Supplies addRef and release for an interface derived from RefCountedInterface. The count starts
// at 0, so a new object belongs to the first SmartPtr that takes it; the release that brings the
// count back to 0 destroys the object through its virtual destructor.
#pragma once

#include <cstdint>
#include <utility>

namespace ka {
namespace kor {

// Base is the interface (it must have a virtual destructor); Policy holds the count and offers
// increment() and decrement(), each returning the new count.
template <class Base, class Policy>
class RefCountedImplementation : public Base {
  public:
    void addRef() noexcept override { count_.increment(); }
    void release() noexcept override {
        if (count_.decrement() == 0) {
            delete this;
        }
    }

    // References currently held; for diagnostics only, since another thread may change it.
    std::int32_t referenceCount() const noexcept { return count_.count(); }

  protected:
    template <class... Args>
    explicit RefCountedImplementation(Args&&... args) : Base(std::forward<Args>(args)...) {}
    ~RefCountedImplementation() override = default;

  private:
    Policy count_;
};

}  // namespace kor
}  // namespace ka
