#include "ka/kor/BufferWrapper.h"

#include <cstdint>
#include <cstring>

#include "ka/kor/AutoBuffer.h"
#include "ka/kor/CompareBuffers.h"
#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/BufferWrapper";
// Recorded positions of the deserialization checks; error reports of other components name them.
constexpr std::uint32_t kDeserializeHeaderLine = 72;
constexpr std::uint32_t kDeserializeLengthLine = 78;

}  // namespace

BufferWrapper::BufferWrapper(const AutoBuffer& buffer) noexcept
    : data_(buffer.Data()), length_(buffer.Len()) {}

BufferWrapper::BufferWrapper(const AString& text) noexcept
    : data_(reinterpret_cast<const unsigned char*>(text.begin())), length_(text.size()) {}

bool BufferWrapper::operator==(const BufferWrapper& other) const noexcept {
    return CompareBuffers(*this, other) == 0;
}

bool BufferWrapper::operator<(const BufferWrapper& other) const noexcept {
    return CompareBuffers(*this, other) == -1;
}

void BufferWrapper::serialize(unsigned char*& p, const unsigned char* end) const {
    // A view too long for its own length field can never be written.
    if (length_ > UINT32_MAX - 4) {
        little_endian::ThrowSerializationOverflow();
    }
    little_endian::CheckSerializationSize(length_ + 4, p, end);
    little_endian::SerializeRaw(length_, p, end);
    if (length_ != 0) {
        std::memcpy(p, data_, length_);
    }
    p += length_;
}

void BufferWrapper::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* cursor = p;
    const std::uint32_t length = little_endian::ReadLengthPrefix(
        cursor, end, kSourceFile, kDeserializeHeaderLine, kDeserializeLengthLine);
    data_ = cursor;
    length_ = length;
    p = cursor + length;
}

}  // namespace kor
}  // namespace ka
