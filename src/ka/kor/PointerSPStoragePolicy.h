// Storage policy of SmartPtr: the pointee is held as a plain pointer, null meaning none.
#pragma once

#include <utility>

namespace ka {
namespace kor {

template <class T>
class PointerSPStoragePolicy {
  public:
    typedef T* StoredType;

    PointerSPStoragePolicy() noexcept : pointee_(nullptr) {}
    explicit PointerSPStoragePolicy(T* p) noexcept : pointee_(p) {}

    T* get() const noexcept { return pointee_; }
    T* operator->() const noexcept { return pointee_; }
    T& operator*() const noexcept { return *pointee_; }

  protected:
    StoredType& stored() noexcept { return pointee_; }
    void swapStorage(PointerSPStoragePolicy& other) noexcept {
        std::swap(pointee_, other.pointee_);
    }

  private:
    StoredType pointee_;
};

}  // namespace kor
}  // namespace ka
