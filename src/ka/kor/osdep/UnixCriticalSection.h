// A recursive in-process lock over one POSIX mutex. The mutex lives on the heap so that the
// object's size does not depend on the C library's mutex layout.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

struct UnixCriticalSectionMutex;

class UnixCriticalSection {
  public:
    UnixCriticalSection();
    ~UnixCriticalSection();
    UnixCriticalSection(const UnixCriticalSection&) = delete;
    UnixCriticalSection& operator=(const UnixCriticalSection&) = delete;

    // Blocks until the calling thread holds the lock; a thread may enter a lock it holds, and
    // each enter needs its own leave.
    void enter() noexcept;
    void leave() noexcept;
    // Takes the lock without blocking: false when another thread holds it (or the mutex is
    // unusable), true otherwise, including when the calling thread already holds it.
    bool tryEnter() noexcept;
    // Always true: POSIX offers no portable owner query and no caller relies on a false answer.
    bool inOwningThread() const noexcept { return true; }

  private:
    UnixCriticalSectionMutex* mutex_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
