#include "ka/kor/Utf8ToWide.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "ka/kor/exception.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Utf8ToWide";

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

// The block helpers below look at sixteen input bytes at a time. On targets with SSE2 (every
// x86_64) they use its instructions; elsewhere (i386) plain code that reads words through memcpy,
// which assumes nothing about alignment or byte order.
//
// storeAll tells a helper that out has room for sixteen characters whatever the bytes hold, so
// that it may write whole blocks and keep only part of them.

// Number of ASCII bytes that open the sixteen at p.
inline unsigned AsciiPrefix(const unsigned char* p) {
#if defined(__SSE2__)
    const unsigned high = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    return high == 0 ? 16 : static_cast<unsigned>(__builtin_ctz(high));
#else
    unsigned n = 0;
    while (n < 16 && p[n] < 0x80) {
        ++n;
    }
    return n;
#endif
}

// Widens the ASCII bytes that open the sixteen at p into out and returns their number (0-16).
inline unsigned WidenAsciiPrefix(const unsigned char* p, wchar_t* out, bool storeAll) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
    const unsigned n = high == 0 ? 16 : static_cast<unsigned>(__builtin_ctz(high));
    if (n == 16 || storeAll) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i low = _mm_unpacklo_epi8(bytes, zero);
        const __m128i upper = _mm_unpackhi_epi8(bytes, zero);
        __m128i* o = reinterpret_cast<__m128i*>(out);
        _mm_storeu_si128(o, _mm_unpacklo_epi16(low, zero));
        _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(low, zero));
        _mm_storeu_si128(o + 2, _mm_unpacklo_epi16(upper, zero));
        _mm_storeu_si128(o + 3, _mm_unpackhi_epi16(upper, zero));
        return n;
    }
#else
    (void)storeAll;
    // A local copy, so that the compiler need not fear that the stores change the input.
    unsigned char block[16];
    std::memcpy(block, p, sizeof block);
    std::uint64_t a;
    std::uint64_t b;
    std::memcpy(&a, block, sizeof a);
    std::memcpy(&b, block + 8, sizeof b);
    unsigned n = 16;
    if (((a | b) & 0x8080808080808080ull) != 0) {
        n = 0;
        while (block[n] < 0x80) {
            ++n;
        }
    }
#endif
    for (unsigned i = 0; i < n; ++i) {
        out[i] = static_cast<wchar_t>(p[i]);
    }
    return n;
}

// Decodes the two-byte sequences (as in Greek or Cyrillic words) that open the sixteen bytes at p
// into out and returns their number (0-8). Only worth its cost with vector instructions; without
// them it leaves every sequence to the caller.
inline unsigned DecodeTwoBytePrefix(const unsigned char* p, wchar_t* out, bool storeAll) {
#if defined(__SSE2__)
    // x86 is little-endian: each 16-bit lane holds a lead byte low and its continuation high.
    // A lane qualifies when it reads 110xxxxx 10xxxxxx with a lead other than 0xC0 and 0xC1
    // (whose 0x1E bits are all zero).
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i zero = _mm_setzero_si128();
    const __m128i form = _mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xC0E0)));
    const __m128i twoByte = _mm_cmpeq_epi16(form, _mm_set1_epi16(static_cast<short>(0x80C0)));
    const __m128i overlong = _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(0x001E)), zero);
    const unsigned good =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(overlong, twoByte)));
    const unsigned n = good == 0xFFFF ? 8 : static_cast<unsigned>(__builtin_ctz(~good)) / 2;
    if (n == 0) {
        return 0;
    }
    const __m128i value = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(v, _mm_set1_epi16(0x1F)), 6),
                                       _mm_and_si128(_mm_srli_epi16(v, 8), _mm_set1_epi16(0x3F)));
    const __m128i first = _mm_unpacklo_epi16(value, zero);
    const __m128i second = _mm_unpackhi_epi16(value, zero);
    if (n == 8 || storeAll) {
        __m128i* o = reinterpret_cast<__m128i*>(out);
        _mm_storeu_si128(o, first);
        _mm_storeu_si128(o + 1, second);
    } else {
        wchar_t chars[8];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(chars), first);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(chars) + 1, second);
        std::memcpy(out, chars, n * sizeof(wchar_t));
    }
    return n;
#else
    (void)p;
    (void)out;
    (void)storeAll;
    return 0;
#endif
}

inline bool IsContinuation(unsigned c) {
    return (c & 0xC0) == 0x80;
}

