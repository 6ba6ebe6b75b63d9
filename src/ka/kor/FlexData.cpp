#include "ka/kor/FlexData.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/SerializeUtf16.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/FlexData";

using fd::FlexType;

// Bytes of the data part that precede a waveform's samples: t0, dt and the sample count.
constexpr std::uint32_t kWaveformHeadSize = 28;
// The waveform attribute block and waveform type, the MD of every waveform.
constexpr std::uint32_t kWaveformMDSize = 52 + 62;
// Data bytes of a waveform (or waves element) besides its samples.
constexpr std::uint32_t kWaveformFrameSize = kWaveformHeadSize + sizeof fd::k_waveformDataSuffix;
// The largest packet a 32-bit size field and the heap interface can describe (kept even).
constexpr std::uint64_t kMaxPacketSize = 0xFFFFFFFEu;

std::uint64_t RoundUpEven(std::uint64_t n) noexcept {
    return n + (n & 1u);
}

std::uint16_t ReadUI16(const unsigned char* p) noexcept {
    return flex_detail::LoadLittle<std::uint16_t>(p);
}

std::uint32_t ReadUI32(const unsigned char* p) noexcept {
    return flex_detail::LoadLittle<std::uint32_t>(p);
}

template <typename T>
void Store(unsigned char* p, T v) noexcept {
    v = little_endian::ToLittleEndian(v);
    std::memcpy(p, &v, sizeof(T));
}

std::size_t Remaining(const unsigned char* p, const unsigned char* end) noexcept {
    return p <= end ? static_cast<std::size_t>(end - p) : 0;
}

void Require(bool condition, std::uint32_t line) {
    if (!condition) {
        throw exception::SyntaxError(line, kSourceFile);
    }
}

std::uint32_t CheckedPacketSize(std::uint64_t n) {
    if (n > kMaxPacketSize) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return static_cast<std::uint32_t>(n);
}

// Whether md starts with exactly the waveform attribute block followed by a waveform type.
bool IsWaveformMD(const unsigned char* md, const unsigned char* end) {
    return fd::HasRoom(md, sizeof fd::k_waveformAttributes, end) &&
           std::memcmp(md, fd::k_waveformAttributes, sizeof fd::k_waveformAttributes) == 0 &&
           fd::IsWaveformType(md + sizeof fd::k_waveformAttributes, end);
}

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

// The prefix walk: the element after element, with its code; an element that does not advance
// the walk is malformed.
const unsigned char* NextPrefix(const unsigned char* element, std::uint16_t& code,
                                const unsigned char* end) {
    const unsigned char* next = fd::GetNextElt(element, code, end);
    Require(next != element, __LINE__);
    return next;
}

// The name held by the FlexAttrName element inside the named attribute at element, if it has one.
bool ReadAttributeName(const unsigned char* element, const unsigned char* end, AString& name) {
    Require(fd::HasRoom(element, 8, end), __LINE__);
    const unsigned char* nameElement = fd::GetAttributeMD(element + 6, fd::FlexAttrName, end);
    if (nameElement == nullptr) {
        return false;
    }
    Require(fd::HasRoom(nameElement, 12, end), __LINE__);
    if (ReadUI16(nameElement + 6) != fd::Code(FlexType::AString)) {
        return false;
    }
    const std::uint32_t n = ReadUI32(nameElement + 8);
    Require(fd::HasRoom(nameElement + 12, n, end), __LINE__);
    const char* text = reinterpret_cast<const char*>(nameElement + 12);
    AString(text, text + n).swap(name);
    return true;
}

// ---- Numeric array conversion ----------------------------------------------------------------

template <typename S, typename D>
void ConvertElements(const unsigned char* from, bool fromLittle, unsigned char* to, bool toLittle,
                     std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        S s;
        std::memcpy(&s, from + static_cast<std::size_t>(i) * sizeof(S), sizeof(S));
        if (fromLittle) {
            s = little_endian::FromLittleEndian(s);
        }
        D d = NumericCast<D>(s);
        if (toLittle) {
            d = little_endian::ToLittleEndian(d);
        }
        std::memcpy(to + static_cast<std::size_t>(i) * sizeof(D), &d, sizeof(D));
    }
}

