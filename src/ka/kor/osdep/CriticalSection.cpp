#include "ka/kor/osdep/CriticalSection.h"

namespace ka {
namespace kor {
namespace osdep {

CriticalSection::CriticalSection() : impl_(new UnixCriticalSection) {}

CriticalSection::CriticalSection(IValidator*) : impl_(new UnixCriticalSection) {}

CriticalSection::~CriticalSection() {
    delete impl_;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
