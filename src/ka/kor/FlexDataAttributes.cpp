#include "ka/kor/FlexData.h"

#include <cstring>

#include "ka/kor/FlexDataDetail.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

using fd::FlexType;
using namespace flex_detail;

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

}  // namespace

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

}  // namespace kor
}  // namespace ka
