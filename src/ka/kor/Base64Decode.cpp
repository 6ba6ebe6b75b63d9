#include "ka/kor/Base64Decode.h"

#include <cstdint>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Base64Decode";

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Marks a character outside the alphabet; "=" is one of them, so that padding anywhere but in the
// last group fails like any other bad character.
constexpr std::uint32_t kInvalid = 0x01000000;

// For each position in a group, every byte's 6-bit value already shifted into place, or kInvalid:
// or-ing the four lookups gives the group's 24 bits, with bit 24 set if any character was bad.
struct DecodeTables {
    std::uint32_t shifted[4][256];
};

constexpr DecodeTables MakeDecodeTables() {
    DecodeTables t{};
    for (int position = 0; position < 4; ++position) {
        for (int c = 0; c < 256; ++c) {
            t.shifted[position][c] = kInvalid;
        }
        for (std::uint32_t v = 0; v < 64; ++v) {
            const auto c = static_cast<unsigned char>(kAlphabet[v]);
            t.shifted[position][c] = v << (18 - 6 * position);
        }
    }
    return t;
}

constexpr DecodeTables kTables = MakeDecodeTables();

inline std::uint32_t GroupBits(const unsigned char* in) noexcept {
    return kTables.shifted[0][in[0]] | kTables.shifted[1][in[1]] | kTables.shifted[2][in[2]] |
           kTables.shifted[3][in[3]];
}

// Decodes the last group into out (room for 3) and returns the number of bytes it carries.
unsigned int DecodeLastGroup(const unsigned char* in, unsigned char* out) {
    if (in[2] == '=' || in[3] == '=') {
        if (in[3] != '=') {
            throw exception::DeserializationError(__LINE__, kSourceFile);  // "=" then a character
        }
        const unsigned char third = in[2] == '=' ? 'A' : in[2];
        const unsigned char group[4] = {in[0], in[1], third, 'A'};
        const std::uint32_t v = GroupBits(group);
        if (v & kInvalid) {
            throw exception::DeserializationError(__LINE__, kSourceFile);
        }
        out[0] = static_cast<unsigned char>(v >> 16);
        if (in[2] == '=') {
            return 1;
        }
        out[1] = static_cast<unsigned char>(v >> 8);
        return 2;
    }
    const std::uint32_t v = GroupBits(in);
    if (v & kInvalid) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    out[0] = static_cast<unsigned char>(v >> 16);
    out[1] = static_cast<unsigned char>(v >> 8);
    out[2] = static_cast<unsigned char>(v);
    return 3;
}

}  // namespace

AString Base64Decode(const AString& text) {
    const AString::size_type n = text.size();
    if (n % 4 != 0) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    if (n == 0) {
        return AString();
    }

    // The last group is checked first: it alone may carry padding, and it fixes the exact size.
    const auto* in = reinterpret_cast<const unsigned char*>(text.begin());
    const unsigned char* const lastGroup = in + n - 4;
    unsigned char tail[3];
    const unsigned int tailCount = DecodeLastGroup(lastGroup, tail);

    AString bytes(n / 4 * 3 - 3 + tailCount, '\0');
    auto* out = reinterpret_cast<unsigned char*>(bytes.begin());
    // Four groups per step; one test of the or-ed lookups covers all sixteen characters.
    while (lastGroup - in >= 16) {
        const std::uint32_t a = GroupBits(in);
        const std::uint32_t b = GroupBits(in + 4);
        const std::uint32_t c = GroupBits(in + 8);
        const std::uint32_t d = GroupBits(in + 12);
        if ((a | b | c | d) & kInvalid) {
            throw exception::DeserializationError(__LINE__, kSourceFile);
        }
        const std::uint32_t groups[4] = {a, b, c, d};
        for (std::uint32_t v : groups) {
            out[0] = static_cast<unsigned char>(v >> 16);
            out[1] = static_cast<unsigned char>(v >> 8);
            out[2] = static_cast<unsigned char>(v);
            out += 3;
        }
        in += 16;
    }
    while (in != lastGroup) {
        const std::uint32_t v = GroupBits(in);
        if (v & kInvalid) {
            throw exception::DeserializationError(__LINE__, kSourceFile);
        }
        out[0] = static_cast<unsigned char>(v >> 16);
        out[1] = static_cast<unsigned char>(v >> 8);
        out[2] = static_cast<unsigned char>(v);
        out += 3;
        in += 4;
    }
    for (unsigned int i = 0; i < tailCount; ++i) {
        out[i] = tail[i];
    }
    return bytes;
}

}  // namespace kor
}  // namespace ka
