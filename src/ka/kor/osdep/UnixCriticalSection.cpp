#include "ka/kor/osdep/UnixCriticalSection.h"

#include <pthread.h>

#include <cerrno>

namespace ka {
namespace kor {
namespace osdep {

struct UnixCriticalSectionMutex {
    pthread_mutex_t mutex;
};

UnixCriticalSection::UnixCriticalSection() : mutex_(new UnixCriticalSectionMutex) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
}

UnixCriticalSection::~UnixCriticalSection() {
    pthread_mutex_destroy(&mutex_->mutex);
    delete mutex_;
}

void UnixCriticalSection::enter() noexcept {
    pthread_mutex_lock(&mutex_->mutex);
}

void UnixCriticalSection::leave() noexcept {
    pthread_mutex_unlock(&mutex_->mutex);
}

bool UnixCriticalSection::tryEnter() noexcept {
    const int r = pthread_mutex_trylock(&mutex_->mutex);
    return r != EBUSY && r != EINVAL;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
