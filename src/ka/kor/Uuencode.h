// A compact six-bit text form of bytes: every 6 bits become one printable character, "!" (0) to
// "`" (63). Deliberately not classic uuencode (offset 0x20, counted lines): the offset is 0x21 and
// there is no padding, no length character and no line structure, so that texts already stored in
// this form keep decoding.
#pragma once

#include <cstdint>

#include "ka/kor/AutoBuffer.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// Four characters for every three bytes, most significant bits first; a final group of one byte
// gives two characters, of two bytes three. No bytes (count 0, bytes may then be null) give the
// empty text. Throws BoundExceeded2 when the text would be longer than AString::max_size().
AString Uuencode(const unsigned char* bytes, std::uint32_t count);
AString Uuencode(const AutoBuffer& bytes);

}  // namespace kor
}  // namespace ka
