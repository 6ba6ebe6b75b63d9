// Base class of the library's threads. A subclass supplies the body (run()); start() runs it on a
// new thread with every signal blocked, so that signals reach only threads the host created.
// Joining is safe from any number of threads at once, and from the thread itself (a no-op).
#pragma once

#include <cstdint>

#include "ka/kor/osdep/CriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

class Thread {
  public:
    Thread() noexcept;
    // Joins a thread that was started and not yet joined, so that it cannot outlive the object
    // it runs on. By the time this runs a subclass's members are already destroyed: a subclass
    // whose body uses them must make the body finish and join in its own destructor. Called on
    // the thread itself, it detaches instead, so the thread's resources are freed when it ends.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Runs run() on a new thread with default attributes; stackSize is accepted and ignored.
    // A thread that ended may be started again once it has been joined (a join in progress is
    // waited for). Throws ObjectAlreadyExists when the previous run has not been joined yet, and
    // PosixError when the system cannot create the thread.
    void start(std::uint32_t stackSize = 0);
    // Blocks until the thread has ended. Any number of threads may call it at once: exactly one
    // joins and the others wait for it. Returns at once when called from the thread itself, when
    // the thread was never started or when it has been joined already.
    void waitForThreadToTerminate();
    // Joins, then marks the thread as not started.
    void cleanup();
    // Whether the calling thread is this thread (false before the first start).
    bool isCurrentThread() const noexcept;
    // Offers the rest of the calling thread's time slice to other threads.
    static void yield() noexcept;
    // Thread priorities are not adjusted on this platform; does nothing.
    void setPriority(int priority) noexcept;

  protected:
    // The thread's body. Its result is the thread's exit value (which nothing here reads). An
    // exception escaping it is reported as a release assertion, which ends the process.
    virtual std::uint32_t run() = 0;

  private:
    static void* thread_func(void* self);

    unsigned long handle_;  // pthread_t; checked where it is used
    CriticalSection joinLock_;
    bool joined_;
    bool started_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
