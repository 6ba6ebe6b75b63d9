#include "ka/kor/FlexData.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/FlexDataDetail.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

using fd::FlexType;
using namespace flex_detail;

// The data size of a waveform as its writer lays it out: the suffix follows the samples with no
// pad byte, whatever their parity. Sample types that are not scalars have each element padded, so
// the generic walk sizes them the same way.
std::uint64_t WaveformDataSize(const unsigned char* type, const unsigned char* data,
                               const unsigned char* end) {
    const FlexType sample = fd::GetWaveformSampleType(type, end);
    if (!fd::IsScalarCode(fd::Code(sample))) {
        return fd::GetDataSize(type, data, end);
    }
    Require(fd::HasRoom(data, kWaveformHeadSize, end), __LINE__);
    const std::uint64_t count = ReadUI32(data + 24);
    return kWaveformFrameSize + count * fd::ScalarSize(fd::Code(sample));
}

struct Layout {
    std::uint32_t dataOffset;
    std::uint32_t dataSize;  // rounded up to even
};

// Where the data of the packet at [packet, end) lies; SyntaxError when the MD or the data does
// not fit the range.
Layout Inspect(const unsigned char* packet, const unsigned char* end) {
    const unsigned char* type = fd::GetTypeFromPacket(packet, end);
    const unsigned char* data = fd::GetData(packet, end);
    const std::uint64_t size =
        RoundUpEven(IsWaveformMD(packet + 4, end) ? WaveformDataSize(type, data, end)
                                                  : fd::GetDataSize(type, data, end));
    Require(size <= Remaining(data, end), __LINE__);
    return Layout{static_cast<std::uint32_t>(data - packet), static_cast<std::uint32_t>(size)};
}

}  // namespace

namespace flex_detail {

void ThrowInvalidArgument(std::uint32_t line) {
    throw exception::InvalidArgument(line, kSourceFile);
}

void ThrowSyntaxError(std::uint32_t line) {
    throw exception::SyntaxError(line, kSourceFile);
}

}  // namespace flex_detail

// ---- Copying ---------------------------------------------------------------------------------

FlexData::FlexData(const FlexData& other) {
    init();
    if (other.begin_ != nullptr) {
        copyFrom(other.begin_, other.end_);
    }
}

FlexData& FlexData::operator=(const FlexData& other) {
    if (this != &other) {
        if (other.begin_ == nullptr) {
            clear();
        } else {
            copyFrom(other.begin_, other.end_);
        }
    }
    return *this;
}

void FlexData::swap(FlexData& other) noexcept {
    std::swap(begin_, other.begin_);
    std::swap(end_, other.end_);
    std::swap(data_, other.data_);
    std::swap(metadata_, other.metadata_);
    std::swap(dataSize_, other.dataSize_);
}

// ---- Type and size management ----------------------------------------------------------------

FlexType FlexData::typeBehindPrefixes() const {
    return static_cast<FlexType>(fd::ReadCode(fd::GetTypeFromMD(metadata_, end_), end_));
}

const unsigned char* FlexData::typeElement() const {
    return fd::GetTypeFromMD(metadata_, end_);
}

void FlexData::requireType(FlexType type, std::uint32_t line) const {
    if (getType() != type) {
        throw exception::InvalidArgument(line, kSourceFile);
    }
}

void FlexData::setType(FlexType type, std::uint32_t dataSize) {
    setTypeAndDataSize(2, dataSize != 0 ? dataSize : fd::GetDataSize(type));
    Store<std::uint16_t>(metadata_, fd::Code(type));
}

void FlexData::setTypeAndDataSize(std::uint32_t mdSize, std::uint32_t dataSize) {
    const std::uint64_t size = RoundUpEven(dataSize);
    initPacket(CheckedPacketSize(4 + static_cast<std::uint64_t>(mdSize) + size));
    data_ = metadata_ + mdSize;
    dataSize_ = static_cast<std::uint32_t>(size);
    std::memset(data_, 0, dataSize_);
}

void FlexData::setDataSize(std::uint32_t size) {
    if (begin_ == nullptr) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint64_t dataOffset = static_cast<std::uint64_t>(data_ - begin_);
    resizeBlock(CheckedPacketSize(dataOffset + RoundUpEven(size)));
    std::memset(data_, 0, dataSize_);
}

