#include "ka/kor/osdep/ThreadSetDebugName.h"

namespace ka {
namespace kor {
namespace osdep {

void ThreadSetDebugName(const Thread&, const char*) noexcept {}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
