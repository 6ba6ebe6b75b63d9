// Integer parsing in any radix from 2 to 36, as the library's text formats need it: lenient about
// what follows the number, strict about the radix and about values too large to accumulate.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Every parser:
// - skips leading " \t\r\n" (an empty or all-blank text gives 0);
// - consumes a "-" (the value is negated, but only in radix 10), then a "+";
// - in radix 16 skips a "0x" or "0X" when at least three characters remain, so "0x" alone is 0;
// - accumulates digits (0-9, then letters A-Z/a-z for 10-35) up to the first character that is
//   not alphanumeric or not a digit of the radix, or the end; trailing text is ignored.
// Throws UnableToConvert for a radix outside 2-36 and when multiplying the value by the radix
// would overflow the parser's width.
// Deliberately kept as other readers of the same texts behave: adding the last digit is not
// checked and wraps ("256" is 0 for an 8-bit parser), and a "-" outside radix 10 is ignored.
// The signed parsers accumulate unsigned and negate, so "-128" and "128" both give -128 for 8 bits.
std::int8_t StringToInt8(const String& text, unsigned int radix);
std::int16_t StringToInt16(const String& text, unsigned int radix);
std::int32_t StringToInt32(const String& text, unsigned int radix);
std::int64_t StringToInt64(const String& text, unsigned int radix);
std::uint8_t StringToUInt8(const String& text, unsigned int radix);
std::uint16_t StringToUInt16(const String& text, unsigned int radix);
std::uint32_t StringToUInt32(const String& text, unsigned int radix);
std::uint64_t StringToUInt64(const String& text, unsigned int radix);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
