// Base64 text of a byte range (RFC 4648 alphabet, "=" padding), for carrying bytes in text fields.
// The text is one line: no line breaks are ever inserted.
#pragma once

#include "ka/kor/BufferWrapper.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// Four characters for every three bytes; a final group of one byte ends in "==", of two bytes in
// "=". An empty range gives the empty text. Throws BoundExceeded2 when the text would be longer
// than AString::max_size().
AString Base64Encode(const BufferWrapper& bytes);

}  // namespace kor
}  // namespace ka
