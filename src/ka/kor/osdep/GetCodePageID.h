// The numeric code page that platform interfaces use for one of the code-set names the library
// passes to its narrow conversions.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

// An empty name (the current locale's code set; null counts as empty) gives 0, "US-ASCII" 20127
// and "cp932" 932. Names are matched without regard to case, as iconv matches them. Any other
// name throws InvalidLocale.
std::uint32_t GetCodePageID(const char* codeSet);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
