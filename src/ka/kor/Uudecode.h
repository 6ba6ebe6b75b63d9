// Decoding of the six-bit text form written by Uuencode (characters "!" to "`", 0x21 offset, no
// padding, no line structure; deliberately not classic uuencode).
#pragma once

#include "ka/kor/AutoBuffer.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// The bytes, in an AutoBuffer because the result is binary and Uuencode takes one back, so that
// Uudecode(Uuencode(b)) == b. Each group of four characters gives three bytes; a final group of
// two characters gives one byte, of three characters two; the empty text gives an absent buffer.
// Strict, like Base64Decode: throws DeserializationError for a character outside "!".."`" (which
// Uuencode never writes, so it means the text is damaged or of another kind) and for a final group
// of a single character, which cannot carry a byte and means the text was cut short. Bits below
// the last byte of a short group are ignored.
AutoBuffer Uudecode(const AString& text);

}  // namespace kor
}  // namespace ka
