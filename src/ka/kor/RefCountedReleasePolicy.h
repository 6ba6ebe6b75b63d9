// Release policy of SmartPtr for intrusively counted objects: letting go of a pointer gives its
// reference back with the object's own release(), which may destroy it.
#pragma once

namespace ka {
namespace kor {

template <class P>
class RefCountedReleasePolicy {
  public:
    // Does nothing for null.
    static void release(const P& p) noexcept {
        if (p != nullptr) {
            p->release();
        }
    }
};

}  // namespace kor
}  // namespace ka
