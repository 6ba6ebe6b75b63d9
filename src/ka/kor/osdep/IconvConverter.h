// One conversion between two code sets through the C library's iconv, with the library's rule for
// what cannot be converted: the failing input unit is replaced by a substitute ("?") and skipped,
// and conversion goes on. The narrow, wide and UTF-16 conversions of the OS layer are built on it.
#pragma once

#include <cstddef>

namespace ka {
namespace kor {
namespace osdep {

class IconvConverter {
  public:
    // Opens the conversion from fromCode to toCode; an empty name means the current locale's code
    // set. Throws InvalidLocale when the C library knows no such conversion.
    IconvConverter(const char* toCode, const char* fromCode);
    ~IconvConverter();
    IconvConverter(const IconvConverter&) = delete;
    IconvConverter& operator=(const IconvConverter&) = delete;

    // Converts inSize bytes at in, taken in units of unitSize bytes, into at most outSize bytes at
    // out and returns the number of bytes written. A unit that cannot be converted (or a
    // sequence cut short by the end of the input) becomes the substitute, and exactly one unit is
    // skipped. Stops early, without error, when the next output does not fit; the output then
    // ends on a whole character.
    std::size_t convert(const char* in, std::size_t inSize, std::size_t unitSize, char* out,
                        std::size_t outSize, const char* substitute, std::size_t substituteSize);

    // Number of bytes that convert() would write given unlimited room.
    std::size_t measure(const char* in, std::size_t inSize, std::size_t unitSize,
                        std::size_t substituteSize);

  private:
    // Runs the conversion; with limited == false the output is counted in the scratch area at out
    // and never stops for lack of room.
    std::size_t run(const char* in, std::size_t inSize, std::size_t unitSize, char* out,
                    std::size_t outSize, const char* substitute, std::size_t substituteSize,
                    bool limited);

    void* cd_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
