// Copies wide text into a host string handle as ANSI text.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// text converted to ANSI, then as KorANSIStringToLStrHandle. Characters the ANSI character
// set cannot hold fail as that conversion does.
void KorStringToLStrHandle(const String& text, LStrHandle& handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