// When the three bytes at p are a three-byte sequence, decodes it into *out and returns true.
inline bool ThreeByteDecoded(const unsigned char* p, wchar_t* out) {
    const unsigned c = p[0];
    const unsigned c1 = p[1];
    const unsigned c2 = p[2];
    if ((c & 0xF0) != 0xE0 || !IsContinuation(c1) || !IsContinuation(c2) ||
        (c == 0xE0 && c1 < 0xA0)) {
        return false;
    }
    *out = static_cast<wchar_t>(((c & 0x0Fu) << 12) | ((c1 & 0x3Fu) << 6) | (c2 & 0x3Fu));
    return true;
}

// Decodes [p, e) into out. kRoomPerByte: out has room for one character per input byte, which
// lets the block helpers write whole blocks.
template <bool kRoomPerByte>
wchar_t* Decode(const unsigned char* p, const unsigned char* e, wchar_t* out) {
    // While sixteen bytes remain, the common forms are read without bounds checks; anything
    // unusual goes through DecodeSequence, which also raises the errors.
    while (e - p >= 16) {
        const unsigned c = p[0];
        if (c < 0x80) {
            if (p[1] >= 0x80) {
                // A lone blank between words is not worth a block.
                *out++ = static_cast<wchar_t>(c);
                ++p;
                continue;
            }
            // Whole blocks advance by a constant, so that each does not wait for the test of the
            // one before it; only the last, partial one advances by its count.
            // An accented letter inside ASCII text is taken here too, so that the text stays in
            // this loop.
            for (;;) {
                const unsigned n = WidenAsciiPrefix(p, out, kRoomPerByte);
                if (n == 16) {
                    p += 16;
                    out += 16;
                } else {
                    p += n;
                    out += n;
                    if (e - p < 3) {
                        break;
                    }
                    const unsigned lead = p[0];
                    const unsigned next = p[1];
                    if (lead - 0xC2u > 0xDFu - 0xC2u || !IsContinuation(next) || p[2] >= 0x80) {
                        break;
                    }
                    *out++ = static_cast<wchar_t>(((lead & 0x1Fu) << 6) | (next & 0x3Fu));
                    p += 2;
                }
                if (e - p < 16) {
                    break;
                }
            }
            continue;
        }
        const unsigned c1 = p[1];
        if (c < 0xE0) {
            const unsigned n = DecodeTwoBytePrefix(p, out, kRoomPerByte);
            if (n != 0) {
                p += 2 * n;
                out += n;
                continue;
            }
            if (c >= 0xC2 && IsContinuation(c1)) {
                *out++ = static_cast<wchar_t>(((c & 0x1Fu) << 6) | (c1 & 0x3Fu));
                p += 2;
                continue;
            }
        } else if (c < 0xF0) {
            if (ThreeByteDecoded(p, out)) {
                p += 3;
                ++out;
                // Scripts written in three-byte forms (CJK, kana, Indic) come in runs.
                while (e - p >= 3 && ThreeByteDecoded(p, out)) {
                    p += 3;
                    ++out;
                }
                continue;
            }
        }
        // Decoded values stay below 0x80000000, so they fit a signed 32-bit wchar_t.
        *out++ = static_cast<wchar_t>(DecodeSequence(p, e));
    }
    while (p != e) {
        if (*p < 0x80) {
            *out++ = static_cast<wchar_t>(*p++);
        } else {
            *out++ = static_cast<wchar_t>(DecodeSequence(p, e));
        }
    }
    return out;
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
        if (*p >= 0x80) {
            DecodeSequence(p, end);
            ++n;
        } else if (end - p >= 16) {
            // ASCII-heavy text spends nearly all its time here.
            const unsigned ascii = AsciiPrefix(p);
            p += ascii;
            n += ascii;
        } else {
            ++p;
            ++n;
        }
    }
    return n;
}

wchar_t* DecodeUtf8(const char* begin, const char* end, wchar_t* out) {
    if (begin == nullptr) {
        return out;
    }
    return Decode<false>(reinterpret_cast<const unsigned char*>(begin),
                         reinterpret_cast<const unsigned char*>(end), out);
}

wchar_t* Utf8ToWide(const char* bytes, unsigned int count) {
    if (bytes == nullptr) {
        count = 0;
    }
    // Every character takes at least one byte, so count + 1 characters always suffice; one pass
    // over the input is cheaper than measuring first, and the room lets blocks be written whole.
    // The size is worked out in 64 bits: on a 32-bit build count + 1 would wrap to nothing.
    const std::uint64_t chars = std::uint64_t{count} + 1;
    if (chars > SIZE_MAX / sizeof(wchar_t)) {
        throw std::bad_alloc();
    }
    std::unique_ptr<wchar_t[]> out(new wchar_t[static_cast<std::size_t>(chars)]);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes);
    *Decode<true>(p, p + count, out.get()) = L'\0';
    return out.release();
}

}  // namespace kor
}  // namespace ka
