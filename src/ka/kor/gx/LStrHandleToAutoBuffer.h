// The bytes of a host string handle as a buffer of the library.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/AutoBuffer.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// An empty buffer for a null or empty handle (as LStrHandleToKORANSIString), else a copy of the
// count bytes.
AutoBuffer LStrHandleToAutoBuffer(LStrHandle handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
