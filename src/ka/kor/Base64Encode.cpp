#include "ka/kor/Base64Encode.h"

#include <cstdint>
#include <cstring>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Base64Encode";

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The two characters of every 12-bit value, so that one lookup writes half a group.
struct PairTable {
    char pairs[4096][2];
};

constexpr PairTable MakePairTable() {
    PairTable t{};
    for (int v = 0; v < 4096; ++v) {
        t.pairs[v][0] = kAlphabet[v >> 6];
        t.pairs[v][1] = kAlphabet[v & 0x3F];
    }
    return t;
}

constexpr PairTable kPairTable = MakePairTable();

inline char* EncodeGroup(const unsigned char* in, char* out) noexcept {
    const std::uint32_t v = (std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2];
    std::memcpy(out, kPairTable.pairs[v >> 12], 2);
    std::memcpy(out + 2, kPairTable.pairs[v & 0xFFF], 2);
    return out + 4;
}

}  // namespace

AString Base64Encode(const BufferWrapper& bytes) {
    const std::uint32_t n = bytes.length();
    const std::uint64_t size = (std::uint64_t{n} + 2) / 3 * 4;
    if (size > AString::max_size()) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    AString text(static_cast<AString::size_type>(size), '=');
    if (n == 0) {
        return text;
    }

    const unsigned char* in = bytes.data();
    const unsigned char* const fullEnd = in + (n - n % 3);
    char* out = text.begin();
    // Four groups per step keep the table lookups of neighbouring groups independent.
    while (fullEnd - in >= 12) {
        out = EncodeGroup(in, out);
        out = EncodeGroup(in + 3, out);
        out = EncodeGroup(in + 6, out);
        out = EncodeGroup(in + 9, out);
        in += 12;
    }
    while (in != fullEnd) {
        out = EncodeGroup(in, out);
        in += 3;
    }

    // The text was filled with "=", so the unfilled positions of a short final group stay "=".
    switch (n % 3) {
        case 1:
            out[0] = kAlphabet[in[0] >> 2];
            out[1] = kAlphabet[(in[0] & 0x03) << 4];
            break;
        case 2:
            out[0] = kAlphabet[in[0] >> 2];
            out[1] = kAlphabet[((in[0] & 0x03) << 4) | (in[1] >> 4)];
            out[2] = kAlphabet[(in[1] & 0x0F) << 2];
            break;
        default:
            break;
    }
    return text;
}

}  // namespace kor
}  // namespace ka
