// Copies ANSI text into a host string handle.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// The bytes of text (no terminator), as BufferWrapperToLStrHandle.
void KorANSIStringToLStrHandle(const AString& text, LStrHandle& handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
