// Byte-order conversion and bounds-checked raw serialization. Every serialize/deserialize pair of
// the library writes its numbers through these, so wire and packet data are little-endian on
// every host and no read or write passes the end of its range.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace ka {
namespace kor {
namespace little_endian {

// Recorded positions of the two range checks; other components and logs refer to them.
constexpr const char* kSourceFile = "ka/kor/little_endian";
constexpr std::uint32_t kSerializationCheckLine = 111;
constexpr std::uint32_t kDeserializationCheckLine = 124;

[[noreturn]] void ThrowSerializationOverflow();
[[noreturn]] void ThrowDeserializationShortfall();
[[noreturn]] void ThrowDeserializationError(std::uint32_t line, const char* file);

namespace detail {

constexpr bool kHostIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

template <typename T>
T ReverseBytes(const T& v) noexcept {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &v, sizeof(T));
    for (std::size_t i = 0; i < sizeof(T) / 2; ++i) {
        unsigned char t = bytes[i];
        bytes[i] = bytes[sizeof(T) - 1 - i];
        bytes[sizeof(T) - 1 - i] = t;
    }
    T r;
    std::memcpy(&r, bytes, sizeof(T));
    return r;
}

// The conversion as a host of the given byte order performs it. Both forms are compiled on every
// host, so the swapping one is exercised by the tests although no big-endian build exists.
template <bool HostIsLittleEndian, typename T>
T ToLittleEndianOn(const T& v) noexcept {
    static_assert(std::is_arithmetic<T>::value, "only numbers have a byte order");
    if constexpr (HostIsLittleEndian) {
        return v;
    } else {
        return ReverseBytes(v);
    }
}

}  // namespace detail

// Host order to little-endian; on a little-endian host the value is returned unchanged.
template <typename T>
T ToLittleEndian(const T& v) noexcept {
    return detail::ToLittleEndianOn<detail::kHostIsLittleEndian>(v);
}

// Little-endian to host order; the inverse of ToLittleEndian.
template <typename T>
T FromLittleEndian(const T& v) noexcept {
    return ToLittleEndian(v);
}

// Returns p + n, or throws BufferOverflow (recorded at "ka/kor/little_endian" line 111) when
// p + n would pass end. A p already past end always throws.
inline unsigned char* CheckSerializationSize(std::uint32_t n, unsigned char* p,
                                             const unsigned char* end) {
    if (p > end || static_cast<std::size_t>(end - p) < n) {
        ThrowSerializationOverflow();
    }
    return p + n;
}

inline const unsigned char* CheckSerializationSize(std::uint32_t n, const unsigned char* p,
                                                   const unsigned char* end) {
    if (p > end || static_cast<std::size_t>(end - p) < n) {
        ThrowSerializationOverflow();
    }
    return p + n;
}

// Returns p + n, or throws DeserializationError (recorded at "ka/kor/little_endian" line 124)
// when p + n would pass end.
inline const unsigned char* CheckDeserializationSize(std::uint32_t n, const unsigned char* p,
                                                     const unsigned char* end) {
    if (p > end || static_cast<std::size_t>(end - p) < n) {
        ThrowDeserializationShortfall();
    }
    return p + n;
}

// The room between p and end as a signed 32-bit number, the way every build of the library
// measures it (the distance modulo 2^32, read as signed): a p past end, or a range of 2 GiB up
// to 4 GiB, gives a negative room that fits nothing.
inline std::int32_t SignedRoom(const unsigned char* p, const unsigned char* end) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(end - p));
}

// Reads the 4-byte little-endian length that opens a length-prefixed byte block at p, checks that
// that many bytes follow, and returns the length with p moved to the first of them. Both checks
// measure room as SignedRoom does, so a length of 2 GiB or more never fits. Throws
// DeserializationError recorded at (file, headerLine) when fewer than 4 bytes remain, at
// (file, lengthLine) when the block runs past end; p is left as it was either way.
inline std::uint32_t ReadLengthPrefix(const unsigned char*& p, const unsigned char* end,
                                      const char* file, std::uint32_t headerLine,
                                      std::uint32_t lengthLine) {
    if (SignedRoom(p, end) < 4) {
        ThrowDeserializationError(headerLine, file);
    }
    std::uint32_t length;
    std::memcpy(&length, p, sizeof length);
    length = FromLittleEndian(length);
    const auto signedLength = static_cast<std::int32_t>(length);
    if (signedLength < 0 || SignedRoom(p + 4, end) < signedLength) {
        ThrowDeserializationError(lengthLine, file);
    }
    p += 4;
    return length;
}

// Writes v little-endian at p and advances p; throws BufferOverflow without writing when fewer
// than sizeof(T) bytes remain. p need not be aligned.
template <typename T>
void SerializeRaw(const T& v, unsigned char*& p, const unsigned char* end) {
    CheckSerializationSize(sizeof(T), p, end);
    const T le = ToLittleEndian(v);
    std::memcpy(p, &le, sizeof(T));
    p += sizeof(T);
}

// Reads a little-endian T at p into v and advances p; throws DeserializationError, leaving v and
// p as they were, when fewer than sizeof(T) bytes remain. p need not be aligned.
template <typename T>
void DeserializeRaw(T& v, const unsigned char*& p, const unsigned char* end) {
    CheckDeserializationSize(sizeof(T), p, end);
    T le;
    std::memcpy(&le, p, sizeof(T));
    v = FromLittleEndian(le);
    p += sizeof(T);
}

}  // namespace little_endian
}  // namespace kor
}  // namespace ka
