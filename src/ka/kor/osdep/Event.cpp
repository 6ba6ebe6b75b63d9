#include "ka/kor/osdep/Event.h"

#include <pthread.h>

#include "ka/kor/osdep/TimedWaitDeadline.h"

namespace ka {
namespace kor {
namespace osdep {

struct EventData {
    pthread_cond_t cond;
    pthread_mutex_t mutex;
    bool manualReset;
    bool signalled;
};

namespace {

// Holds the event's mutex for a scope.
class Lock {
  public:
    explicit Lock(EventData& d) noexcept : d_(d) { pthread_mutex_lock(&d_.mutex); }
    ~Lock() { pthread_mutex_unlock(&d_.mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    EventData& d_;
};

// Reads the state and consumes it for an auto-reset event; the caller holds the mutex.
bool Take(EventData& d) noexcept {
    const bool was = d.signalled;
    if (!d.manualReset) {
        d.signalled = false;
    }
    return was;
}

}  // namespace

Event::Event(bool manualReset, bool initialState) : data_(new EventData) {
    // Default attributes: the condition measures timed waits on the realtime clock, which is what
    // TimeoutToTimespec computes.
    pthread_cond_init(&data_->cond, nullptr);
    pthread_mutex_init(&data_->mutex, nullptr);
    data_->manualReset = manualReset;
    data_->signalled = initialState;
}

Event::~Event() {
    pthread_cond_destroy(&data_->cond);
    pthread_mutex_destroy(&data_->mutex);
    delete data_;
}

void Event::set() noexcept {
    Lock lock(*data_);
    data_->signalled = true;
    if (data_->manualReset) {
        pthread_cond_broadcast(&data_->cond);
    } else {
        pthread_cond_signal(&data_->cond);
    }
}

void Event::reset() noexcept {
    Lock lock(*data_);
    data_->signalled = false;
}

bool Event::check() noexcept {
    Lock lock(*data_);
    return Take(*data_);
}

bool Event::checkOnly() noexcept {
    Lock lock(*data_);
    return data_->signalled;
}

void Event::resetIfAuto() noexcept {
    Lock lock(*data_);
    if (!data_->manualReset) {
        data_->signalled = false;
    }
}

void Event::wait() noexcept {
    Lock lock(*data_);
    // A wake-up without a set, or one whose set another thread consumed first, waits again.
    while (!data_->signalled) {
        pthread_cond_wait(&data_->cond, &data_->mutex);
    }
    Take(*data_);
}

bool Event::wait(std::uint32_t ms) noexcept {
    if (ms == 0) {
        return check();
    }
    const timespec deadline = TimeoutToTimespec(ms);
    Lock lock(*data_);
    while (!data_->signalled) {
        // 0 is a wake-up, perhaps spurious, so the state is tested again; ETIMEDOUT means the
        // deadline has passed. Any other answer (only possible for a deadline the system
        // cannot represent) also ends the wait rather than spinning.
        if (pthread_cond_timedwait(&data_->cond, &data_->mutex, &deadline) != 0) {
            break;
        }
    }
    return Take(*data_);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
