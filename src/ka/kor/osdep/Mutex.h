// A lock with the interface of the library's mutexes: lock, unlock and a non-blocking try. This
// form lives inside one process and is recursive: a thread may lock it again while it holds it,
// and each lock needs its own unlock.
#pragma once

#include "ka/kor/osdep/CriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

class Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Blocks until the calling thread holds the mutex.
    void lock();
    // Takes the mutex without blocking: false when another thread holds it.
    bool tryLock();
    // Releases one lock of the calling thread.
    void unlock();

  private:
    CriticalSection section_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