template <typename S>
void ConvertFrom(const unsigned char* from, bool fromLittle, FlexType toType, unsigned char* to,
                 bool toLittle, std::uint32_t count) {
    switch (toType) {
        case FlexType::I8:
            return ConvertElements<S, std::int8_t>(from, fromLittle, to, toLittle, count);
        case FlexType::UI8:
            return ConvertElements<S, std::uint8_t>(from, fromLittle, to, toLittle, count);
        case FlexType::I16:
            return ConvertElements<S, std::int16_t>(from, fromLittle, to, toLittle, count);
        case FlexType::UI16:
            return ConvertElements<S, std::uint16_t>(from, fromLittle, to, toLittle, count);
        case FlexType::I32:
            return ConvertElements<S, std::int32_t>(from, fromLittle, to, toLittle, count);
        case FlexType::UI32:
            return ConvertElements<S, std::uint32_t>(from, fromLittle, to, toLittle, count);
        case FlexType::F32:
            return ConvertElements<S, float>(from, fromLittle, to, toLittle, count);
        case FlexType::I64:
            return ConvertElements<S, std::int64_t>(from, fromLittle, to, toLittle, count);
        case FlexType::UI64:
            return ConvertElements<S, std::uint64_t>(from, fromLittle, to, toLittle, count);
        case FlexType::F64:
            return ConvertElements<S, double>(from, fromLittle, to, toLittle, count);
        default:
            throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
}

// ---- Arrays ----------------------------------------------------------------------------------

struct ArrayView {
    std::uint32_t numDims;
    const unsigned char* dims;         // numDims signed 32-bit sizes
    const unsigned char* elements;     // first element's data
    const unsigned char* elementType;  // the element MD's type element
};

ArrayView ViewArray(const unsigned char* type, const unsigned char* data,
                    const unsigned char* end) {
    Require(fd::HasRoom(type, 8, end), __LINE__);
    ArrayView v;
    v.numDims = ReadUI16(type + 2);
    v.elementType = fd::GetTypeFromPacket(type + 4, end);
    Require(fd::HasRoom(data, 4u * v.numDims, end), __LINE__);
    v.dims = data;
    v.elements = data + 4u * v.numDims;
    return v;
}

// The element count of a well-formed array: every dimension non-negative, and the product
// bounded by the bytes that hold the elements (each at least minElementSize long), so that a
// hostile count never makes a caller allocate more than the packet could describe.
std::uint32_t CountElements(const ArrayView& v, std::uint32_t minElementSize,
                            const unsigned char* end) {
    std::uint64_t count = 1;
    const std::uint64_t room = Remaining(v.elements, end);
    for (std::uint32_t i = 0; i < v.numDims; ++i) {
        const std::int32_t d = static_cast<std::int32_t>(ReadUI32(v.dims + 4 * i));
        Require(d >= 0, __LINE__);
        count *= static_cast<std::uint64_t>(d);
        if (count == 0) {
            return 0;
        }
        Require(count * minElementSize <= room, __LINE__);
    }
    return static_cast<std::uint32_t>(count);
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

// ---- Construction ----------------------------------------------------------------------------

FlexData::FlexData(bool v) {
    init();
    setBool(v);
}

FlexData::FlexData(signed char v) {
    init();
    setI8(v);
}

FlexData::FlexData(unsigned char v) {
    init();
    setUI8(v);
}

FlexData::FlexData(short v) {
    init();
    setI16(v);
}

FlexData::FlexData(unsigned short v) {
    init();
    setUI16(v);
}

FlexData::FlexData(int v) {
    init();
    setI32(v);
}

FlexData::FlexData(unsigned int v) {
    init();
    setUI32(v);
}

FlexData::FlexData(long v) {
    init();
    if constexpr (sizeof(long) == 4) {
        setI32(static_cast<std::int32_t>(v));
    } else {
        setI64(v);
    }
}

FlexData::FlexData(unsigned long v) {
    init();
    if constexpr (sizeof(unsigned long) == 4) {
        setUI32(static_cast<std::uint32_t>(v));
    } else {
        setUI64(v);
    }
}

FlexData::FlexData(long long v) {
    init();
    setI64(v);
}

FlexData::FlexData(unsigned long long v) {
    init();
    setUI64(v);
}

FlexData::FlexData(float v) {
    init();
    setF32(v);
}

FlexData::FlexData(double v) {
    init();
    setF64(v);
}

FlexData::FlexData(const AString& text) {
    init();
    setAString(text);
}

FlexData::FlexData(const char* text) {
    init();
    setAString(text, text != nullptr ? static_cast<std::uint32_t>(std::strlen(text)) : 0);
}

FlexData::FlexData(const char* text, std::uint32_t length) {
    init();
    setAString(text, length);
}

FlexData::FlexData(const String& text) {
    init();
    setUTF16(text);
}

FlexData::FlexData(const wchar_t* text) {
    init();
    setUTF16(String(text));
}

FlexData::FlexData(const AbsTime& time) {
    init();
    setTime(time);
}

FlexData::FlexData(const Vector<AString>& strings) {
    init();
    setAStringArray(strings);
}

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

// ---- Setters and getters ---------------------------------------------------------------------

void FlexData::setTime(const AbsTime& time) {
    if (getType() != FlexType::Time) {
        setType(FlexType::Time, 0);
    }
    fd::SetTime(data_, time, end_);
}

void FlexData::setAString(const AString& text) {
    setAString(text.data(), text.size());
}

void FlexData::setAString(const char* text, std::uint32_t length) {
    if (length != 0 && overlapsBlock(text, length)) {
        const AString copy(text, text + length);
        setAString(copy.data(), copy.size());
        return;
    }
    const std::uint32_t size = CheckedPacketSize(4 + static_cast<std::uint64_t>(length));
    if (getType() == FlexType::AString) {
        setDataSize(size);
    } else {
        setType(FlexType::AString, size);
    }
    Store<std::uint32_t>(data_, length);
    if (length != 0) {
        std::memcpy(data_ + 4, text, length);
    }
}

void FlexData::setUTF16(const String& text) {
    using osdep::SerializeUtf16;
    const std::uint32_t units = SerializeUtf16::GetUtf16SerializationSize(text);
    const std::uint32_t size = CheckedPacketSize(4 + static_cast<std::uint64_t>(units));
    if (getType() == FlexType::UTF16) {
        setDataSize(size);
    } else {
        setType(FlexType::UTF16, size);
    }
    Store<std::uint32_t>(data_, text.length());
    unsigned char* p = data_ + 4;
    SerializeUtf16::SerializeAsUtf16(text, p, data_ + size);
}

bool FlexData::getBool() const {
    switch (getType()) {
        case FlexType::Bool:
            return GetNum<std::uint8_t>(FlexType::UI8, data_, end_) != 0;
        case FlexType::Bool16:
            return GetNum<std::uint16_t>(FlexType::UI16, data_, end_) != 0;
        case FlexType::I32:
            return GetNum<std::uint32_t>(FlexType::UI32, data_, end_) != 0;
        default:
            throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
}

const char* FlexData::getAString(std::uint32_t& length) const {
    const FlexType type = getType();
    if (type != FlexType::AString && type != FlexType::AStringAlt) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    Require(fd::HasRoom(data_, 4, end_), __LINE__);
    const std::uint32_t n = ReadUI32(data_);
    Require(fd::HasRoom(data_ + 4, n, end_), __LINE__);
    length = n;
    return reinterpret_cast<const char*>(data_ + 4);
}

AString FlexData::getAString() const {
    std::uint32_t length = 0;
    const char* text = getAString(length);
    return AString(text, text + length);
}

String FlexData::getUnicode() const {
    switch (getType()) {
        case FlexType::UTF16: {
            Require(fd::HasRoom(data_, 4, end_), __LINE__);
            const std::uint64_t bytes = 2 * static_cast<std::uint64_t>(ReadUI32(data_));
            Require(fd::HasRoom(data_ + 4, bytes, end_), __LINE__);
            return osdep::SerializeUtf16::DeserializeFromUtf16(data_ + 4, data_ + 4 + bytes);
        }
        case FlexType::AString:
            return String(getAString());
        default:
            throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
}

AbsTime FlexData::getTime() const {
    requireType(FlexType::Time, __LINE__);
    return fd::GetTime(data_, end_, fd::TAEndianLittle);
}

// ---- Arrays ----------------------------------------------------------------------------------

std::int32_t FlexData::checkedDimension(std::uint32_t count) {
    if (count > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return static_cast<std::int32_t>(count);
}

void FlexData::writeArrayHead(const unsigned char* elementMD, std::uint32_t elementMDSize,
                              const std::int32_t* dims, std::uint32_t numDims,
                              std::uint32_t dataSize) {
    if (numDims > 0xFFFFu) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    setTypeAndDataSize(CheckedPacketSize(8 + static_cast<std::uint64_t>(elementMDSize)), dataSize);
    Store<std::uint16_t>(metadata_, fd::Code(FlexType::Array));
    Store<std::uint16_t>(metadata_ + 2, static_cast<std::uint16_t>(numDims));
    Store<std::uint32_t>(metadata_ + 4, 4 + elementMDSize);
    std::memcpy(metadata_ + 8, elementMD, elementMDSize);
    for (std::uint32_t i = 0; i < numDims; ++i) {
        Store<std::int32_t>(data_ + 4 * i, dims[i]);
    }
}

void FlexData::setScalarArrayFrom(FlexType sourceType, const void* values, const std::int32_t* dims,
                                  std::uint32_t numDims, FlexType elementType) {
    if (!IsNumericType(elementType) || numDims > 0xFFFFu) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    std::uint64_t count = 1;
    for (std::uint32_t i = 0; i < numDims; ++i) {
        if (dims[i] < 0) {
            throw exception::InvalidArgument(__LINE__, kSourceFile);
        }
        count *= static_cast<std::uint32_t>(dims[i]);
        if (count > kMaxPacketSize) {
            throw exception::OutOfRange(__LINE__, kSourceFile);
        }
    }
    const std::uint32_t dataSize = CheckedPacketSize(4 * static_cast<std::uint64_t>(numDims) +
                                                     count * fd::ScalarSize(fd::Code(elementType)));
    if (overlapsBlock(values, count * fd::ScalarSize(fd::Code(sourceType))) ||
        overlapsBlock(dims, 4 * static_cast<std::uint64_t>(numDims))) {
        FlexData fresh;
        fresh.setScalarArrayFrom(sourceType, values, dims, numDims, elementType);
        swap(fresh);
        return;
    }
    const unsigned char elementMD[2] = {static_cast<unsigned char>(fd::Code(elementType)),
                                        static_cast<unsigned char>(fd::Code(elementType) >> 8)};
    writeArrayHead(elementMD, sizeof elementMD, dims, numDims, dataSize);
    TransformArray(sourceType, values, fd::TAEndianNative, elementType, data_ + 4 * numDims,
                   fd::TAEndianLittle, static_cast<std::uint32_t>(count));
}

std::uint32_t FlexData::getNumericArrayCount() const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    const FlexType elementType = static_cast<FlexType>(fd::ReadCode(v.elementType, end_));
    if (!IsNumericType(elementType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    return CountElements(v, fd::ScalarSize(fd::Code(elementType)), end_);
}

void FlexData::getScalarArrayInto(FlexType targetType, void* out, std::uint32_t count) const {
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    const FlexType elementType = static_cast<FlexType>(fd::ReadCode(v.elementType, end_));
    TransformArray(elementType, v.elements, fd::TAEndianLittle, targetType, out, fd::TAEndianNative,
                   count);
}

void FlexData::setAStringArray(const Vector<AString>& strings) {
    std::uint64_t size = 4;
    for (const AString& s : strings) {
        size += RoundUpEven(4 + static_cast<std::uint64_t>(s.size()));
        CheckedPacketSize(size);
    }
    const std::int32_t dim = checkedDimension(strings.size());
    const unsigned char elementMD[2] = {0x00, 0x09};
    writeArrayHead(elementMD, sizeof elementMD, &dim, 1, CheckedPacketSize(size));
    unsigned char* p = data_ + 4;
    for (const AString& s : strings) {
        Store<std::uint32_t>(p, s.size());
        if (s.size() != 0) {
            std::memcpy(p + 4, s.data(), s.size());
        }
        p += RoundUpEven(4 + static_cast<std::uint64_t>(s.size()));
    }
}

void FlexData::getAStringArray(Vector<AString>& strings) const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    const FlexType elementType = static_cast<FlexType>(fd::ReadCode(v.elementType, end_));
    if (elementType != FlexType::AString && elementType != FlexType::AStringAlt) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint32_t count = CountElements(v, 4, end_);
    Vector<AString> out;
    out.reserve(count);
    const unsigned char* p = v.elements;
    for (std::uint32_t i = 0; i < count; ++i) {
        Require(fd::HasRoom(p, 4, end_), __LINE__);
        const std::uint32_t n = ReadUI32(p);
        const std::uint64_t size = RoundUpEven(4 + static_cast<std::uint64_t>(n));
        Require(size <= Remaining(p, end_), __LINE__);
        const char* text = reinterpret_cast<const char*>(p + 4);
        out.push_back(AString(text, text + n));
        p += size;
    }
    strings.swap(out);
}

Vector<AString> FlexData::getAStringArray() const {
    Vector<AString> out;
    getAStringArray(out);
    return out;
}

Vector<std::int32_t> FlexData::getDims() const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    Vector<std::int32_t> dims;
    dims.reserve(v.numDims);
    for (std::uint32_t i = 0; i < v.numDims; ++i) {
        dims.push_back(static_cast<std::int32_t>(ReadUI32(v.dims + 4 * i)));
    }
    return dims;
}

std::int32_t FlexData::getDimSize(std::uint32_t dimension) const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    if (dimension >= v.numDims) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return static_cast<std::int32_t>(ReadUI32(v.dims + 4 * dimension));
}

std::uint32_t FlexData::getNumElts() const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    std::uint32_t count = 1;
    for (std::uint32_t i = 0; i < v.numDims; ++i) {
        count *= ReadUI32(v.dims + 4 * i);
    }
    return count;
}

FlexType FlexData::getArrayElementType() const {
    requireType(FlexType::Array, __LINE__);
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    return static_cast<FlexType>(fd::ReadCode(v.elementType, end_));
}

void FlexData::TransformArray(FlexType fromType, const void* from, fd::TAEndian fromOrder,
                              FlexType toType, void* to, fd::TAEndian toOrder,
                              std::uint32_t count) {
    if (!IsNumericType(fromType) || !IsNumericType(toType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const bool fromLittle = fromOrder == fd::TAEndianLittle;
    const bool toLittle = toOrder == fd::TAEndianLittle;
    if (count == 0) {
        return;
    }
    if (fromType == toType &&
        (fromLittle == toLittle || little_endian::detail::kHostIsLittleEndian ||
         fd::ScalarSize(fd::Code(fromType)) == 1)) {
        std::memmove(to, from,
                     static_cast<std::size_t>(count) * fd::ScalarSize(fd::Code(fromType)));
        return;
    }
    const unsigned char* f = static_cast<const unsigned char*>(from);
    unsigned char* t = static_cast<unsigned char*>(to);
    switch (fromType) {
        case FlexType::I8:
            return ConvertFrom<std::int8_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::UI8:
            return ConvertFrom<std::uint8_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::I16:
            return ConvertFrom<std::int16_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::UI16:
            return ConvertFrom<std::uint16_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::I32:
            return ConvertFrom<std::int32_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::UI32:
            return ConvertFrom<std::uint32_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::F32:
            return ConvertFrom<float>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::I64:
            return ConvertFrom<std::int64_t>(f, fromLittle, toType, t, toLittle, count);
        case FlexType::UI64:
            return ConvertFrom<std::uint64_t>(f, fromLittle, toType, t, toLittle, count);
        default:
            return ConvertFrom<double>(f, fromLittle, toType, t, toLittle, count);
    }
}

// ---- Waveforms -------------------------------------------------------------------------------

unsigned char* FlexData::writeWaveformFrame(const AbsTime& t0, double dt, FlexType sampleType,
                                            std::uint32_t count, std::uint32_t sampleBytes) {
    const std::uint64_t packetSize = 4 + static_cast<std::uint64_t>(kWaveformMDSize) +
                                     fd::CalculateWaveformDataSize(0) + sampleBytes;
    initPacket(CheckedPacketSize(RoundUpEven(packetSize)));
    // Written in one pass: the size field counts the packet without a pad byte.
    Store<std::uint32_t>(begin_, static_cast<std::uint32_t>(packetSize));
    unsigned char* p = metadata_;
    p += fd::SetWaveformAttributes(p, end_);
    p += fd::SetWaveformType(p, end_, sampleType);
    data_ = p;
    dataSize_ = static_cast<std::uint32_t>(RoundUpEven(kWaveformFrameSize + sampleBytes));
    fd::SetTime(p, t0, end_);
    Store<double>(p + 16, dt);
    Store<std::uint32_t>(p + 24, count);
    unsigned char* samples = p + kWaveformHeadSize;
    p = samples + sampleBytes;
    p += fd::SetWaveformDataSuffix(p, end_);
    if (p != end_) {
        *p = 0;
    }
    return samples;
}

void FlexData::setWaveformFrom(const AbsTime& t0, double dt, FlexType sourceType,
                               const void* samples, std::uint32_t count, FlexType sampleType) {
    if (!IsNumericType(sampleType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sampleType));
    CheckedPacketSize(bytes);
    if (overlapsBlock(samples,
                      static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sourceType)))) {
        FlexData fresh;
        fresh.setWaveformFrom(t0, dt, sourceType, samples, count, sampleType);
        swap(fresh);
        return;
    }
    unsigned char* out =
        writeWaveformFrame(t0, dt, sampleType, count, static_cast<std::uint32_t>(bytes));
    TransformArray(sourceType, samples, fd::TAEndianNative, sampleType, out, fd::TAEndianLittle,
                   count);
}

void FlexData::setWaveform(const AbsTime& t0, double dt, FlexType sampleType, std::uint32_t count,
                           const BufferWrapper& sampleBytes) {
    const std::uint16_t code = fd::Code(sampleType);
    if (!fd::IsWaveformSampleType(sampleType) ||
        (fd::IsScalarCode(code) &&
         static_cast<std::uint64_t>(count) * fd::ScalarSize(code) != sampleBytes.length())) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    if (overlapsBlock(sampleBytes.data(), sampleBytes.length())) {
        FlexData fresh;
        fresh.setWaveform(t0, dt, sampleType, count, sampleBytes);
        swap(fresh);
        return;
    }
    unsigned char* out = writeWaveformFrame(t0, dt, sampleType, count, sampleBytes.length());
    if (sampleBytes.length() != 0) {
        std::memcpy(out, sampleBytes.data(), sampleBytes.length());
    }
}

bool FlexData::isWaveform() const {
    return begin_ != nullptr && IsWaveformMD(metadata_, end_);
}

FlexType FlexData::getWaveformSampleType() const {
    if (!isWaveform()) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    return fd::GetWaveformSampleType(metadata_ + sizeof fd::k_waveformAttributes, end_);
}

std::uint32_t FlexData::getWaveformSampleCount() const {
    const FlexType sample = getWaveformSampleType();
    Require(fd::HasRoom(data_, kWaveformHeadSize, end_), __LINE__);
    const std::uint32_t count = ReadUI32(data_ + 24);
    if (fd::IsScalarCode(fd::Code(sample))) {
        Require(static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sample)) <=
                    Remaining(data_ + kWaveformHeadSize, end_),
                __LINE__);
    }
    return count;
}

