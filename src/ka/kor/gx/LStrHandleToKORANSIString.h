// The text of a host string handle as ANSI text.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// An empty text for a null handle, a handle without a block, or a count of 0 or less (the bytes
// are not read then); otherwise the count bytes as they stand.
AString LStrHandleToKORANSIString(LStrHandle handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
