#include "ka/kor/osdep/Thread.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <cerrno>
#include <type_traits>

#include "ka/kor/ExceptionReleaseAssert.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/Thread";

static_assert(std::is_same<pthread_t, unsigned long>::value,
              "Thread keeps its pthread_t in an unsigned long");

}  // namespace

Thread::Thread() noexcept : handle_(0), joined_(false), started_(false) {}

Thread::~Thread() {
    if (!isCurrentThread()) {
        waitForThreadToTerminate();
        return;
    }
    // A thread deleting its own object: a joiner holding the lock reaps the thread itself, and
    // waiting for that lock here would deadlock with it.
    if (joinLock_.tryEnter()) {
        if (started_ && !joined_) {
            pthread_detach(handle_);
            joined_ = true;
        }
        joinLock_.leave();
    }
}

void Thread::start(std::uint32_t) {
    CriticalSection::Guard guard(joinLock_);
    if (started_ && !joined_) {
        throw exception::ObjectAlreadyExists(__LINE__, kSourceFile);
    }
    started_ = true;
    joined_ = false;
    // The C library stores the handle before the new thread runs, so run() may already ask
    // isCurrentThread().
    const int r = pthread_create(&handle_, nullptr, &Thread::thread_func, this);
    if (r != 0) {
        started_ = false;
        handle_ = 0;
        errno = r;
        throw PosixError::FromCall(__LINE__, kSourceFile, "pthread_create");
    }
}

void Thread::waitForThreadToTerminate() {
    // Tested before taking the lock: a joiner holds it until this thread ends.
    if (isCurrentThread()) {
        return;
    }
    CriticalSection::Guard guard(joinLock_);
    if (started_ && !joined_) {
        pthread_join(handle_, nullptr);
        joined_ = true;
    }
}

void Thread::cleanup() {
    waitForThreadToTerminate();
    CriticalSection::Guard guard(joinLock_);
    started_ = false;
}

bool Thread::isCurrentThread() const noexcept {
    return handle_ != 0 && pthread_equal(pthread_self(), handle_) != 0;
}

void Thread::yield() noexcept {
    sched_yield();
}

void Thread::setPriority(int) noexcept {}

void* Thread::thread_func(void* self) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    try {
        const std::uint32_t result = static_cast<Thread*>(self)->run();
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(result));
    } catch (const exception::Exception& e) {
        ExceptionReleaseAssert(e, kSourceFile, __LINE__);
    } catch (const std::exception& e) {
        ExceptionReleaseAssert(e, kSourceFile, __LINE__);
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
