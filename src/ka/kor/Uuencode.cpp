#include "ka/kor/Uuencode.h"

#include <cstring>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Uuencode";
constexpr char kOffset = 0x21;

// The two characters of every 12-bit value, so that one lookup writes half a group.
struct PairTable {
    char pairs[4096][2];
};

constexpr PairTable MakePairTable() {
    PairTable t{};
    for (int v = 0; v < 4096; ++v) {
        t.pairs[v][0] = static_cast<char>((v >> 6) + kOffset);
        t.pairs[v][1] = static_cast<char>((v & 0x3F) + kOffset);
    }
    return t;
}

constexpr PairTable kPairTable = MakePairTable();

inline char Digit(unsigned int v) noexcept {
    return static_cast<char>(v + kOffset);
}

}  // namespace

AString Uuencode(const unsigned char* bytes, std::uint32_t count) {
    const std::uint64_t size = std::uint64_t{count} / 3 * 4 + (count % 3 == 0 ? 0 : count % 3 + 1);
    if (size > AString::max_size()) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    AString text(static_cast<AString::size_type>(size), kOffset);
    if (count == 0) {
        return text;
    }

    const unsigned char* in = bytes;
    const unsigned char* const fullEnd = in + (count - count % 3);
    char* out = text.begin();
    for (; in != fullEnd; in += 3, out += 4) {
        const std::uint32_t v = (std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2];
        std::memcpy(out, kPairTable.pairs[v >> 12], 2);
        std::memcpy(out + 2, kPairTable.pairs[v & 0xFFF], 2);
    }
    switch (count % 3) {
        case 1:
            out[0] = Digit(in[0] >> 2);
            out[1] = Digit((in[0] & 0x03) << 4);
            break;
        case 2:
            out[0] = Digit(in[0] >> 2);
            out[1] = Digit(((in[0] & 0x03) << 4) | (in[1] >> 4));
            out[2] = Digit((in[1] & 0x0F) << 2);
            break;
        default:
            break;
    }
    return text;
}

AString Uuencode(const AutoBuffer& bytes) {
    return Uuencode(bytes.Data(), bytes.Len());
}

}  // namespace kor
}  // namespace ka
