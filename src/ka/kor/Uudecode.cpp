#include "ka/kor/Uudecode.h"

#include <cstdint>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Uudecode";
constexpr unsigned char kFirst = 0x21;  // "!"
constexpr unsigned char kLast = 0x60;   // "`"
// Bytes decoded before each append; a multiple of 3 so that whole groups fill it.
constexpr unsigned int kChunk = 768;

// The 6-bit value of c; throws DeserializationError for a character Uuencode never writes.
inline std::uint32_t Value(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u < kFirst || u > kLast) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    return u - kFirst;
}

}  // namespace

AutoBuffer Uudecode(const AString& text) {
    const AString::size_type n = text.size();
    const AString::size_type rest = n % 4;
    if (rest == 1) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    const std::uint32_t size = n / 4 * 3 + (rest == 0 ? 0 : rest - 1);
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
    if (rest != 0) {
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
