// Cyclic redundancy checks: CRC<unsigned short> is CRC-16/ARC, CRC<unsigned long> is
// CRC-32/ISO-HDLC (the zlib and Ethernet CRC). Each has its reflected 256-entry table, a stored
// checksum read from a byte range, and the checksum of data computed with the standard parameters.
#pragma once

#include <array>
#include <cstdint>

#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

// Width and parameters of each CRC. The 32-bit CRC is named after unsigned long, which is 8 bytes
// on x86_64: its value and its stored form are 32 bits on both architectures.
template <typename T>
struct CRCTraits;

template <>
struct CRCTraits<unsigned short> {
    typedef std::uint16_t Value;
    static constexpr Value kReflectedPolynomial = 0xA001;  // 0x8005 reflected
    static constexpr Value kInitial = 0;
    static constexpr Value kFinalXor = 0;
};

template <>
struct CRCTraits<unsigned long> {
    typedef std::uint32_t Value;
    static constexpr Value kReflectedPolynomial = 0xEDB88320;  // 0x04C11DB7 reflected
    static constexpr Value kInitial = 0xFFFFFFFF;
    static constexpr Value kFinalXor = 0xFFFFFFFF;
};

template <typename T>
class CRC {
  public:
    typedef typename CRCTraits<T>::Value Value;
    // Bytes of a stored checksum: 2 or 4.
    static constexpr std::uint32_t kStoredSize = sizeof(Value);

    // Entry i is the register after shifting the byte i through it, least significant bit first.
    static constexpr std::array<Value, 256> CRCTable_ = [] {
        std::array<Value, 256> table{};
        for (unsigned int i = 0; i < 256; ++i) {
            Value r = static_cast<Value>(i);
            for (int bit = 0; bit < 8; ++bit) {
                r = static_cast<Value>((r & 1) ? (r >> 1) ^ CRCTraits<T>::kReflectedPolynomial
                                               : r >> 1);
            }
            table[i] = r;
        }
        return table;
    }();

    // No value read yet.
    constexpr CRC() noexcept : value_(0), present_(false) {}
    // A known value, present.
    constexpr explicit CRC(Value value) noexcept : value_(value), present_(true) {}
    // Reads a stored checksum of kStoredSize bytes, little-endian, at cursor and advances cursor
    // past it. Throws DeserializationError (the little_endian range check), leaving cursor as it
    // was, when fewer bytes remain.
    CRC(const unsigned char*& cursor, const unsigned char* end) : value_(0), present_(false) {
        little_endian::DeserializeRaw<Value>(value_, cursor, end);
        present_ = true;
    }

    // Whether a value has been read or given.
    bool present() const noexcept { return present_; }
    // The value; 0 when none is present.
    Value value() const noexcept { return value_; }

    // Whether a value is present and equals the checksum of [begin, end).
    bool matches(const unsigned char* begin, const unsigned char* end) const noexcept {
        return present_ && value_ == Compute(begin, end);
    }

    // The checksum of [begin, end) with the standard parameters: CRC-16/ARC (initial value 0, no
    // final inversion) or CRC-32/ISO-HDLC (initial value and final inversion 0xFFFFFFFF). Empty
    // data give 0 for both.
    static Value Compute(const unsigned char* begin, const unsigned char* end) noexcept {
        return static_cast<Value>(Update(CRCTraits<T>::kInitial, begin, end) ^
                                  CRCTraits<T>::kFinalXor);
    }

    // Continues a raw register over [begin, end), for data that arrive in pieces: start from
    // CRCTraits<T>::kInitial and xor the result with CRCTraits<T>::kFinalXor at the end.
    static Value Update(Value reg, const unsigned char* begin, const unsigned char* end) noexcept {
        for (const unsigned char* p = begin; p != end; ++p) {
            reg = static_cast<Value>((reg >> 8) ^ CRCTable_[(reg ^ *p) & 0xFF]);
        }
        return reg;
    }

  private:
    Value value_;
    bool present_;
};

}  // namespace kor
}  // namespace ka
