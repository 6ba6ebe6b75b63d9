#include "ka/kor/WideToUtf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <utility>

#include "ka/kor/exception.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/WideToUtf8";

// The most bytes one character takes.
constexpr std::size_t kMaxSequence = 6;

// wchar_t is signed on both architectures; characters are taken as unsigned 32-bit values so that
// 0x80000000 and above are "too large" rather than negative.
inline std::uint32_t Unit(wchar_t c) {
    return static_cast<std::uint32_t>(c);
}

// Bytes taken by one character. Compared as signed 32-bit numbers, every threshold passed adds a
// byte, and a value of 0x80000000 or more, negative then, passes none and takes the one byte of
// its "?". Free of branches, so that sums of it compile to vector code.
inline std::uint32_t EncodedSize(std::uint32_t u) {
    const std::int32_t v = static_cast<std::int32_t>(u);
    return 1u + (v >= 0x80) + (v >= 0x800) + (v >= 0x10000) + (v >= 0x200000) + (v >= 0x4000000);
}

// Counted in 64 bits: on a 32-bit build a long text of six-byte characters would wrap a size_t.
std::uint64_t EncodedSize(const wchar_t* p, const wchar_t* end) {
    std::uint64_t n = 0;
#if defined(__SSE2__)
    // Sixteen characters at a time: an ASCII block counts sixteen at once; otherwise each
    // threshold passed adds one per character (cmpgt yields -1, which is subtracted), with the
    // thresholds above 0xFFFF only tested when the block holds such characters.
    const __m128i t80 = _mm_set1_epi32(0x7F);
    const __m128i t800 = _mm_set1_epi32(0x7FF);
    const __m128i t10000 = _mm_set1_epi32(0xFFFF);
    const __m128i t200000 = _mm_set1_epi32(0x1FFFFF);
    const __m128i t4000000 = _mm_set1_epi32(0x3FFFFFF);
    const __m128i* in = reinterpret_cast<const __m128i*>(p);
    while (end - p >= 16) {
        // Lanes gain at most 5 * 4 per block, so 4096 blocks cannot overflow them.
        __m128i extra = _mm_setzero_si128();
        int blocks = 0;
        for (; blocks < 4096 && end - p >= 16; ++blocks, p += 16, in += 4) {
            const __m128i x[4] = {_mm_loadu_si128(in), _mm_loadu_si128(in + 1),
                                  _mm_loadu_si128(in + 2), _mm_loadu_si128(in + 3)};
            const __m128i any = _mm_or_si128(_mm_or_si128(x[0], x[1]), _mm_or_si128(x[2], x[3]));
            // Values of 0x80000000 or more are negative, take one byte and pass no threshold.
            const int negative = _mm_movemask_ps(_mm_castsi128_ps(any));
            if (negative == 0 && _mm_movemask_epi8(_mm_cmpgt_epi32(any, t80)) == 0) {
                continue;  // all ASCII
            }
            const bool beyondPlane =
                negative != 0 || _mm_movemask_epi8(_mm_cmpgt_epi32(any, t10000)) != 0;
            for (const __m128i& v : x) {
                extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, t80));
                extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, t800));
                if (beyondPlane) {
                    extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, t10000));
                    extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, t200000));
                    extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, t4000000));
                }
            }
        }
        std::uint32_t lanes[4];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), extra);
        n += 16u * static_cast<std::uint64_t>(blocks) + lanes[0] + lanes[1] + lanes[2] + lanes[3];
    }
#endif
    for (; p != end; ++p) {
        n += EncodedSize(Unit(*p));
    }
    return n;
}

// The block helpers below look at sixteen characters at a time and write sixteen bytes whatever
// they keep: sixteen characters never encode to fewer, so the caller's room always suffices. On
// targets with SSE2 (every x86_64) they use its instructions; elsewhere (i386) plain code.

// Writes the ASCII characters that open the sixteen at p to out and returns their number (0-16).
inline unsigned NarrowAsciiPrefix(const wchar_t* p, char* out) {
#if defined(__SSE2__)
    const __m128i* in = reinterpret_cast<const __m128i*>(p);
    const __m128i a = _mm_loadu_si128(in);
    const __m128i b = _mm_loadu_si128(in + 1);
    const __m128i c = _mm_loadu_si128(in + 2);
    const __m128i d = _mm_loadu_si128(in + 3);
    const __m128i high = _mm_set1_epi32(static_cast<int>(0xFFFFFF80u));
    const __m128i zero = _mm_setzero_si128();
    // One all-ones byte per ASCII character, in order.
    const __m128i ascii =
        _mm_packs_epi16(_mm_packs_epi32(_mm_cmpeq_epi32(_mm_and_si128(a, high), zero),
                                        _mm_cmpeq_epi32(_mm_and_si128(b, high), zero)),
                        _mm_packs_epi32(_mm_cmpeq_epi32(_mm_and_si128(c, high), zero),
                                        _mm_cmpeq_epi32(_mm_and_si128(d, high), zero)));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(ascii));
    // ASCII values pass the saturating packs unchanged; the bytes of other characters are
    // written too but not kept.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    return mask == 0xFFFF ? 16 : static_cast<unsigned>(__builtin_ctz(~mask));
