// Holder of a per-process table that the objects of one class share (for instance the entries of
// named objects): created by the first object that needs it, destroyed with the last, and guarded
// by one critical section.
#pragma once

#include "ka/kor/osdep/CriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

template <class T>
class ProcessStatics {
  public:
    // The critical section that guards the table, its creation and its reference count. It is
    // created once, on first use, and never destroyed, so that objects destroyed while the
    // process exits can still take it whatever the order of destruction.
    static CriticalSection& Lock() {
        static CriticalSection* const lock = new CriticalSection;
        return *lock;
    }

    // Takes a reference to the table, creating it when there is none. Call with Lock() held.
    static T& Acquire() {
        if (users_ == 0) {
            instance_ = new T;
        }
        ++users_;
        return *instance_;
    }

    // The table, while a reference is held. Call with Lock() held.
    static T& Instance() noexcept { return *instance_; }

    // Gives back a reference; the last one destroys the table. Call with Lock() held.
    static void Release() noexcept {
        if (--users_ == 0) {
            delete instance_;
            instance_ = nullptr;
        }
    }

  private:
    static inline T* instance_ = nullptr;
    static inline unsigned users_ = 0;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
