// Names a thread for debuggers on platforms that support it.
#pragma once

#include "ka/kor/osdep/Thread.h"

namespace ka {
namespace kor {
namespace osdep {

// Does nothing on this platform; callers may name their threads unconditionally.
void ThreadSetDebugName(const Thread& thread, const char* name) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