void FlexData::initPacket(std::uint32_t size) {
    if (size < 4) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    if (begin_ == nullptr || static_cast<std::size_t>(end_ - begin_) < size) {
        // DLLRealloc throws without touching the old block, which this object then still owns.
        begin_ = static_cast<unsigned char*>(DLLRealloc(begin_, size));
    }
    end_ = begin_ + size;
    Store<std::uint32_t>(begin_, size);
    metadata_ = begin_ + 4;
    data_ = end_;
    dataSize_ = 0;
}

void FlexData::activate() {
    if (begin_ == nullptr) {
        return;
    }
    const Layout layout = Inspect(begin_, end_);
    metadata_ = begin_ + 4;
    data_ = begin_ + layout.dataOffset;
    dataSize_ = layout.dataSize;
}

void FlexData::resize(std::int32_t delta) {
    if (begin_ == nullptr) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::int64_t size = (end_ - begin_) + static_cast<std::int64_t>(delta);
    if (size < data_ - begin_ || size > static_cast<std::int64_t>(kMaxPacketSize)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    resizeBlock(static_cast<std::uint32_t>(size));
}

void FlexData::resizeBlock(std::uint32_t size) {
    const std::size_t present = static_cast<std::size_t>(end_ - begin_);
    const std::size_t dataOffset = static_cast<std::size_t>(data_ - begin_);
    if (size > present) {
        // DLLRealloc throws without touching the old block, which this object then still owns.
        begin_ = static_cast<unsigned char*>(DLLRealloc(begin_, size));
        std::memset(begin_ + present, 0, size - present);
    }
    end_ = begin_ + size;
    metadata_ = begin_ + 4;
    data_ = begin_ + dataOffset;
    dataSize_ = static_cast<std::uint32_t>(size - dataOffset);
    Store<std::uint32_t>(begin_, size);
}

void FlexData::chkPointer(const unsigned char* p) const {
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(p);
    if (begin_ == nullptr || at < reinterpret_cast<std::uintptr_t>(begin_) ||
        at > reinterpret_cast<std::uintptr_t>(end_)) {
        throw exception::SyntaxError(__LINE__, kSourceFile);
    }
}

void FlexData::memClear(unsigned char* p, std::uint32_t n) {
    chkPointer(p);
    Require(n <= Remaining(p, end_), __LINE__);
    std::memset(p, 0, n);
}

void FlexData::memMove(unsigned char* dst, const unsigned char* src, std::uint32_t n) {
    chkPointer(dst);
    chkPointer(src);
    Require(n <= Remaining(dst, end_) && n <= Remaining(src, end_), __LINE__);
    std::memmove(dst, src, n);
}

void FlexData::clear() noexcept {
    DLLFree(begin_);
    init();
}

BufferWrapper FlexData::getMetaDataBuffer() const noexcept {
    if (begin_ == nullptr) {
        return BufferWrapper();
    }
    return BufferWrapper(metadata_, static_cast<std::uint32_t>(data_ - metadata_));
}

BufferWrapper FlexData::getDataBuffer() const noexcept {
    if (begin_ == nullptr) {
        return BufferWrapper();
    }
    return BufferWrapper(data_, dataSize_);
}

bool FlexData::overlapsBlock(const void* p, std::uint64_t n) const noexcept {
    if (begin_ == nullptr || p == nullptr) {
        return false;
    }
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(p);
    return first < reinterpret_cast<std::uintptr_t>(end_) &&
           first + n > reinterpret_cast<std::uintptr_t>(begin_);
}

void FlexData::adopt(unsigned char* block, std::uint32_t blockSize, std::uint32_t dataOffset,
                     std::uint32_t dataSize) noexcept {
    if (block != begin_) {
        DLLFree(begin_);
    }
    begin_ = block;
    end_ = block + blockSize;
    metadata_ = block + 4;
    data_ = block + dataOffset;
    dataSize_ = dataSize;
}

void FlexData::buildPacketFromComponents(const BufferWrapper& md, const BufferWrapper& data) {
    const std::uint32_t size =
        CheckedPacketSize(4 + static_cast<std::uint64_t>(md.length()) + RoundUpEven(data.length()));
    unsigned char* block = static_cast<unsigned char*>(DLLMalloc(size));
    Store<std::uint32_t>(block, size);
    if (md.length() != 0) {
        std::memcpy(block + 4, md.data(), md.length());
    }
    if (data.length() != 0) {
        std::memcpy(block + 4 + md.length(), data.data(), data.length());
    }
    if ((data.length() & 1u) != 0) {
        block[size - 1] = 0;
    }
    try {
        const Layout layout = Inspect(block, block + size);
        adopt(block, size, layout.dataOffset, layout.dataSize);
    } catch (...) {
        DLLFree(block);
        throw;
    }
}

void FlexData::replaceRange(std::uint32_t offset, std::uint32_t removed,
                            const unsigned char* inserted, std::uint32_t insertedSize) {
    const std::uint64_t present = static_cast<std::uint64_t>(end_ - begin_);
    const std::uint32_t size =
        CheckedPacketSize(present - removed + static_cast<std::uint64_t>(insertedSize));
    unsigned char* block = static_cast<unsigned char*>(DLLMalloc(size));
    std::memcpy(block, begin_, offset);
    if (insertedSize != 0) {
        std::memcpy(block + offset, inserted, insertedSize);
    }
    std::memcpy(block + offset + insertedSize, begin_ + offset + removed,
                static_cast<std::size_t>(present - offset - removed));
    Store<std::uint32_t>(block, size);
    try {
        const Layout layout = Inspect(block, block + size);
        adopt(block, size, layout.dataOffset, layout.dataSize);
    } catch (...) {
        DLLFree(block);
        throw;
    }
}

// ---- Comparison and serialization ------------------------------------------------------------

std::int32_t FlexData::compare(const FlexData& other) const {
    const std::uint32_t mine = getPacketSize();
    const std::uint32_t theirs = other.getPacketSize();
    std::size_t common = mine < theirs ? mine : theirs;
    // A size field is never trusted beyond the block that holds it.
    common = std::min<std::size_t>(common, static_cast<std::size_t>(end_ - begin_));
    common = std::min<std::size_t>(common, static_cast<std::size_t>(other.end_ - other.begin_));
    if (common != 0) {
        const int r = std::memcmp(begin_, other.begin_, common);
        if (r != 0) {
            return r < 0 ? -1 : 1;
        }
    }
    return static_cast<std::int32_t>(mine - theirs);
}

void FlexData::serialize(unsigned char*& cursor, const unsigned char* end) const {
    const std::uint32_t size = serializationSize();
    little_endian::CheckSerializationSize(size, cursor, end);
    if (begin_ == nullptr) {
        Store<std::uint32_t>(cursor, 0);
    } else {
        Require(size <= static_cast<std::size_t>(end_ - begin_), __LINE__);
        std::memcpy(cursor, begin_, size);
    }
    cursor += size;
}

void FlexData::deserialize(const unsigned char*& cursor, const unsigned char* end) {
    try {
        copyFrom(cursor, end);
    } catch (...) {
        clear();
        throw;
    }
    // By the size the value now holds, so one byte past an odd source packet. Deliberate: a
    // stream of values is stepped through by stored sizes, which are even, so an odd packet is
    // taken to be followed by its pad byte (a source ending right after it leaves the cursor one
    // past end, where the next read fails).
    cursor += serializationSize();
}

void FlexData::copyFrom(const unsigned char* begin, const unsigned char* end) {
    little_endian::CheckDeserializationSize(4, begin, end);
    const std::uint32_t size = ReadUI32(begin);
    if (size == 0) {
        clear();
        return;
    }
    // The smallest packet is its size field and one type code; a shorter one cannot hold its own
    // MD, and is refused before any block is sized from it.
    Require(size >= kSmallestPacketSize, __LINE__);
    little_endian::CheckDeserializationSize(size, begin, end);
    if ((size & 1u) == 0) {
        // The copy is byte for byte the source, so the source can be inspected before anything
        // of this object changes, and a large enough block reused.
        const Layout layout = Inspect(begin, begin + size);
        unsigned char* block = begin_;
        if (block == nullptr || static_cast<std::size_t>(end_ - begin_) < size) {
            block = static_cast<unsigned char*>(DLLMalloc(size));
        }
        std::memmove(block, begin, size);
        adopt(block, size, layout.dataOffset, layout.dataSize);
        return;
    }
    const std::uint32_t padded = CheckedPacketSize(static_cast<std::uint64_t>(size) + 1);
    unsigned char* block = static_cast<unsigned char*>(DLLMalloc(padded));
    std::memcpy(block, begin, size);
    block[size] = 0;
    Store<std::uint32_t>(block, padded);
    try {
        const Layout layout = Inspect(block, block + padded);
        adopt(block, padded, layout.dataOffset, layout.dataSize);
    } catch (...) {
        DLLFree(block);
        throw;
    }
}

}  // namespace kor
}  // namespace ka
