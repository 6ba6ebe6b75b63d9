#include "ka/kor/fd.h"

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace fd {

const unsigned char k_waveformAttributes[52] = {
    0x02, 0x40, 0x32, 0x00, 0x00, 0x00,              // named attribute, packet of 50
    0x03, 0x40, 0x12, 0x00, 0x00, 0x00,              // its name, packet of 18
    0x00, 0x09, 0x07, 0x00, 0x00, 0x00,              // AString of 7 bytes
    0x5F, 0x4B, 0x41, 0x5F, 0x4D, 0x44, 0x54, 0x00,  // "_KA_MDT" and its pad byte
    0x01, 0x08, 0x02, 0x00,                          // cluster of 2 members:
    0x06, 0x00, 0x00, 0x00, 0x00, 0x09,              //   AString
    0x06, 0x00, 0x00, 0x00, 0x00, 0x02,              //   I16
    0x03, 0x00, 0x00, 0x00, 0x4D, 0x44, 0x54, 0x00,  // "MDT" and its pad byte
    0x03, 0x00,                                      // 3
};

const unsigned char k_waveformTypePrefix[28] = {
    0x01, 0x08, 0x05, 0x00,                          // cluster of 5 members:
    0x06, 0x00, 0x00, 0x00, 0x04, 0x05,              //   Time t0
    0x06, 0x00, 0x00, 0x00, 0x02, 0x04,              //   F64 dt
    0x0E, 0x00, 0x00, 0x00, 0x00, 0x08, 0x01, 0x00,  //   1-dimensional array
    0x06, 0x00, 0x00, 0x00,                          //   of the sample type that follows
};

const unsigned char k_waveformTypeSuffix[32] = {
    0x1A, 0x00, 0x00, 0x00, 0x01, 0x08, 0x03, 0x00,  //   error record, cluster of 3:
    0x06, 0x00, 0x00, 0x00, 0x02, 0x01,              //     Bool status
    0x06, 0x00, 0x00, 0x00, 0x00, 0x03,              //     I32 code
    0x06, 0x00, 0x00, 0x00, 0x00, 0x09,              //     AString source
    0x06, 0x00, 0x00, 0x00, 0x02, 0x09,              //   Opaque attributes
};

const unsigned char k_waveformDataSuffix[20] = {
    0x00, 0x00,                                                  // status false and its pad byte
    0x00, 0x00, 0x00, 0x00,                                      // code 0
    0x00, 0x00, 0x00, 0x00,                                      // empty source
    0x0A, 0x00, 0x00, 0x00, 0x05, 0x03, 0x00, 0x00, 0x00, 0x00,  // Opaque of 10 bytes
};

namespace {

// Nested arrays and clusters are sized recursively; a hostile MD of a few kilobytes could nest
// deep enough to exhaust the stack, so nesting beyond any real type is refused.
constexpr unsigned kMaxNestingDepth = 256;

// Sizes and counts are worked out in 64 bits; one that no 32-bit size field can hold never
// describes bytes of a packet.
constexpr std::uint64_t kMaxSize = 0xFFFFFFFFu;

std::uint16_t ReadUI16(const unsigned char* p) noexcept {
    std::uint16_t v;
    std::memcpy(&v, p, 2);
    return little_endian::FromLittleEndian(v);
}

void WriteUI16(unsigned char* p, std::uint16_t v) noexcept {
    v = little_endian::ToLittleEndian(v);
    std::memcpy(p, &v, 2);
}

// Whole bytes from p to end; 0 when p is past end.
std::size_t Remaining(const unsigned char* p, const unsigned char* end) noexcept {
    return p <= end ? static_cast<std::size_t>(end - p) : 0;
}

std::uint64_t RoundUpEven(std::uint64_t n) noexcept {
    return n + (n & 1u);
}

// An element size that a 32-bit result can carry; a larger one cannot lie before any end.
std::uint32_t CheckedElementSize(std::uint64_t n) {
    if (n > kMaxSize) {
        ThrowSyntaxError(kCodeReadLine);
    }
    return static_cast<std::uint32_t>(n);
}

[[noreturn]] void ThrowNestedTooDeeply(std::uint32_t line) {
    throw exception::SyntaxError(line, kSourceFile, "type nested too deeply");
}

// The type element of the MD held by the description at description: a 4-byte size counting
// itself, then the MD. Nested descriptions must hold their MD: a description smaller than its
// MD would let members and elements share bytes with what stands after them, and a walk over
// such sharing can revisit the same bytes a number of times exponential in the nesting depth.
// Holding to it, every nested MD lies inside the one around it, so the type is a tree whose
// nodes the walks below visit once per element they size.
const unsigned char* HeldType(const unsigned char* description, const unsigned char* end) {
    const std::uint32_t size = GetUI32(description, end, TAEndianLittle);
    if (size > Remaining(description, end) || size < 4 ||
        GetMDSize(description + 4, end) > size - 4) {
        ThrowSyntaxError(kClusterWalkLine);
    }
    return GetTypeFromMD(description + 4, end);
}

// Checks HeldType for every description nested in the type at type, all the way down, in one
// pass over the type; the walks over an array's elements then trust them, rather than check the
// same descriptions again for every element.
void CheckNesting(const unsigned char* type, const unsigned char* end, unsigned depth) {
    const std::uint16_t code = ReadCode(type, end);
    if (IsScalarCode(code)) {
        return;
    }
    if (depth > kMaxNestingDepth) {
        ThrowNestedTooDeeply(__LINE__);
    }
    if (code == Code(FlexType::Array)) {
        CheckRoom(type, 4, end, kArrayHeadLine);
        if (!IsScalarCode(ReadCode(GetTypeFromPacket(type + 4, end), end))) {
            CheckNesting(HeldType(type + 4, end), end, depth + 1);
        }
    } else if (code == Code(FlexType::Cluster)) {
        CheckRoom(type, 4, end, kCodeReadLine);
        const std::uint32_t members = ReadUI16(type + 2);
        const unsigned char* description = type + 4;
        for (std::uint32_t i = 0; i < members; ++i) {
            CheckNesting(HeldType(description, end), end, depth + 1);
            description += GetUI32(description, end, TAEndianLittle);
        }
    }
}

// The walks: trusted tells that CheckNesting has passed the type already.
std::uint64_t DataSize(const unsigned char* type, const unsigned char* data,
                       const unsigned char* end, unsigned depth, bool trusted);

std::uint64_t ArrayDataSize(const unsigned char* type, const unsigned char* data,
                            const unsigned char* end, unsigned depth, bool trusted) {
    CheckRoom(type, 4, end, kArrayHeadLine);
    const std::uint32_t dims = 4u * ReadUI16(type + 2);
    if (data == nullptr) {
        return dims;
    }
    CheckRoom(data, dims, end, kArrayHeadLine);
    const std::uint64_t count = GetElementCount(data, dims / 4, end);
    if (count == 0) {
        return dims;
    }
    const unsigned char* elementType = GetTypeFromPacket(type + 4, end);
    const std::uint16_t elementCode = ReadCode(elementType, end);
    if (IsScalarCode(elementCode)) {
        return dims + count * ScalarSize(elementCode);
    }
    if (!trusted) {
        CheckNesting(HeldType(type + 4, end), end, depth + 1);
    }
    const unsigned char* p = data + dims;
    std::uint64_t total = dims;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t size = RoundUpEven(DataSize(elementType, p, end, depth + 1, true));
        if (size == 0) {
            // Every further element is read from the same bytes, so it is empty as well.
            break;
        }
        if (size > Remaining(p, end)) {
            ThrowSyntaxError(kClusterWalkLine);
        }
        p += size;
        total += size;
    }
    return total;
}

std::uint64_t ClusterDataSize(const unsigned char* type, const unsigned char* data,
                              const unsigned char* end, unsigned depth, bool trusted) {
    CheckRoom(type, 4, end, kCodeReadLine);
    const std::uint32_t members = ReadUI16(type + 2);
    const unsigned char* description = type + 4;
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < members; ++i) {
        // A description of size 0 cannot hold its member, so HeldType raises SyntaxError rather
        // than the walk stopping there: no writer makes one, and taking the members before it as
        // the whole cluster would read the data against a member count that says otherwise.
        const unsigned char* memberType =
            trusted ? GetTypeFromMD(description + 4, end) : HeldType(description, end);
        const std::uint64_t size = RoundUpEven(DataSize(memberType, data, end, depth + 1, trusted));
        total += size;
        if (data != nullptr) {
            if (size > Remaining(data, end)) {
                ThrowSyntaxError(kClusterWalkLine);
            }
            data += size;
        }
        description += GetUI32(description, end, TAEndianLittle);
    }
    return total;
}

