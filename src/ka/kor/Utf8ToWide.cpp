#include "ka/kor/Utf8ToWide.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Utf8ToWide";

constexpr std::uint64_t kHighBits = 0x8080808080808080ull;

[[noreturn]] void ThrowInvalidSequence(std::uint32_t line) {
    throw exception::InvalidSequence(line, kSourceFile);
}

// Reads the multi-byte sequence that starts at p (whose lead byte is 0x80 or above), advances p
// past it and returns the character. Throws InvalidSequence for a lead byte that starts no
// sequence, a continuation byte that is not 10xxxxxx, a sequence that runs past end and the
// overlong forms 0xC0/0xC1, 0xE0 < 0xA0, 0xF0 < 0x90 and 0xFC < 0x84.
// Five-byte overlong forms (0xF8 followed by less than 0x88) are deliberately accepted: other
// readers of the same data accept them too, and a stricter reader would refuse their strings.
inline std::uint32_t DecodeSequence(const unsigned char*& p, const unsigned char* end) {
    const unsigned lead = *p;
    std::size_t extra;
    std::uint32_t value;
    unsigned minSecond = 0x80;  // lowest second byte that is not an overlong form
    if (lead < 0xC2) {
        // Continuation bytes 0x80-0xBF cannot start a character; 0xC0 and 0xC1 only start
        // overlong forms of ASCII characters.
        ThrowInvalidSequence(__LINE__);
    } else if (lead < 0xE0) {
        extra = 1;
        value = lead & 0x1F;
    } else if (lead < 0xF0) {
        extra = 2;
        value = lead & 0x0F;
        minSecond = lead == 0xE0 ? 0xA0 : 0x80;
    } else if (lead < 0xF8) {
        extra = 3;
        value = lead & 0x07;
        minSecond = lead == 0xF0 ? 0x90 : 0x80;
    } else if (lead < 0xFC) {
        extra = 4;
        value = lead & 0x03;
    } else if (lead < 0xFE) {
        extra = 5;
        value = lead & 0x01;
        minSecond = lead == 0xFC ? 0x84 : 0x80;
    } else {
        ThrowInvalidSequence(__LINE__);
    }
    if (static_cast<std::size_t>(end - p) <= extra) {
        ThrowInvalidSequence(__LINE__);
    }
    if (p[1] < minSecond) {
        ThrowInvalidSequence(__LINE__);
    }
    for (std::size_t i = 1; i <= extra; ++i) {
        const unsigned c = p[i];
        if ((c & 0xC0) != 0x80) {
            ThrowInvalidSequence(__LINE__);
        }
        value = (value << 6) | (c & 0x3F);
    }
    p += extra + 1;
    return value;
}

// True when the eight bytes at p are all ASCII. memcpy keeps the load free of alignment and
// aliasing assumptions; the test looks at every byte, so byte order does not matter.
inline bool EightAscii(const unsigned char* p) {
    std::uint64_t w;
    std::memcpy(&w, p, sizeof w);
    return (w & kHighBits) == 0;
}

}  // namespace

unsigned int GetUtf8StringLength(const char* bytes, unsigned int count) {
    if (bytes == nullptr) {
        return 0;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes);
    const unsigned char* const end = p + count;
    unsigned int n = 0;
    while (p != end) {
        if (*p < 0x80) {
            ++p;
            ++n;
            // ASCII-heavy text spends nearly all its time here.
            while (end - p >= 8 && EightAscii(p)) {
                p += 8;
                n += 8;
            }
        } else {
            DecodeSequence(p, end);
            ++n;
        }
    }
    return n;
}

wchar_t* DecodeUtf8(const char* begin, const char* end, wchar_t* out) {
    if (begin == nullptr) {
        return out;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(begin);
    const unsigned char* const e = reinterpret_cast<const unsigned char*>(end);
    while (p != e) {
        if (*p < 0x80) {
            *out++ = static_cast<wchar_t>(*p++);
            while (e - p >= 8 && EightAscii(p)) {
                for (int i = 0; i < 8; ++i) {
                    out[i] = static_cast<wchar_t>(p[i]);
                }
                out += 8;
                p += 8;
            }
        } else {
            // Decoded values stay below 0x80000000, so they fit a signed 32-bit wchar_t.
            *out++ = static_cast<wchar_t>(DecodeSequence(p, e));
        }
    }
    return out;
}

wchar_t* Utf8ToWide(const char* bytes, unsigned int count) {
    if (bytes == nullptr) {
        count = 0;
    }
    // Every character takes at least one byte, so count + 1 characters always suffice; one pass
    // over the input is cheaper than measuring first.
    wchar_t* out = new wchar_t[static_cast<std::size_t>(count) + 1];
    try {
        wchar_t* last = DecodeUtf8(bytes, bytes + count, out);
        *last = L'\0';
    } catch (...) {
        delete[] out;
        throw;
    }
    return out;
}

}  // namespace kor
}  // namespace ka
