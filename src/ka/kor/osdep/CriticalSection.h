// The library's recursive in-process lock. Use CriticalSection::Guard to hold it for a scope, so
// that it is released on every path, exceptions included.
#pragma once

#include "ka/kor/osdep/UnixCriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

class CriticalSection {
  public:
    // Lock-order checking hook of other platforms; ignored here.
    class IValidator {
      public:
        virtual ~IValidator() = default;
    };

    // Holds a critical section from construction to destruction.
    class Guard {
      public:
        explicit Guard(CriticalSection& cs) noexcept : cs_(cs) { cs_.enter(); }
        ~Guard() { cs_.leave(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

      private:
        CriticalSection& cs_;
    };

    CriticalSection();
    explicit CriticalSection(IValidator* validator);
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    // Recursive: a thread may enter a section it holds; each enter needs its own leave.
    void enter() noexcept { impl_->enter(); }
    void leave() noexcept { impl_->leave(); }
    // False when another thread holds the section; true otherwise (recursion succeeds).
    bool tryEnter() noexcept { return impl_->tryEnter(); }
    bool inOwningThread() const noexcept { return impl_->inOwningThread(); }

  private:
    UnixCriticalSection* impl_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
