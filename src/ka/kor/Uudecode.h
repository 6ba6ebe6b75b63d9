// Decoding of the six-bit text form written by Uuencode (characters "!" to "`", 0x21 offset, no
// padding, no line structure; deliberately not classic uuencode).
#pragma once

#include "ka/kor/AutoBuffer.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// The bytes, in an AutoBuffer because the result is binary and Uuencode takes one back, so that
// Uudecode(Uuencode(b)) == b. Each group of four characters gives three bytes; a final group of
// two characters gives one byte, of three characters two. Lenient on purpose, so that every text
// reads here as it reads in the other programs that share the form: each character counts as its
// code minus 0x21, masked to 6 bits, so one Uuencode never writes still decodes (a blank as 63,
// "a" as 0) and nothing is thrown for the text's content. A final single character holds 6 bits,
// less than a byte, and gives nothing, just as the bits below the last byte of a short group are
// dropped. The empty text, or a single character, gives an absent buffer.
AutoBuffer Uudecode(const AString& text);

}  // namespace kor
}  // namespace ka
