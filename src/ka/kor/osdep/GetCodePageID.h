// The numeric code page that platform interfaces use for one of the code-set names the library
// passes to its narrow conversions.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

// An empty name (the current locale's code set; null counts as empty) gives 0, "US-ASCII" 20127
// and "cp932" 932, each spelled exactly so: these are the names the library itself passes. Any
// other name throws InvalidLocale, another spelling of the same code set ("us-ascii", "CP932")
// included.
std::uint32_t GetCodePageID(const char* codeSet);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
