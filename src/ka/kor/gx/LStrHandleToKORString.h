// The text of a host string handle as wide text.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// As LStrHandleToKORANSIString, with the bytes converted from ANSI to wide text.
String LStrHandleToKORString(LStrHandle handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
