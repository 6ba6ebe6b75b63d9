// The target of a symbolic link, as the link stores it (not resolved further).
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// At most maxBytes bytes of the target; a longer target is cut there. PosixError ("readlink: "
// and the errno text) when path is not a symbolic link or cannot be read.
AString ReadSymbolicLink(const AString& path, std::uint32_t maxBytes);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
