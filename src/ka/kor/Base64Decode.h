// Strict decoding of Base64 text (RFC 4648 alphabet, "=" padding) as written by Base64Encode.
// Anything that Base64Encode could not have written is rejected rather than skipped or guessed.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// The decoded bytes, one per character of the result (zeros included). The empty text gives the
// empty result. Throws DeserializationError when the length is not a multiple of 4, when a
// character is neither in the alphabet nor "=" (line breaks and characters of 0x80 and above
// included), when "=" stands in the first two positions of a group, when a third "=" is not
// followed by a fourth, or when a group containing "=" is not the last one. Bits below the last
// decoded byte in a padded group are ignored.
AString Base64Decode(const AString& text);

}  // namespace kor
}  // namespace ka
