#include "ka/kor/FlexData.h"

#include <cstddef>
#include <cstring>
#include <limits>

#include "ka/kor/FlexDataDetail.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

using fd::FlexType;
using namespace flex_detail;

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

}  // namespace

namespace flex_detail {

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

std::uint32_t CountElements(const ArrayView& v, std::uint32_t minElementSize,
                            const unsigned char* end) {
    // A dimension of 0 empties the array whatever the others say, so every size is looked at
    // before the product is bounded.
    bool empty = false;
    for (std::uint32_t i = 0; i < v.numDims; ++i) {
        const std::int32_t d = static_cast<std::int32_t>(ReadUI32(v.dims + 4 * i));
        Require(d >= 0, __LINE__);
        empty = empty || d == 0;
    }
    if (empty) {
        return 0;
    }
    // Bounded by the room at every step, the product never overflows 64 bits.
    const std::uint64_t floor = minElementSize != 0 ? minElementSize : 1;
    const std::uint64_t room = Remaining(v.elements, end);
    std::uint64_t count = 1;
    for (std::uint32_t i = 0; i < v.numDims; ++i) {
        count *= ReadUI32(v.dims + 4 * i);
        Require(count * floor <= room, __LINE__);
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace flex_detail

// ---- Construction ----------------------------------------------------------------------------

FlexData::FlexData(const Vector<AString>& strings) {
    init();
    setAStringArray(strings);
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
    return fd::GetElementCount(v.dims, v.numDims, end_);
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

}  // namespace kor
}  // namespace ka