std::uint64_t DataSize(const unsigned char* type, const unsigned char* data,
                       const unsigned char* end, unsigned depth, bool trusted) {
    const std::uint16_t code = ReadCode(type, end);
    if (IsScalarCode(code)) {
        return ScalarSize(code);
    }
    if (depth > kMaxNestingDepth) {
        ThrowNestedTooDeeply(__LINE__);
    }
    switch (static_cast<FlexType>(code)) {
        case FlexType::Array:
            return ArrayDataSize(type, data, end, depth, trusted);
        case FlexType::Cluster:
            return ClusterDataSize(type, data, end, depth, trusted);
        case FlexType::Opaque:
            return data != nullptr ? GetUI32(data, end, TAEndianLittle) : 8;
        default:
            break;
    }
    switch (code >> 8) {
        case 0x09:
            return data != nullptr ? 4 + std::uint64_t{GetUI32(data, end, TAEndianLittle)} : 4;
        case 0x0A:
            return data != nullptr ? 4 + 2 * std::uint64_t{GetUI32(data, end, TAEndianLittle)} : 4;
        default:
            return 0;
    }
}

// Whether the FlexAttrName element at nameElement holds exactly the bytes of name.
bool NameMatches(const unsigned char* nameElement, const AString& name, const unsigned char* end) {
    CheckRoom(nameElement, 8, end, kCodeReadLine);
    if (ReadUI16(nameElement + 6) != Code(FlexType::AString)) {
        return false;
    }
    const std::uint32_t count = GetUI32(nameElement + 8, end, TAEndianLittle);
    if (count != name.size()) {
        return false;
    }
    CheckRoom(nameElement + 12, count, end, kPacketHeadLine);
    return count == 0 || std::memcmp(nameElement + 12, name.data(), count) == 0;
}

