// A pointer that owns references to an intrusively counted object. What owning means is left to
// policies: how a pointer is stored, how a copy takes a reference and how one is given back. The
// defaults suit objects with addRef() and release() (RefCountedInterface).
#pragma once

#include <cstddef>

#include "ka/kor/AddRefCopyPolicy.h"
#include "ka/kor/PointerSPStoragePolicy.h"
#include "ka/kor/RefCountedReleasePolicy.h"

namespace ka {
namespace kor {

template <class T, template <class> class OwnershipPolicy = AddRefCopyPolicy,
          template <class> class ReleasePolicy = RefCountedReleasePolicy,
          template <class> class StoragePolicy = PointerSPStoragePolicy>
class SmartPtr : public StoragePolicy<T> {
    typedef StoragePolicy<T> Storage;
    typedef typename Storage::StoredType Stored;

  public:
    // Null.
    SmartPtr() noexcept = default;
    SmartPtr(std::nullptr_t) noexcept {}
    // Takes a reference to p (none for null).
    explicit SmartPtr(T* p) noexcept : Storage(OwnershipPolicy<Stored>::clone(p)) {}
    // Takes a reference of its own.
    SmartPtr(const SmartPtr& other) noexcept
        : Storage(OwnershipPolicy<Stored>::clone(other.get())) {}
    // Takes over other's reference; other is null afterwards.
    SmartPtr(SmartPtr&& other) noexcept { swap(other); }
    // From a pointer to a derived type.
    template <class U>
    SmartPtr(const SmartPtr<U, OwnershipPolicy, ReleasePolicy, StoragePolicy>& other) noexcept
        : Storage(OwnershipPolicy<Stored>::clone(other.get())) {}

    SmartPtr& operator=(const SmartPtr& other) noexcept {
        SmartPtr copy(other);
        swap(copy);
        return *this;
    }
    SmartPtr& operator=(SmartPtr&& other) noexcept {
        SmartPtr moved(static_cast<SmartPtr&&>(other));
        swap(moved);
        return *this;
    }

    // Gives the reference back.
    ~SmartPtr() { ReleasePolicy<Stored>::release(this->get()); }

    // Gives the reference back and holds p instead (with a reference of its own).
    void reset(T* p = nullptr) noexcept {
        SmartPtr other(p);
        swap(other);
    }

    explicit operator bool() const noexcept { return this->get() != nullptr; }

    void swap(SmartPtr& other) noexcept { this->swapStorage(other); }

    friend bool operator==(const SmartPtr& a, const SmartPtr& b) noexcept {
        return a.get() == b.get();
    }
    friend bool operator!=(const SmartPtr& a, const SmartPtr& b) noexcept {
        return a.get() != b.get();
    }
    friend bool operator==(const SmartPtr& a, std::nullptr_t) noexcept {
        return a.get() == nullptr;
    }
    friend bool operator!=(const SmartPtr& a, std::nullptr_t) noexcept {
        return a.get() != nullptr;
    }
};

}  // namespace kor
}  // namespace ka
