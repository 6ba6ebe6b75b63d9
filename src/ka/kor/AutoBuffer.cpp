#include "ka/kor/AutoBuffer.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "ka/kor/AutoBufferGuts.h"
#include "ka/kor/CompareBuffers.h"
#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/AutoBuffer";
// Recorded positions of the serialization checks; error reports of other components name them.
constexpr std::uint32_t kSerializeOverflowLine = 368;
constexpr std::uint32_t kDeserializeHeaderLine = 387;
constexpr std::uint32_t kDeserializeLengthLine = 393;
constexpr std::uint32_t kRingHeaderLine = 487;
constexpr std::uint32_t kRingLengthLine = 509;

std::int64_t RingSize(const unsigned char* ringBegin, const unsigned char* ringEnd) noexcept {
    return ringEnd - ringBegin;
}

bool InRing(const unsigned char* pos, const unsigned char* ringBegin,
            const unsigned char* ringEnd) noexcept {
    const auto p = reinterpret_cast<std::uintptr_t>(pos);
    return reinterpret_cast<std::uintptr_t>(ringBegin) <= p &&
           p < reinterpret_cast<std::uintptr_t>(ringEnd);
}

}  // namespace

AutoBuffer::AutoBuffer(std::uint32_t n) : guts_(nullptr) {
    guts_ = new AutoBufferGuts();
    if (n != 0) {
        try {
            guts_->reallocate(n);
        } catch (...) {
            Free();
            throw;
        }
    }
}

AutoBuffer::AutoBuffer(const unsigned char* p, std::uint32_t n) : guts_(nullptr) {
    Append(p, n);
}

AutoBuffer::AutoBuffer(const BufferWrapper& bytes) : guts_(nullptr) {
    Append(bytes.data(), bytes.length());
}

AutoBuffer::AutoBuffer(const AutoBuffer& other) noexcept : guts_(other.guts_) {
    if (guts_ != nullptr) {
        guts_->refCount.increment();
    }
}

AutoBuffer::AutoBuffer(AutoBuffer&& other) noexcept : guts_(other.guts_) {
    other.guts_ = nullptr;
}

AutoBuffer::~AutoBuffer() {
    Free();
}

AutoBuffer& AutoBuffer::operator=(const AutoBuffer& other) noexcept {
    if (guts_ != other.guts_) {
        Free();
        guts_ = other.guts_;
        if (guts_ != nullptr) {
            guts_->refCount.increment();
        }
    }
    return *this;
}

AutoBuffer& AutoBuffer::operator=(AutoBuffer&& other) noexcept {
    if (this != &other) {
        Free();
        guts_ = other.guts_;
        other.guts_ = nullptr;
    }
    return *this;
}

AutoBuffer& AutoBuffer::operator=(const BufferWrapper& bytes) {
    // Copying before letting go of the old body keeps views into this buffer valid.
    AutoBuffer fresh(bytes);
    swap(fresh);
    return *this;
}

const unsigned char* AutoBuffer::Data() const noexcept {
    return guts_ != nullptr ? guts_->data : nullptr;
}

std::uint32_t AutoBuffer::Len() const noexcept {
    return guts_ != nullptr ? guts_->length() : 0;
}

std::uint32_t AutoBuffer::MemUsage() const noexcept {
    return guts_ != nullptr ? guts_->capacity : 0;
}

void AutoBuffer::makePrivate(bool createWhenAbsent) {
    if (guts_ == nullptr) {
        if (createWhenAbsent) {
            guts_ = new AutoBufferGuts();
        }
        return;
    }
    if (guts_->refCount > 1) {
        AutoBufferGuts* copy = AutoBufferGuts::Clone(*guts_);
        guts_->release();
        guts_ = copy;
    }
}

std::int64_t AutoBuffer::offsetInBlock(const unsigned char* p) const noexcept {
    if (guts_ == nullptr || guts_->data == nullptr) {
        return -1;
    }
    const auto at = reinterpret_cast<std::uintptr_t>(p);
    const auto begin = reinterpret_cast<std::uintptr_t>(guts_->data);
    if (at < begin || at - begin >= guts_->capacity) {
        return -1;
    }
    return static_cast<std::int64_t>(at - begin);
}