#else
    unsigned n = 0;
    while (n < 16 && Unit(p[n]) < 0x80u) {
        out[n] = static_cast<char>(p[n]);
        ++n;
    }
    return n;
#endif
}

// When the sixteen characters at p are all ASCII, writes them to out and returns true.
inline bool SixteenAsciiNarrowed(const wchar_t* p, char* out) {
#if defined(__SSE2__)
    const __m128i* in = reinterpret_cast<const __m128i*>(p);
    const __m128i a = _mm_loadu_si128(in);
    const __m128i b = _mm_loadu_si128(in + 1);
    const __m128i c = _mm_loadu_si128(in + 2);
    const __m128i d = _mm_loadu_si128(in + 3);
    const __m128i high = _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)),
                                       _mm_set1_epi32(static_cast<int>(0xFFFFFF80u)));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) {
        return false;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    return true;
#else
    return NarrowAsciiPrefix(p, out) == 16;
#endif
}

// Writes the two-byte characters (0x80-0x7FF, as in Greek or Cyrillic words) that open the
// sixteen at p to out and returns their number (0-8). Only worth its cost with vector
// instructions; without them it leaves every character to the caller.
inline unsigned EncodeTwoBytePrefix(const wchar_t* p, char* out) {
#if defined(__SSE2__)
    const __m128i* in = reinterpret_cast<const __m128i*>(p);
    const __m128i a = _mm_loadu_si128(in);
    const __m128i b = _mm_loadu_si128(in + 1);
    const __m128i zero = _mm_setzero_si128();
    const __m128i above = _mm_set1_epi32(static_cast<int>(0xFFFFF800u));
    const __m128i middle = _mm_set1_epi32(0x780);
    // A value fits when it has no bit above 0x7FF and at least one of 0x780 (so is not ASCII).
    const __m128i fitsA = _mm_andnot_si128(_mm_cmpeq_epi32(_mm_and_si128(a, middle), zero),
                                           _mm_cmpeq_epi32(_mm_and_si128(a, above), zero));
    const __m128i fitsB = _mm_andnot_si128(_mm_cmpeq_epi32(_mm_and_si128(b, middle), zero),
                                           _mm_cmpeq_epi32(_mm_and_si128(b, above), zero));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi32(fitsA, fitsB)));
    if ((mask & 3) == 0) {
        return 0;
    }
    // Values up to 0x7FF pack to 16 bits unchanged (the others are written but not kept). x86
    // is little-endian: the lead byte goes in the low half of each lane, the continuation byte
    // in the high half.
    const __m128i v = _mm_packs_epi32(a, b);
    const __m128i lead = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 6), _mm_set1_epi16(0x1F)),
                                      _mm_set1_epi16(0xC0));
    const __m128i next = _mm_slli_epi16(
        _mm_or_si128(_mm_and_si128(v, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80)), 8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_or_si128(lead, next));
    return mask == 0xFFFF ? 8 : static_cast<unsigned>(__builtin_ctz(~mask)) / 2;
#else
    (void)p;
    (void)out;
    return 0;
#endif
}

// Writes the encoding of one character (not ASCII) and returns one past its last byte.
inline char* EncodeOne(std::uint32_t u, char* out) {
    if (u < 0x800u) {
        out[0] = static_cast<char>(0xC0u | (u >> 6));
        out[1] = static_cast<char>(0x80u | (u & 0x3Fu));
        return out + 2;
    }
    if (u < 0x10000u) {
        out[0] = static_cast<char>(0xE0u | (u >> 12));
        out[1] = static_cast<char>(0x80u | ((u >> 6) & 0x3Fu));
        out[2] = static_cast<char>(0x80u | (u & 0x3Fu));
        return out + 3;
    }
    if (u >= 0x80000000u) {
        *out = '?';
        return out + 1;
    }
    std::size_t extra;
    unsigned lead;
    if (u < 0x200000u) {
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
    return out + extra + 1;
}

// Writes the three bytes of a character from 0x800 to 0xFFFF at out, as one four-byte store
// (a fourth byte of zero lands after them), and returns out + 3.
inline char* EncodeThreeByteWord(std::uint32_t u, char* out) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(0xE0u | (u >> 12)),
                                    static_cast<unsigned char>(0x80u | ((u >> 6) & 0x3Fu)),
                                    static_cast<unsigned char>(0x80u | (u & 0x3Fu)), 0};
    std::memcpy(out, bytes, sizeof bytes);
    return out + 3;
}

