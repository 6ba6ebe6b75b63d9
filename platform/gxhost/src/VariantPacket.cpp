// Conversion between flex packets and variants: KORFlexToGxVar and GxVarToKORFlex.

#include <algorithm>
#include <cstring>
#include <new>

#include "Memory.h"
#include "Variant.h"
#include "ka/kor/exception.h"
#include "ka/kor/fd.h"

namespace gxhost {

namespace {

namespace fd = ka::kor::fd;

std::uint16_t LoadUI16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

std::uint32_t LoadUI32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

void AppendUI16(Bytes& out, std::uint16_t v) {
    out.push_back(static_cast<unsigned char>(v));
    out.push_back(static_cast<unsigned char>(v >> 8));
}

void AppendUI32(Bytes& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        out.push_back(static_cast<unsigned char>(v >> (8 * i)));
    }
}

// Where a packet's parts lie once its sizes have been checked.
struct Layout {
    const unsigned char* md;
    const unsigned char* type;  // the type element
    const unsigned char* data;
    const unsigned char* end;  // the end of the packet, as its size field says
};

// Whether a waveform with scalar samples, written in one pass, fits its size field exactly: such a
// packet is not rounded to even and its data suffix follows an odd sample array without a pad
// byte, so the generic sizing (which pads every cluster member) would misread it.
bool WaveformFits(const Layout& l, std::uint32_t mdSize, std::uint32_t field, bool& isWaveform) {
    isWaveform = false;
    if (mdSize != fd::CalculateWaveformAttributeSize() + fd::CalculateWaveformTypeSize() ||
        std::memcmp(l.md, fd::k_waveformAttributes, sizeof fd::k_waveformAttributes) != 0 ||
        !fd::IsWaveformType(l.type, l.data)) {
        return false;
    }
    const std::uint16_t sample = fd::Code(fd::GetWaveformSampleType(l.type, l.data));
    if (!fd::IsScalarCode(sample)) {
        return false;  // elements padded one by one: the generic sizing agrees with the writer
    }
    isWaveform = true;
    constexpr std::uint32_t kCountOffset = 16 + 8;  // after t0 and dt
    const std::uint32_t count = fd::GetUI32(l.data + kCountOffset, l.end, fd::TAEndianLittle);
    const std::uint64_t need = 4 + static_cast<std::uint64_t>(mdSize) +
                               fd::CalculateWaveformDataSize(0) +
                               static_cast<std::uint64_t>(count) * fd::ScalarSize(sample);
    // A copy that went through a value container may carry the pad byte inside its size.
    return field == need || ((need & 1u) != 0 && field == need + 1);
}

// Checks the packet's size field against its MD and data. The walkers raise SyntaxError for
// anything that runs past the end.
MgErr Inspect(const unsigned char* packet, std::uint32_t field, Layout& l) {
    l.end = packet + field;
    l.md = packet + 4;
    const std::uint32_t mdSize = fd::GetMDSize(l.md, l.end);
    l.type = fd::GetTypeFromMD(l.md, l.end);
    l.data = l.md + mdSize;
    bool isWaveform;
    if (WaveformFits(l, mdSize, field, isWaveform)) {
        return mgNoErr;
    }
    if (isWaveform) {
        return mgArgErr;
    }
    const std::uint64_t need =
        4 + static_cast<std::uint64_t>(mdSize) + fd::GetDataSize(l.type, l.data, l.end);
    // Packets are reserved at an even size; bytes beyond what the data needs are kept as they are.
    if (need > field || (field & 1u) != 0) {
        return mgArgErr;
    }
    return mgNoErr;
}

// Reads a modelled value from the data; mgArgErr when its counts run past the packet (sizes the
// walkers took in 32 bits, where a hostile count can wrap). Leaves v alone for other types.
MgErr Model(const Layout& l, GxVariant& v) {
    const std::uint16_t code = LoadUI16(l.type);
    const std::uint64_t available = static_cast<std::uint64_t>(l.end - l.data);
    if (IsScalarType(code)) {
        v.kind = Kind::Scalar;
        v.type = code;
        v.data.assign(l.data, l.data + ScalarBytes(code));
        return mgNoErr;
    }
    if (IsTextType(code)) {
        const std::uint64_t n =
            4 + static_cast<std::uint64_t>(LoadUI32(l.data)) * (code == GX_TYPE_UTF16 ? 2 : 1);
        if (n > available) {
            return mgArgErr;
        }
        v.kind = Kind::Text;
        v.type = code;
        v.data.assign(l.data, l.data + n);
        return mgNoErr;
    }
    // Only one-dimensional arrays whose element MD is a lone code of the model.
    constexpr std::uint32_t kElementDescriptionSize = 6;
    if (code != GX_TYPE_ARRAY || l.data - l.type != 10 || LoadUI16(l.type + 2) != 1 ||
        LoadUI32(l.type + 4) != kElementDescriptionSize || !IsElementType(LoadUI16(l.type + 8))) {
        return mgNoErr;
    }
    const std::uint16_t element = LoadUI16(l.type + 8);
    const std::int32_t count = static_cast<std::int32_t>(LoadUI32(l.data));
    if (count < 0) {
        return mgArgErr;
    }
    std::uint64_t size = 4;
    if (IsScalarType(element)) {
        size += static_cast<std::uint64_t>(count) * ScalarBytes(element);
        if (size > available) {
            return mgArgErr;
        }
    } else {
        const std::uint64_t unit = element == GX_TYPE_UTF16 ? 2 : 1;
        // Each element takes at least its 4-byte count, which bounds what a hostile count makes
        // us reserve.
        v.offsets.reserve(
            std::min<std::uint64_t>(static_cast<std::uint64_t>(count), available / 4));
        for (std::int32_t i = 0; i < count; ++i) {
            if (size + 4 > available) {
                return mgArgErr;
            }
            const std::uint64_t n = 4 + LoadUI32(l.data + size) * unit;
            const std::uint64_t padded = n + (n & 1u);
            if (size + padded > available) {
                return mgArgErr;
            }
            v.offsets.push_back(static_cast<std::uint32_t>(size));
            size += padded;
        }
    }
    v.kind = Kind::Array;
    v.type = GX_TYPE_ARRAY;
    v.elementType = element;
    v.data.assign(l.data, l.data + size);
    return mgNoErr;
}

}  // namespace

