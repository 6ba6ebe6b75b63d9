// A recursive lock: a thread may lock it again while it holds it, and each lock needs its own
// unlock. The unnamed form lives inside one process. The named form is shared by every process
// on the machine that uses the same name, through the file "/tmp/ka_kor_osdep_Mutex<name>"
// locked with flock; within a process, the objects of one name share a critical section that
// serialises their threads, since file locks do not tell the threads of one process apart.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

struct MutexEntry;

class Mutex {
  public:
    // Holds a mutex from construction to destruction.
    class Guard {
      public:
        explicit Guard(Mutex& mutex) : mutex_(mutex) { mutex_.lock(); }
        ~Guard() { mutex_.unlock(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

      private:
        Mutex& mutex_;
    };

    Mutex();
    // Opens (creating when absent) the lock file of name; the name is converted to the locale's
    // code set. The file is never deleted, since a process may always be about to lock it.
    // Within the process, names are told apart as String compares them, without regard to
    // letter case, a deliberate quirk: objects whose names differ only in case lock different
    // files but share one critical section and recursion count.
    // Raises PosixError when the file cannot be opened and InvalidArgument2 for a name holding a
    // null character.
    explicit Mutex(const String& name);
    // Closes this object's descriptor. A mutex that the destroying thread still holds through
    // this object is released first, and the release is reported as an assertion.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Blocks until the calling thread holds the mutex. The file is locked by the thread's first
    // lock only, so a thread may also lock it again through another object of the same name.
    // Raises PosixError, leaving the mutex unheld, when the file cannot be locked.
    void lock();
    // Takes the mutex without blocking: false when another thread of this process holds the
    // name (the file is not touched then) or another process holds the file.
    bool tryLock();
    // Releases one lock of the calling thread; the last one unlocks the file. Does nothing when
    // the mutex is not held.
    void unlock();

  private:
    void releaseIfHeldByCaller() noexcept;

    MutexEntry* entry_;  // shared by the objects of the name; a private one when unnamed
    int fd_;             // -1 when unnamed
    String name_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