// Steps from a prefix element to the next element; an element that does not advance the walk
// (an undefined class) would repeat forever, so it is reported instead.
const unsigned char* StepPrefix(const unsigned char* element, std::uint16_t& code,
                                const unsigned char* end) {
    const unsigned char* next = GetNextElt(element, code, end);
    if (next == element) {
        ThrowSyntaxError(kCodeReadLine);
    }
    return next;
}

}  // namespace

void ThrowSyntaxError(std::uint32_t line) {
    throw exception::SyntaxError(line, kSourceFile);
}

unsigned long MemCpy(unsigned char* dst, const unsigned char* dstEnd, const unsigned char* src,
                     const unsigned char* srcEnd, unsigned long n) {
    if (!HasRoom(src, n, srcEnd)) {
        throw exception::BufferOverflow(kMemCpySourceLine, kSourceFile);
    }
    if (!HasRoom(dst, n, dstEnd)) {
        ThrowSyntaxError(kMemCpyDestinationLine);
    }
    if (n != 0) {
        std::memmove(dst, src, n);
    }
    return n;
}

std::uint32_t GetMDEltSize(const unsigned char* element, const unsigned char* end) {
    const std::uint16_t code = ReadCode(element, end);
    switch (code & kClassMask) {
        case kAttributeClass:
            return CheckedElementSize(2 + std::uint64_t{GetUI32(element + 2, end, TAEndianLittle)});
        case kMarkerClass:
            return 2;
        case 0:
            break;
        default:
            return 0;
    }
    const FlexType type = static_cast<FlexType>(code & kTypeCodeMask);
    if (type == FlexType::Array) {
        CheckRoom(element, 4, end, kArrayHeadLine);
        return CheckedElementSize(4 + std::uint64_t{GetUI32(element + 4, end, TAEndianLittle)});
    }
    if (type != FlexType::Cluster) {
        return 2;
    }
    CheckRoom(element, 4, end, kCodeReadLine);
    std::uint32_t members = ReadUI16(element + 2);
    const unsigned char* q = element + 4;
    // Decremented before the test: a count of 0 wraps and walks on until q passes end.
    while (--members != 0) {
        const std::uint32_t size = GetUI32(q, end, TAEndianLittle);
        if (size == 0) {
            // The walk stands still: every remaining description, the last included, reads 0.
            break;
        }
        if (size > Remaining(q, end)) {
            ThrowSyntaxError(kClusterWalkLine);
        }
        q += size;
    }
    return CheckedElementSize(static_cast<std::uint64_t>(q - element) +
                              GetUI32(q, end, TAEndianLittle));
}