// Encodes from p. When kBounded, stops at the first character that might not fit before outEnd,
// leaving p there.
template <bool kBounded>
char* Encode(const wchar_t*& position, const wchar_t* end, char* out, const char* outEnd) {
    // A local cursor stays in a register; the caller's is written once at the end.
    const wchar_t* p = position;
    // One turn of this loop takes at most sixteen characters, so room for sixteen of the longest
    // keeps a bounded turn inside outEnd.
    constexpr std::ptrdiff_t kTurnRoom = 16 * kMaxSequence;
    while (end - p >= 16 && (!kBounded || outEnd - out >= kTurnRoom)) {
        const std::uint32_t u = Unit(*p);
        if (u < 0x80u) {
            if (Unit(p[1]) >= 0x80u) {
                // A lone blank between words is not worth a block.
                *out++ = static_cast<char>(u);
                ++p;
                continue;
            }
            // Whole blocks advance by a constant, so that each does not wait for the test of the
            // one before it; only the last, partial one advances by its count.
            // An accented letter inside ASCII text is taken here too, so that the text stays in
            // this loop.
            for (;;) {
                if (SixteenAsciiNarrowed(p, out)) {
                    p += 16;
                    out += 16;
                } else {
                    const unsigned n = NarrowAsciiPrefix(p, out);
                    p += n;
                    out += n;
                    if (end - p < 2) {
                        break;
                    }
                    const std::uint32_t next = Unit(*p);
                    if (next - 0x80u >= 0x800u - 0x80u || Unit(p[1]) >= 0x80u) {
                        break;
                    }
                    out = EncodeOne(next, out);
                    ++p;
                }
                if (end - p < 16 || (kBounded && outEnd - out < kTurnRoom)) {
                    break;
                }
            }
        } else if (u < 0x800u) {
            const unsigned n = EncodeTwoBytePrefix(p, out);
            if (n != 0) {
                p += n;
                out += 2 * n;
            } else {
                out = EncodeOne(u, out);
                ++p;
            }
        } else if (u < 0x10000u) {
            // Scripts written in three-byte forms (CJK, kana, Indic) come in runs. Each
            // character is written as one four-byte word whose last byte the next overwrites;
            // sixteen characters still to come need far more room than that one byte.
            const wchar_t* const stop = p + 15;
            std::uint32_t c = u;
            do {
                out = EncodeThreeByteWord(c, out);
                c = Unit(*++p);
            } while (p != stop && c - 0x800u < 0x10000u - 0x800u);
        } else {
            out = EncodeOne(u, out);
            ++p;
        }
    }
    for (; p != end; ++p) {
        if (kBounded && static_cast<std::size_t>(outEnd - out) < kMaxSequence) {
            break;
        }
        const std::uint32_t u = Unit(*p);
        if (u < 0x80u) {
            *out++ = static_cast<char>(u);
        } else {
            out = EncodeOne(u, out);
        }
    }
    position = p;
    return out;
}

// The public sizes are 32-bit; a text whose encoding would not fit is refused rather than
// measured wrongly.
unsigned int CheckedSize(std::uint64_t n) {
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
    return Encode<false>(begin, end, out, nullptr);
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
    if (begin == nullptr) {
        end = begin;
    }
    const std::size_t count = static_cast<std::size_t>(end - begin);
    // Most text is ASCII or nearly so: one pass into room for a byte per character and an eighth
    // more usually suffices, where measuring first would read the input twice. Text that needs
    // more is measured from the point where room runs short and moved to an exact array.
    const std::size_t room = count + count / 8 + kMaxSequence;
    std::unique_ptr<char[]> out(new char[room + 1]);
    const wchar_t* p = begin;
    char* last = count ? Encode<true>(p, end, out.get(), out.get() + room) : out.get();
    if (p != end) {
        const std::size_t done = static_cast<std::size_t>(last - out.get());
        const std::size_t total = CheckedSize(done + EncodedSize(p, end));
        std::unique_ptr<char[]> exact(new char[total + 1]);
        std::memcpy(exact.get(), out.get(), done);
        last = Encode<false>(p, end, exact.get() + done, nullptr);
        out = std::move(exact);
    }
    *last = '\0';
    return out.release();
}

char* WideToUtf8(const wchar_t* text) {
    return text ? WideToUtf8(text, text + std::wcslen(text)) : WideToUtf8(text, text);
}

}  // namespace kor
}  // namespace ka
