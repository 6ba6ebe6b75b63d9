#include "ka/kor/osdep/ThreadID.h"

#include <pthread.h>

#include <type_traits>

namespace ka {
namespace kor {
namespace osdep {

static_assert(std::is_same<pthread_t, unsigned long>::value,
              "ThreadID keeps its pthread_t in an unsigned long");

ThreadID ThreadID::getCallingID() noexcept {
    return ThreadID(pthread_self());
}

bool ThreadID::operator==(const ThreadID& other) const noexcept {
    return pthread_equal(id_, other.id_) != 0;
}

bool ThreadID::isCurrentThread() const noexcept {
    return id_ != 0 && pthread_equal(pthread_self(), id_) != 0;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