void FlexData::getWaveformInto(AbsTime& t0, double& dt, FlexType targetType, void* out,
                               std::uint32_t count) const {
    const FlexType sample = getWaveformSampleType();
    if (!IsNumericType(sample)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    t0 = fd::GetTime(data_, end_, fd::TAEndianLittle);
    dt = flex_detail::LoadLittle<double>(data_ + 16);
    TransformArray(sample, data_ + kWaveformHeadSize, fd::TAEndianLittle, targetType, out,
                   fd::TAEndianNative, count);
}

// ---- Waves -----------------------------------------------------------------------------------

void FlexData::setWavesFrom(FlexType sourceType, const Vector<WaveView>& waves,
                            FlexType sampleType) {
    if (!IsNumericType(sampleType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint32_t sampleSize = fd::ScalarSize(fd::Code(sampleType));
    std::uint64_t size = 4;
    bool overlapping = false;
    for (const WaveView& w : waves) {
        size += kWaveformFrameSize + RoundUpEven(static_cast<std::uint64_t>(w.count) * sampleSize);
        CheckedPacketSize(size);
        overlapping =
            overlapping || overlapsBlock(w.samples, static_cast<std::uint64_t>(w.count) *
                                                        fd::ScalarSize(fd::Code(sourceType)));
    }
    if (overlapping) {
        FlexData fresh;
        fresh.setWavesFrom(sourceType, waves, sampleType);
        swap(fresh);
        return;
    }
    unsigned char elementMD[kWaveformMDSize];
    const unsigned char* const mdEnd = elementMD + sizeof elementMD;
    const unsigned long attributes = fd::SetWaveformAttributes(elementMD, mdEnd);
    fd::SetWaveformType(elementMD + attributes, mdEnd, sampleType);
    const std::int32_t dim = checkedDimension(waves.size());
    writeArrayHead(elementMD, sizeof elementMD, &dim, 1, CheckedPacketSize(size));
    unsigned char* p = data_ + 4;
    for (const WaveView& w : waves) {
        fd::SetTime(p, w.t0, end_);
        Store<double>(p + 16, w.dt);
        Store<std::uint32_t>(p + 24, w.count);
        p += kWaveformHeadSize;
        TransformArray(sourceType, w.samples, fd::TAEndianNative, sampleType, p, fd::TAEndianLittle,
                       w.count);
        p += RoundUpEven(static_cast<std::uint64_t>(w.count) * sampleSize);
        p += fd::SetWaveformDataSuffix(p, end_);
    }
}

bool FlexData::isWaves() const {
    if (begin_ == nullptr || getType() != FlexType::Array) {
        return false;
    }
    const unsigned char* type = typeElement();
    return fd::HasRoom(type, 8, end_) && ReadUI16(type + 2) == 1 &&
           ReadUI32(type + 4) == 4 + kWaveformMDSize && IsWaveformMD(type + 8, end_);
}

const unsigned char* FlexData::wavesFirst(std::uint32_t& count) const {
    if (!isWaves()) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    count = CountElements(v, kWaveformFrameSize, end_);
    return v.elements;
}

FlexType FlexData::wavesSampleType() const {
    const unsigned char* type = typeElement();
    return fd::GetWaveformSampleType(type + 8 + sizeof fd::k_waveformAttributes, end_);
}

std::uint32_t FlexData::waveSampleCount(const unsigned char* element) const {
    Require(fd::HasRoom(element, kWaveformHeadSize, end_), __LINE__);
    const std::uint32_t count = ReadUI32(element + 24);
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(wavesSampleType()));
    Require(kWaveformFrameSize + RoundUpEven(bytes) <= Remaining(element, end_), __LINE__);
    return count;
}

const unsigned char* FlexData::readWave(const unsigned char* element, AbsTime& t0, double& dt,
                                        FlexType targetType, void* out, std::uint32_t count) const {
    const FlexType sample = wavesSampleType();
    if (!IsNumericType(sample)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sample));
    Require(kWaveformFrameSize + RoundUpEven(bytes) <= Remaining(element, end_), __LINE__);
    t0 = fd::GetTime(element, end_, fd::TAEndianLittle);
    dt = flex_detail::LoadLittle<double>(element + 16);
    TransformArray(sample, element + kWaveformHeadSize, fd::TAEndianLittle, targetType, out,
                   fd::TAEndianNative, count);
    return element + kWaveformFrameSize + RoundUpEven(bytes);
}

// ---- Named attributes ------------------------------------------------------------------------

void FlexData::setAttribute(const AString& name, const FlexData& value) {
    if (begin_ == nullptr || value.begin_ == nullptr) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const BufferWrapper md = value.getMetaDataBuffer();
    const BufferWrapper data = value.getDataBuffer();
    const std::uint64_t nameSize = RoundUpEven(10 + static_cast<std::uint64_t>(name.size()));
    const std::uint64_t packetSize = 4 + 2 + nameSize + md.length() + data.length();
    const std::uint32_t elementSize = CheckedPacketSize(2 + RoundUpEven(packetSize));

    Vector<unsigned char> element(elementSize, 0);
    unsigned char* p = element.data();
    Store<std::uint16_t>(p, fd::AttributeCode(fd::FlexAttrNamed));
    Store<std::uint32_t>(p + 2, elementSize - 2);
    Store<std::uint16_t>(p + 6, fd::AttributeCode(fd::FlexAttrName));
    Store<std::uint32_t>(p + 8, static_cast<std::uint32_t>(nameSize));
    Store<std::uint16_t>(p + 12, fd::Code(FlexType::AString));
    Store<std::uint32_t>(p + 14, name.size());
    if (name.size() != 0) {
        std::memcpy(p + 18, name.data(), name.size());
    }
    p += 8 + nameSize;
    if (md.length() != 0) {
        std::memcpy(p, md.data(), md.length());
    }
    if (data.length() != 0) {
        std::memcpy(p + md.length(), data.data(), data.length());
    }

    const unsigned char* existing = fd::GetAttributeMD(metadata_, name, end_);
    if (existing != nullptr) {
        replaceRange(static_cast<std::uint32_t>(existing - begin_),
                     fd::GetMDEltSize(existing, end_), element.data(), elementSize);
    } else {
        replaceRange(static_cast<std::uint32_t>(typeElement() - begin_), 0, element.data(),
                     elementSize);
    }
}

FlexData FlexData::getAttribute(const AString& name) const {
    const unsigned char* element =
        begin_ != nullptr ? fd::GetAttributeMD(metadata_, name, end_) : nullptr;
    if (element == nullptr) {
        throw exception::NotFound(__LINE__, kSourceFile);
    }
    const unsigned char* packet = element + 2;
    const std::uint32_t packetSize = fd::GetUI32(packet, end_, fd::TAEndianLittle);
    Require(packetSize >= 4 && packetSize <= Remaining(packet, end_), __LINE__);
    const unsigned char* packetEnd = packet + packetSize;
    const unsigned char* md = packet + 4;
    const unsigned char* data = fd::GetData(packet, packetEnd);
    const unsigned char* nameElement = fd::GetAttributeMD(md, fd::FlexAttrName, packetEnd);

    // The value's MD is the attribute packet's MD without its name element.
    Vector<unsigned char> valueMD;
    const unsigned char* skipFrom = nameElement != nullptr ? nameElement : data;
    const unsigned char* skipTo =
        nameElement != nullptr ? fd::GetNextElt(nameElement, packetEnd) : data;
    valueMD.reserve(static_cast<std::uint32_t>(data - md));
    for (const unsigned char* q = md; q != data; ++q) {
        if (q < skipFrom || q >= skipTo) {
            valueMD.push_back(*q);
        }
    }
    FlexData value;
    value.buildPacketFromComponents(
        BufferWrapper(valueMD.data(), valueMD.size()),
        BufferWrapper(data, static_cast<std::uint32_t>(packetEnd - data)));
    return value;
}

bool FlexData::deleteAttribute(const AString& name) {
    const unsigned char* element =
        begin_ != nullptr ? fd::GetAttributeMD(metadata_, name, end_) : nullptr;
    if (element == nullptr) {
        return false;
    }
    replaceRange(static_cast<std::uint32_t>(element - begin_), fd::GetMDEltSize(element, end_),
                 nullptr, 0);
    return true;
}

bool FlexData::hasAttribute(const AString& name) const {
    return begin_ != nullptr && fd::GetAttributeMD(metadata_, name, end_) != nullptr;
}

bool FlexData::hasAttributes() const {
    return begin_ != nullptr && fd::GetAttributeMD(metadata_, fd::FlexAttrNamed, end_) != nullptr;
}

Vector<AString> FlexData::getAttributeNames() const {
    Vector<AString> names;
    if (begin_ == nullptr) {
        return names;
    }
    std::uint16_t code = fd::ReadCode(metadata_, end_);
    const unsigned char* element = metadata_;
    while ((code & fd::kClassMask) != 0) {
        AString name;
        if (code == fd::AttributeCode(fd::FlexAttrNamed) &&
            ReadAttributeName(element, end_, name)) {
            names.push_back(name);
        }
        element = NextPrefix(element, code, end_);
    }
    return names;
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
    // The bytes the packet took in the source, which for an odd size is one less than the
    // padded copy now holds.
    const std::uint32_t size = ReadUI32(cursor);
    cursor += size != 0 ? size : 4;
}

void FlexData::copyFrom(const unsigned char* begin, const unsigned char* end) {
    little_endian::CheckDeserializationSize(4, begin, end);
    const std::uint32_t size = ReadUI32(begin);
    if (size == 0) {
        clear();
        return;
    }
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