const unsigned char* GetNextElt(const unsigned char* element, const unsigned char* end) {
    const std::uint32_t size = GetMDEltSize(element, end);
    CheckRoom(element, size, end, kCodeReadLine);
    return element + size;
}

const unsigned char* GetNextElt(const unsigned char* element, std::uint16_t& code,
                                const unsigned char* end) {
    const std::uint32_t size = GetMDEltSize(element, end);
    CheckRoom(element, static_cast<std::uint64_t>(size) + 2, end, kCodeReadLine);
    const unsigned char* next = element + size;
    code = ReadUI16(next);
    return next;
}

const unsigned char* GetTypeFromMD(const unsigned char* md, const unsigned char* end) {
    std::uint16_t code = ReadCode(md, end);
    const unsigned char* element = md;
    while ((code & kClassMask) != 0) {
        element = StepPrefix(element, code, end);
    }
    return element;
}

std::uint32_t GetMDSize(const unsigned char* md, const unsigned char* end) {
    const unsigned char* type = GetTypeFromMD(md, end);
    const std::uint32_t size = GetMDEltSize(type, end);
    CheckRoom(type, size, end, kPacketHeadLine);
    return static_cast<std::uint32_t>(type - md) + size;
}

const unsigned char* GetTypeFromPacket(const unsigned char* packet, const unsigned char* end) {
    CheckRoom(packet, 4, end, kPacketHeadLine);
    return GetTypeFromMD(packet + 4, end);
}

const unsigned char* GetData(const unsigned char* packet, const unsigned char* end) {
    CheckRoom(packet, 4, end, kPacketHeadLine);
    return packet + 4 + GetMDSize(packet + 4, end);
}

std::uint32_t GetDataSize(FlexType type) {
    const std::uint16_t code = Code(type);
    if (IsScalarCode(code)) {
        return ScalarSize(code);
    }
    if (type == FlexType::Array || type == FlexType::Cluster) {
        return 0;
    }
    unsigned char md[2];
    WriteUI16(md, code);
    return GetDataSize(md, nullptr, md + 2);
}

std::uint32_t GetDataSize(const unsigned char* type, const unsigned char* data,
                          const unsigned char* end) {
    const std::uint64_t size = DataSize(type, data, end, 0, false);
    if (size > kMaxSize) {
        ThrowSyntaxError(kClusterWalkLine);
    }
    return static_cast<std::uint32_t>(size);
}

std::uint32_t GetElementCount(const unsigned char* dims, std::uint32_t numDims,
                              const unsigned char* end) {
    CheckRoom(dims, 4 * std::uint64_t{numDims}, end, kArrayHeadLine);
    for (std::uint32_t i = 0; i < numDims; ++i) {
        if (GetUI32(dims + 4 * i, end, TAEndianLittle) == 0) {
            return 0;
        }
    }
    std::uint64_t magnitude = 1;
    bool negative = false;
    for (std::uint32_t i = 0; i < numDims; ++i) {
        const auto d = static_cast<std::int32_t>(GetUI32(dims + 4 * i, end, TAEndianLittle));
        negative = negative != (d < 0);
        magnitude *= static_cast<std::uint64_t>(d < 0 ? -std::int64_t{d} : std::int64_t{d});
        if (magnitude > kMaxSize) {
            ThrowSyntaxError(kArrayHeadLine);
        }
    }
    if (negative) {
        ThrowSyntaxError(kArrayHeadLine);
    }
    return static_cast<std::uint32_t>(magnitude);
}

const unsigned char* GetAttributeMD(const unsigned char* md, FlexAttr attr,
                                    const unsigned char* end) {
    std::uint16_t code = ReadCode(md, end);
    const unsigned char* element = md;
    while ((code & kClassMask) != 0) {
        if (code == AttributeCode(attr)) {
            return element;
        }
        element = StepPrefix(element, code, end);
    }
    return nullptr;
}

