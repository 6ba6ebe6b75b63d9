#include "ka/kor/FlexData.h"

#include <cstring>

#include "ka/kor/FlexDataDetail.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/SerializeUtf16.h"

namespace ka {
namespace kor {

namespace {

using fd::FlexType;
using namespace flex_detail;

}  // namespace

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
    // Checked before it is narrowed: on x86_64 a text may be longer than any packet.
    setAString(text, text != nullptr ? CheckedPacketSize(std::strlen(text)) : 0);
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

}  // namespace kor
}  // namespace ka
