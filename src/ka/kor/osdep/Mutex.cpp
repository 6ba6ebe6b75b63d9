#include "ka/kor/osdep/Mutex.h"

namespace ka {
namespace kor {
namespace osdep {

Mutex::Mutex() = default;

Mutex::~Mutex() = default;

void Mutex::lock() {
    section_.enter();
}

bool Mutex::tryLock() {
    return section_.tryEnter();
}

void Mutex::unlock() {
    section_.leave();
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
