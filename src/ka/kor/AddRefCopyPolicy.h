// Ownership policy of SmartPtr for intrusively counted objects: taking or copying a pointer takes
// a reference with the object's own addRef().
#pragma once

namespace ka {
namespace kor {

template <class P>
class AddRefCopyPolicy {
  public:
    // p with one more reference taken; null stays null.
    static P clone(const P& p) noexcept {
        if (p != nullptr) {
            p->addRef();
        }
        return p;
    }
};

}  // namespace kor
}  // namespace ka
