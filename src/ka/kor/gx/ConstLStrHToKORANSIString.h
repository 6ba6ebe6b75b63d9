// The text of a read-only host string handle as ANSI text.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// As LStrHandleToKORANSIString.
AString ConstLStrHToKORANSIString(const LStr* const* handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
