#include "ka/kor/WideToUtf8.h"

#include <cstddef>
#include <cstdint>
#include <cwchar>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/WideToUtf8";

// wchar_t is signed on both architectures; characters are taken as unsigned 32-bit values so that
// 0x80000000 and above are "too large" rather than negative.
inline std::uint32_t Unit(wchar_t c) {
    return static_cast<std::uint32_t>(c);
}

// Bytes taken by one character; a value that cannot be encoded takes the one byte of its "?".
inline std::size_t EncodedSize(std::uint32_t u) {
    if (u >= 0x80000000u) {
        return 1;
    }
    return 1 + (u >= 0x80u) + (u >= 0x800u) + (u >= 0x10000u) + (u >= 0x200000u) +
           (u >= 0x4000000u);
}

inline bool FourAscii(const wchar_t* p) {
    return (Unit(p[0]) | Unit(p[1]) | Unit(p[2]) | Unit(p[3])) < 0x80u;
}

std::size_t EncodedSize(const wchar_t* begin, const wchar_t* end) {
    std::size_t n = 0;
    for (const wchar_t* p = begin; p != end; ++p) {
        n += EncodedSize(Unit(*p));
    }
    return n;
}

// The public sizes are 32-bit; a text whose encoding would not fit is refused rather than
// measured wrongly.
unsigned int CheckedSize(std::size_t n) {
    if (n > 0xFFFFFFFEu) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    return static_cast<unsigned int>(n);
}

}  // namespace

char* EncodeUtf8(const wchar_t* begin, const wchar_t* end, char* out) {
    if (begin == nullptr) {
        return out;
    }
    const wchar_t* p = begin;
    while (p != end) {
        // Blocks of four ASCII characters: ASCII-heavy text spends nearly all its time here.
        if (end - p >= 4 && FourAscii(p)) {
            out[0] = static_cast<char>(p[0]);
            out[1] = static_cast<char>(p[1]);
            out[2] = static_cast<char>(p[2]);
            out[3] = static_cast<char>(p[3]);
            out += 4;
            p += 4;
            continue;
        }
        const std::uint32_t u = Unit(*p++);
        if (u < 0x80u) {
            *out++ = static_cast<char>(u);
            continue;
        }
        if (u >= 0x80000000u) {
            *out++ = '?';
            continue;
        }
        std::size_t extra;
        unsigned lead;
        if (u < 0x800u) {
            extra = 1;
            lead = 0xC0;
        } else if (u < 0x10000u) {
            extra = 2;
            lead = 0xE0;
        } else if (u < 0x200000u) {
            extra = 3;
            lead = 0xF0;
        } else if (u < 0x4000000u) {
            extra = 4;
            lead = 0xF8;
        } else {
            extra = 5;
            lead = 0xFC;
        }
        out[0] = static_cast<char>(lead | (u >> (6 * extra)));
        for (std::size_t i = 1; i <= extra; ++i) {
            out[i] = static_cast<char>(0x80u | ((u >> (6 * (extra - i))) & 0x3Fu));
        }
        out += extra + 1;
    }
    return out;
}

unsigned int GetUtf8EncodingBytes(const wchar_t* begin, const wchar_t* end) {
    if (begin == nullptr) {
        return 0;
    }
    return CheckedSize(EncodedSize(begin, end));
}

unsigned int GetUtf8EncodingBytes(const wchar_t* text) {
    return text ? GetUtf8EncodingBytes(text, text + std::wcslen(text)) : 0;
}

char* WideToUtf8(const wchar_t* begin, const wchar_t* end) {
    const unsigned int n = GetUtf8EncodingBytes(begin, end);
    char* out = new char[static_cast<std::size_t>(n) + 1];
    *EncodeUtf8(begin, end, out) = '\0';
    return out;
}

char* WideToUtf8(const wchar_t* text) {
    return text ? WideToUtf8(text, text + std::wcslen(text)) : WideToUtf8(text, text);
}

}  // namespace kor
}  // namespace ka
