// Internal to the sources of FlexData, which is split by topic: the helpers and constants that
// more than one of them uses. Every bound check raises SyntaxError and every exception records
// "ka/kor/FlexData", whichever source it comes from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ka/kor/FlexData.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace flex_detail {

inline constexpr const char* kSourceFile = "ka/kor/FlexData";

// Bytes of the data part that precede a waveform's samples: t0, dt and the sample count.
inline constexpr std::uint32_t kWaveformHeadSize = 28;
// The waveform attribute block and waveform type, the MD of every waveform.
inline constexpr std::uint32_t kWaveformMDSize = 52 + 62;
// Data bytes of a waveform (or waves element) besides its samples.
inline constexpr std::uint32_t kWaveformFrameSize =
    kWaveformHeadSize + sizeof fd::k_waveformDataSuffix;
// The size field and one type code, such as a Void value's.
inline constexpr std::uint32_t kSmallestPacketSize = 6;
// The largest packet a 32-bit size field and the heap interface can describe (kept even).
inline constexpr std::uint64_t kMaxPacketSize = 0xFFFFFFFEu;

inline std::uint64_t RoundUpEven(std::uint64_t n) noexcept {
    return n + (n & 1u);
}

inline std::uint16_t ReadUI16(const unsigned char* p) noexcept {
    return flex_detail::LoadLittle<std::uint16_t>(p);
}

inline std::uint32_t ReadUI32(const unsigned char* p) noexcept {
    return flex_detail::LoadLittle<std::uint32_t>(p);
}

template <typename T>
void Store(unsigned char* p, T v) noexcept {
    v = little_endian::ToLittleEndian(v);
    std::memcpy(p, &v, sizeof(T));
}

inline std::size_t Remaining(const unsigned char* p, const unsigned char* end) noexcept {
    return p <= end ? static_cast<std::size_t>(end - p) : 0;
}

inline void Require(bool condition, std::uint32_t line) {
    if (!condition) {
        throw exception::SyntaxError(line, kSourceFile);
    }
}

inline std::uint32_t CheckedPacketSize(std::uint64_t n) {
    if (n > kMaxPacketSize) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return static_cast<std::uint32_t>(n);
}

// Whether md starts with exactly the waveform attribute block followed by a waveform type.
bool IsWaveformMD(const unsigned char* md, const unsigned char* end);

struct ArrayView {
    std::uint32_t numDims;
    const unsigned char* dims;         // numDims signed 32-bit sizes
    const unsigned char* elements;     // first element's data
    const unsigned char* elementType;  // the element MD's type element
};

ArrayView ViewArray(const unsigned char* type, const unsigned char* data, const unsigned char* end);

// The element count of a well-formed array: every dimension non-negative, and the product (0
// when any dimension is 0) bounded by the bytes that hold the elements (each at least
// minElementSize long), so that a hostile count never makes a caller allocate more than the
// packet could describe.
std::uint32_t CountElements(const ArrayView& v, std::uint32_t minElementSize,
                            const unsigned char* end);

}  // namespace flex_detail

}  // namespace kor
}  // namespace ka