const unsigned char* GetAttributeMD(const unsigned char* md, const AString& name,
                                    const unsigned char* end) {
    std::uint16_t code = ReadCode(md, end);
    const unsigned char* element = md;
    while ((code & kClassMask) != 0) {
        if (code == AttributeCode(FlexAttrNamed)) {
            // The attribute's own MD starts after its code and size field.
            CheckRoom(element, 8, end, kCodeReadLine);
            const unsigned char* nameElement = GetAttributeMD(element + 6, FlexAttrName, end);
            if (nameElement != nullptr && NameMatches(nameElement, name, end)) {
                return element;
            }
        }
        element = StepPrefix(element, code, end);
    }
    return nullptr;
}

const unsigned char* GetAttributePacket(const unsigned char* md, FlexAttr attr,
                                        const unsigned char* end) {
    const unsigned char* element = GetAttributeMD(md, attr, end);
    return element != nullptr ? element + 2 : nullptr;
}

const unsigned char* GetAttributePacket(const unsigned char* md, const AString& name,
                                        const unsigned char* end) {
    const unsigned char* element = GetAttributeMD(md, name, end);
    return element != nullptr ? element + 2 : nullptr;
}

void SetTime(unsigned char* dst, const AbsTime& time, const unsigned char* dstEnd) {
    for (unsigned int i = 0; i < 4; ++i) {
        CheckRoom(dst, 4 * i + 4, dstEnd, kUI32ReadLine);
        const std::uint32_t word = little_endian::ToLittleEndian(time.word(i));
        std::memcpy(dst + 4 * i, &word, 4);
    }
}

AbsTime GetTime(const unsigned char* p, const unsigned char* end, TAEndian endian) {
    CheckRoom(p, AbsTime::size, end, kUI32ReadLine);
    return AbsTime(GetUI32(p + 12, end, endian), GetUI32(p + 8, end, endian),
                   GetUI32(p + 4, end, endian), GetUI32(p, end, endian));
}

bool IsWaveformType(const unsigned char* md, const unsigned char* end) {
    if (Remaining(md, end) <= 61) {
        return false;
    }
    if (std::memcmp(md, k_waveformTypePrefix, sizeof k_waveformTypePrefix) != 0) {
        return false;
    }
    const std::uint16_t sampleType = ReadCode(md + 28, end);
    return IsWaveformSampleType(static_cast<FlexType>(sampleType)) &&
           std::memcmp(md + 30, k_waveformTypeSuffix, sizeof k_waveformTypeSuffix) == 0;
}

FlexType GetWaveformSampleType(const unsigned char* waveformType, const unsigned char* end) {
    CheckRoom(waveformType, 30, end, kCodeReadLine);
    return static_cast<FlexType>(ReadUI16(waveformType + 28));
}

unsigned long SetWaveformAttributes(unsigned char* dst, const unsigned char* dstEnd) {
    return MemCpy(dst, dstEnd, k_waveformAttributes,
                  k_waveformAttributes + sizeof k_waveformAttributes, sizeof k_waveformAttributes);
}

unsigned long SetWaveformType(unsigned char* dst, const unsigned char* dstEnd,
                              FlexType sampleType) {
    unsigned char* p = dst;
    p += MemCpy(p, dstEnd, k_waveformTypePrefix, k_waveformTypePrefix + sizeof k_waveformTypePrefix,
                sizeof k_waveformTypePrefix);
    CheckRoom(p, 2, dstEnd, kSampleTypeRoomLine);
    WriteUI16(p, Code(sampleType));
    p += 2;
    p += MemCpy(p, dstEnd, k_waveformTypeSuffix, k_waveformTypeSuffix + sizeof k_waveformTypeSuffix,
                sizeof k_waveformTypeSuffix);
    return static_cast<unsigned long>(p - dst);
}

unsigned long SetWaveformDataSuffix(unsigned char* dst, const unsigned char* dstEnd) {
    return MemCpy(dst, dstEnd, k_waveformDataSuffix,
                  k_waveformDataSuffix + sizeof k_waveformDataSuffix, sizeof k_waveformDataSuffix);
}

}  // namespace fd
}  // namespace kor
}  // namespace ka