Bytes Encode(const GxVariant& v) {
    if (v.kind == Kind::Packet) {
        return v.data;
    }
    Bytes out;
    if (v.kind == Kind::None) {
        AppendUI32(out, 0);
        return out;
    }
    const std::size_t typeSize = v.kind == Kind::Array ? 10 : 2;
    const std::size_t pad = v.data.size() & 1u;
    const std::size_t size = 4 + v.prefix.size() + typeSize + v.data.size() + pad;
    out.reserve(size);
    AppendUI32(out, static_cast<std::uint32_t>(size));
    out.insert(out.end(), v.prefix.begin(), v.prefix.end());
    AppendUI16(out, v.type);
    if (v.kind == Kind::Array) {
        AppendUI16(out, 1);  // one dimension
        AppendUI32(out, 6);  // element description: its own 4 bytes and the element's code
        AppendUI16(out, v.elementType);
    }
    out.insert(out.end(), v.data.begin(), v.data.end());
    if (pad != 0) {
        out.push_back(0);
    }
    return out;
}

MgErr Decode(const unsigned char* packet, std::int32_t size, GxVariant& out) {
    if (size < 0 || (packet == nullptr && size > 0)) {
        return mgArgErr;
    }
    if (size == 0) {
        out = GxVariant();
        return mgNoErr;
    }
    if (size < 4) {
        return mgArgErr;
    }
    const std::uint32_t field = LoadUI32(packet);
    const std::uint64_t range = static_cast<std::uint64_t>(size);
    if (field == 0) {
        // The form of no value: a lone 32-bit zero.
        if (range != 4) {
            return mgArgErr;
        }
        out = GxVariant();
        return mgNoErr;
    }
    // The range is the packet, or the packet and the pad byte of an odd one-pass waveform.
    if (field < 6 || !(range == field || ((field & 1u) != 0 && range == field + 1u))) {
        return mgArgErr;
    }
    Layout l;
    try {
        const MgErr status = Inspect(packet, field, l);
        if (status != mgNoErr) {
            return status;
        }
    } catch (const ka::kor::exception::Exception&) {
        return mgArgErr;
    }

    GxVariant v;
    const MgErr status = Model(l, v);
    if (status != mgNoErr) {
        return status;
    }
    if (v.kind != Kind::None) {
        v.prefix.assign(l.md, l.type);
        // Only a model that writes the very same bytes may stand for the packet (a nonzero pad
        // byte, spare bytes after the data or an odd count of UTF16 units would not survive).
        const Bytes again = Encode(v);
        if (again.size() == field && std::memcmp(again.data(), packet, field) == 0) {
            out = std::move(v);
            return mgNoErr;
        }
    }
    GxVariant carried;
    carried.kind = Kind::Packet;
    carried.type = LoadUI16(l.type);
    carried.data.assign(packet, packet + field);
    out = std::move(carried);
    return mgNoErr;
}

}  // namespace gxhost

extern "C" {

MgErr KORFlexToGxVar(const unsigned char* packet, int32_t size, GxVariant** var) {
    if (var == nullptr) {
        return mgArgErr;
    }
    try {
        GxVariant made;
        const MgErr status = gxhost::Decode(packet, size, made);
        if (status != mgNoErr) {
            return status;
        }
        if (!gxhost::AllocationMayProceed()) {
            return mFullErr;
        }
        if (*var == nullptr) {
            *var = new GxVariant(std::move(made));
            gxhost::NoteVariantCreated();
        } else {
            **var = std::move(made);
        }
        return mgNoErr;
    } catch (const std::bad_alloc&) {
        return mFullErr;
    } catch (...) {
        return mgArgErr;
    }
}

MgErr GxVarToKORFlex(const GxVariant* var, unsigned char** buffer, int32_t* length) {
    if (buffer == nullptr || length == nullptr) {
        return mgArgErr;
    }
    *buffer = nullptr;
    if (var == nullptr) {
        return mgArgErr;
    }
    try {
        const gxhost::Bytes packet = gxhost::Encode(*var);
        if (packet.size() > static_cast<std::size_t>(INT32_MAX)) {
            return mgArgErr;
        }
        if (!gxhost::AllocationMayProceed()) {
            return mFullErr;
        }
        unsigned char* block = static_cast<unsigned char*>(gxhost::NewPtr(packet.size()));
        if (block == nullptr) {
            return mFullErr;
        }
        std::memcpy(block, packet.data(), packet.size());
        *buffer = block;
        *length = static_cast<int32_t>(packet.size());
        return mgNoErr;
    } catch (const std::bad_alloc&) {
        return mFullErr;
    } catch (...) {
        return mgArgErr;
    }
}

}  // extern "C"