void AutoBuffer::Reserve(std::uint32_t n) {
    if (n == 0) {
        return;
    }
    if (guts_ != nullptr && guts_->capacity >= n && !(guts_->refCount > 1)) {
        return;
    }
    makePrivate(true);
    if (n > guts_->capacity) {
        guts_->reallocate(n);
    }
}

void AutoBuffer::Append(const unsigned char* p, std::uint32_t n) {
    if (n == 0) {
        return;
    }
    AutoBufferGuts* const guts = guts_;
    if (guts != nullptr && guts->capacity - guts->length() >= n && !(guts->refCount > 1)) {
        // Private with room: the block stays where it is, so p needs no translation.
        std::memmove(guts->end, p, n);
        guts->end += n;
        return;
    }
    const std::int64_t self = offsetInBlock(p);
    makePrivate(true);
    const std::uint64_t newLength = std::uint64_t{guts_->length()} + n;
    if (newLength > guts_->capacity) {
        guts_->reallocate(AutoBufferGuts::GrownCapacity(newLength));
    }
    if (self >= 0) {
        p = guts_->data + self;
    }
    std::memmove(guts_->end, p, n);
    guts_->end += n;
}

void AutoBuffer::Modify(std::uint32_t offset, const unsigned char* p, std::uint32_t n) {
    const std::int64_t self = offsetInBlock(p);
    makePrivate(true);
    const std::uint64_t needed = std::uint64_t{offset} + n;
    if (needed > guts_->capacity) {
        guts_->reallocate(AutoBufferGuts::GrownCapacity(needed));
    }
    if (n != 0) {
        if (self >= 0) {
            p = guts_->data + self;
        }
        std::memmove(guts_->data + offset, p, n);
    }
}

std::uint32_t AutoBuffer::UnAppend(std::uint32_t n) {
    if (guts_ != nullptr) {
        makePrivate(false);
        guts_->end -= n;
    }
    return n;
}

std::uint32_t AutoBuffer::Skip(std::uint32_t n) {
    makePrivate(true);
    const std::uint64_t newLength = std::uint64_t{guts_->length()} + n;
    if (newLength > UINT32_MAX) {
        throw std::bad_alloc();
    }
    Reserve(static_cast<std::uint32_t>(newLength));
    if (n != 0) {
        guts_->end += n;
    }
    return n;
}

void AutoBuffer::Erase() noexcept {
    if (guts_ == nullptr) {
        return;
    }
    if (guts_->refCount > 1) {
        Free();
        return;
    }
    guts_->end = guts_->data;
}

void AutoBuffer::Free() noexcept {
    if (guts_ != nullptr) {
        guts_->release();
        guts_ = nullptr;
    }
}

void AutoBuffer::swap(AutoBuffer& other) noexcept {
    AutoBufferGuts* mine = guts_;
    guts_ = other.guts_;
    other.guts_ = mine;
}

bool AutoBuffer::operator==(const AutoBuffer& other) const noexcept {
    return CompareBuffers(BufferWrapper(*this), BufferWrapper(other)) == 0;
}

bool AutoBuffer::operator<(const AutoBuffer& other) const noexcept {
    return CompareBuffers(BufferWrapper(*this), BufferWrapper(other)) == -1;
}

std::uint32_t AutoBuffer::serializationSize() const noexcept {
    return Len() + 4;
}

void AutoBuffer::serialize(unsigned char*& p, const unsigned char* end) const {
    const std::uint32_t length = Len();
    const std::int32_t room = little_endian::SignedRoom(p, end);
    if (room < 0 || static_cast<std::uint64_t>(room) < std::uint64_t{length} + 4) {
        throw exception::BufferOverflow(kSerializeOverflowLine, kSourceFile);
    }
    unsigned char* cursor = p;
    little_endian::SerializeRaw(length, cursor, end);
    if (length != 0) {
        std::memcpy(cursor, Data(), length);
    }
    p = cursor + length;
}

