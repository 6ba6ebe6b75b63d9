#include "ka/kor/Guid.h"

#include <cstring>

#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"
#include "ka/kor/osdep/MakeGUID.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/Guid";
constexpr unsigned int kTextLength = 38;
constexpr wchar_t kHexDigits[] = L"0123456789ABCDEF";

// The hex digits of the text form, in order: offset of the first character of each byte pair in
// the text and the position of that byte in the stored form (numeric fields are held
// little-endian, so their digits are written from the last stored byte to the first).
struct DigitPair {
    unsigned char textOffset;
    unsigned char byteIndex;
};

constexpr DigitPair kDigitPairs[Guid::kSize] = {
    {1, 3},   {3, 2},   {5, 1},   {7, 0},    // data1
    {10, 5},  {12, 4},                       // data2
    {15, 7},  {17, 6},                       // data3
    {20, 8},  {22, 9},                       // data4[0..1]
    {25, 10}, {27, 11}, {29, 12}, {31, 13},  // data4[2..7]
    {33, 14}, {35, 15},
};

constexpr unsigned int kHyphens[] = {9, 14, 19, 24};

// The value of a hex digit of either case, or -1.
int HexValue(wchar_t c) noexcept {
    if (c >= L'0' && c <= L'9') {
        return c - L'0';
    }
    if (c >= L'A' && c <= L'F') {
        return c - L'A' + 10;
    }
    if (c >= L'a' && c <= L'f') {
        return c - L'a' + 10;
    }
    return -1;
}

}  // namespace

Guid::Guid(std::uint32_t data1, std::uint16_t data2, std::uint16_t data3,
           const unsigned char (&data4)[8]) noexcept {
    const std::uint32_t d1 = little_endian::ToLittleEndian(data1);
    const std::uint16_t d2 = little_endian::ToLittleEndian(data2);
    const std::uint16_t d3 = little_endian::ToLittleEndian(data3);
    std::memcpy(bytes_, &d1, 4);
    std::memcpy(bytes_ + 4, &d2, 2);
    std::memcpy(bytes_ + 6, &d3, 2);
    std::memcpy(bytes_ + 8, data4, 8);
}

Guid::Guid(const String& text) : bytes_() {
    fromString(text);
}

void Guid::swap(Guid& other) noexcept {
    unsigned char t[kSize];
    std::memcpy(t, bytes_, kSize);
    std::memcpy(bytes_, other.bytes_, kSize);
    std::memcpy(other.bytes_, t, kSize);
}

void Guid::make() {
    *this = osdep::MakeGUID();
}

std::uint32_t Guid::data1() const noexcept {
    std::uint32_t v;
    std::memcpy(&v, bytes_, 4);
    return little_endian::FromLittleEndian(v);
}

std::uint16_t Guid::data2() const noexcept {
    std::uint16_t v;
    std::memcpy(&v, bytes_ + 4, 2);
    return little_endian::FromLittleEndian(v);
}

std::uint16_t Guid::data3() const noexcept {
    std::uint16_t v;
    std::memcpy(&v, bytes_ + 6, 2);
    return little_endian::FromLittleEndian(v);
}

bool Guid::operator==(const Guid& other) const noexcept {
    return std::memcmp(bytes_, other.bytes_, kSize) == 0;
}

bool Guid::operator<(const Guid& other) const noexcept {
    return std::memcmp(bytes_, other.bytes_, kSize) < 0;
}

bool Guid::isNull() const noexcept {
    static const unsigned char kZero[kSize] = {};
    return std::memcmp(bytes_, kZero, kSize) == 0;
}

void Guid::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(kSize, p, end);
    std::memcpy(p, bytes_, kSize);
    p += kSize;
}

void Guid::deserialize(const unsigned char*& p, const unsigned char* end) {
    little_endian::CheckDeserializationSize(kSize, p, end);
    std::memcpy(bytes_, p, kSize);
    p += kSize;
}

void Guid::toString(String& text) const {
    wchar_t chars[kTextLength] = {L'{'};
    for (unsigned int h : kHyphens) {
        chars[h] = L'-';
    }
    chars[kTextLength - 1] = L'}';
    for (const DigitPair& d : kDigitPairs) {
        chars[d.textOffset] = kHexDigits[bytes_[d.byteIndex] >> 4];
        chars[d.textOffset + 1] = kHexDigits[bytes_[d.byteIndex] & 0x0F];
    }
    text = String(chars, chars + kTextLength);
}

void Guid::fromString(const String& text) {
    if (text.size() != kTextLength || text[0] != L'{' || text[kTextLength - 1] != L'}') {
        throw exception::BadGuidString(__LINE__, kSourceFile);
    }
    for (unsigned int h : kHyphens) {
        if (text[h] != L'-') {
            throw exception::BadGuidString(__LINE__, kSourceFile);
        }
    }
    unsigned char bytes[kSize];
    for (const DigitPair& d : kDigitPairs) {
        const int high = HexValue(text[d.textOffset]);
        const int low = HexValue(text[d.textOffset + 1]);
        if (high < 0 || low < 0) {
            throw exception::BadGuidString(__LINE__, kSourceFile);
        }
        bytes[d.byteIndex] = static_cast<unsigned char>((high << 4) | low);
    }
    std::memcpy(bytes_, bytes, kSize);
}

}  // namespace kor
}  // namespace ka
