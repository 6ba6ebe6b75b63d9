#include "ka/kor/Uudecode.h"

#include <cstdint>

namespace ka {
namespace kor {

namespace {

constexpr std::uint32_t kOffset = 0x21;  // "!"
// Bytes decoded before each append; a multiple of 3 so that whole groups fill it.
constexpr unsigned int kChunk = 768;

// The 6-bit value of c; unsigned wrap-around makes the characters below "!" come out high.
inline std::uint32_t Value(char c) noexcept {
    return (static_cast<unsigned char>(c) - kOffset) & 0x3Fu;
}

}  // namespace

AutoBuffer Uudecode(const AString& text) {
    const AString::size_type n = text.size();
    // A lone final character is left out of the count: it cannot complete a byte.
    const AString::size_type rest = n % 4;
    const std::uint32_t size = n / 4 * 3 + (rest <= 1 ? 0 : rest - 1);
    AutoBuffer bytes(size);

    const char* in = text.begin();
    const char* const fullEnd = in + (n - rest);
    unsigned char chunk[kChunk];
    unsigned int used = 0;
    for (; in != fullEnd; in += 4) {
        const std::uint32_t v =
            (Value(in[0]) << 18) | (Value(in[1]) << 12) | (Value(in[2]) << 6) | Value(in[3]);
        chunk[used] = static_cast<unsigned char>(v >> 16);
        chunk[used + 1] = static_cast<unsigned char>(v >> 8);
        chunk[used + 2] = static_cast<unsigned char>(v);
        used += 3;
        if (used == kChunk) {
            bytes.Append(chunk, used);
            used = 0;
        }
    }
    if (rest >= 2) {
        std::uint32_t v = (Value(in[0]) << 18) | (Value(in[1]) << 12);
        chunk[used++] = static_cast<unsigned char>(v >> 16);
        if (rest == 3) {
            v |= Value(in[2]) << 6;
            chunk[used++] = static_cast<unsigned char>(v >> 8);
        }
    }
    bytes.Append(chunk, used);
    return bytes;
}

}  // namespace kor
}  // namespace ka