void AutoBuffer::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* cursor = p;
    const std::uint32_t length = little_endian::ReadLengthPrefix(
        cursor, end, kSourceFile, kDeserializeHeaderLine, kDeserializeLengthLine);
    Reserve(length);
    Erase();
    Append(cursor, length);
    p = cursor + length;
}

void AutoBuffer::circularIncrement(unsigned char* ringBegin, const unsigned char* ringEnd,
                                   unsigned char*& pos) noexcept {
    ++pos;
    if (pos == ringEnd) {
        pos = ringBegin;
    }
}

void AutoBuffer::circularIncrement(const unsigned char* ringBegin, const unsigned char* ringEnd,
                                   const unsigned char*& pos) noexcept {
    ++pos;
    if (pos == ringEnd) {
        pos = ringBegin;
    }
}

void AutoBuffer::circularSerializeLength(unsigned char* ringBegin, const unsigned char* ringEnd,
                                         unsigned char*& pos) const {
    if (RingSize(ringBegin, ringEnd) < 4 || !InRing(pos, ringBegin, ringEnd)) {
        throw exception::BufferOverflow(__LINE__, kSourceFile);
    }
    const std::uint32_t length = Len();
    for (int shift = 0; shift < 32; shift += 8) {
        *pos = static_cast<unsigned char>(length >> shift);
        circularIncrement(ringBegin, ringEnd, pos);
    }
}

void AutoBuffer::circularSerialize(unsigned char* ringBegin, const unsigned char* ringEnd,
                                   unsigned char*& pos) const {
    const std::uint32_t length = Len();
    if (RingSize(ringBegin, ringEnd) < std::int64_t{length} + 4 ||
        !InRing(pos, ringBegin, ringEnd)) {
        throw exception::BufferOverflow(__LINE__, kSourceFile);
    }
    unsigned char* cursor = pos;
    circularSerializeLength(ringBegin, ringEnd, cursor);
    const unsigned char* from = Data();
    std::uint32_t remaining = length;
    const auto untilEnd = static_cast<std::uint64_t>(ringEnd - cursor);
    if (remaining > untilEnd) {
        std::memcpy(cursor, from, static_cast<std::size_t>(untilEnd));  // below remaining
        from += untilEnd;
        remaining -= static_cast<std::uint32_t>(untilEnd);
        cursor = ringBegin;
    }
    if (remaining != 0) {
        std::memcpy(cursor, from, remaining);
        cursor += remaining;
        if (cursor == ringEnd) {
            cursor = ringBegin;
        }
    }
    pos = cursor;
}

void AutoBuffer::circularDeserialize(const unsigned char* ringBegin, const unsigned char* ringEnd,
                                     const unsigned char*& pos) {
    if (RingSize(ringBegin, ringEnd) < 4) {
        throw exception::DeserializationError(kRingHeaderLine, kSourceFile);
    }
    if (!InRing(pos, ringBegin, ringEnd)) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    const unsigned char* cursor = pos;
    std::uint32_t length = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        length |= std::uint32_t{*cursor} << shift;
        circularIncrement(ringBegin, ringEnd, cursor);
    }
    if (RingSize(ringBegin, ringEnd) < std::int64_t{length} + 4) {
        throw exception::DeserializationError(kRingLengthLine, kSourceFile);
    }
    Reserve(length);
    Erase();
    const auto untilEnd = static_cast<std::uint64_t>(ringEnd - cursor);
    if (length > untilEnd) {
        const auto remaining = static_cast<std::uint32_t>(length - untilEnd);
        Append(cursor, static_cast<std::uint32_t>(untilEnd));
        Append(ringBegin, remaining);
        cursor = ringBegin + remaining;
    } else {
        Append(cursor, length);
        cursor += length;
        if (cursor == ringEnd) {
            cursor = ringBegin;
        }
    }
    pos = cursor;
}

}  // namespace kor
}  // namespace ka
