// Integer formatting in any radix from 2 to 36, upper-case digits, most significant first.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Zero gives "0". A negative value is written as "-" and its magnitude in radix 10, and as its
// two's-complement bits read unsigned in every other radix (-1 as 32 bits in radix 16 is
// "FFFFFFFF"). Throws UnableToConvert for a radix of 0 or outside 2-36.
String Int8ToString(std::int8_t value, unsigned int radix);
String Int16ToString(std::int16_t value, unsigned int radix);
String Int32ToString(std::int32_t value, unsigned int radix);
String Int64ToString(std::int64_t value, unsigned int radix);
String IntToString(int value, unsigned int radix);
String UInt8ToString(std::uint8_t value, unsigned int radix);
String UInt16ToString(std::uint16_t value, unsigned int radix);
String UInt32ToString(std::uint32_t value, unsigned int radix);
String UInt64ToString(std::uint64_t value, unsigned int radix);
String UIntToString(unsigned int value, unsigned int radix);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
