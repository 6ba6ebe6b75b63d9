// katag packet HEX | - | --example NAME: walks a flex packet and prints its tree: size, attributes
// with their names, each type with its name and code, dimensions or members, and the values. A
// malformed packet is refused with the library's own exception text.

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/exception.h"
#include "ka/kor/fd.h"
#include "ka/kor/osdep/SerializeUtf16.h"

namespace katag {

namespace {

namespace fd = ka::kor::fd;
using fd::FlexType;
using ka::kor::AbsTime;
using ka::kor::AString;
using ka::kor::FlexData;

typedef std::vector<unsigned char> Bytes;

// Elements shown per array before the rest is summarised, and the nesting shown in full.
constexpr std::uint32_t kShownElements = 32;
constexpr int kShownDepth = 32;

const char kUsageText[] =
    "usage: katag packet HEX... | - | --example "
    "i32|f64|astring|utf16|time|array|astrings|waveform|waves|named";

// The examples --example builds, in the order of the usage text.
const std::vector<std::string> kExamples = {"i32",   "f64",      "astring",  "utf16", "time",
                                            "array", "astrings", "waveform", "waves", "named"};

struct Options {
    std::vector<std::string> hex;
    std::string example;
};

Bytes ParseHex(const std::string& text) {
    Bytes out;
    int high = -1;
    for (const char ch : text) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (std::isspace(c)) {
            continue;
        }
        if (!std::isxdigit(c)) {
            throw UsageError(std::string("invalid hex digit '") + ch + "'");
        }
        const int v = std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<unsigned char>(high * 16 + v));
            high = -1;
        }
    }
    if (high >= 0) {
        throw UsageError("odd number of hex digits");
    }
    return out;
}

std::string Hex(const unsigned char* p, std::size_t n) {
    std::string out;
    char byte[4];
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(byte, sizeof byte, "%02X", p[i]);
        if (i != 0) {
            out += (i % 32 == 0) ? "\n     " : (i % 4 == 0 ? " " : "");
        }
        out += byte;
    }
    return out;
}

std::string CodeText(std::uint16_t code) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", code);
    return text;
}

const char* TypeName(std::uint16_t code) {
    switch (static_cast<FlexType>(code)) {
        case FlexType::Empty:
            return "Empty";
        case FlexType::Void:
            return "Void";
        case FlexType::I8:
            return "I8";
        case FlexType::UI8:
            return "UI8";
        case FlexType::Bool:
            return "Bool";
        case FlexType::I16:
            return "I16";
        case FlexType::UI16:
            return "UI16";
        case FlexType::Bool16:
            return "Bool16";
        case FlexType::I32:
            return "I32";
        case FlexType::UI32:
            return "UI32";
        case FlexType::F32:
            return "F32";
        case FlexType::I64:
            return "I64";
        case FlexType::UI64:
            return "UI64";
        case FlexType::F64:
            return "F64";
        case FlexType::Time:
            return "Time";
        case FlexType::Array:
            return "Array";
        case FlexType::Cluster:
            return "Cluster";
        case FlexType::AString:
            return "AString";
        case FlexType::AStringAlt:
            return "AStringAlt";
        case FlexType::Opaque:
            return "Opaque";
        case FlexType::UTF16:
            return "UTF16";
    }
    if ((code >> 8) == 0x09) {
        return "8-bit text";
    }
    if ((code >> 8) == 0x0A) {
        return "UTF-16 text";
    }
    return fd::IsScalarCode(code) ? "scalar" : "unknown";
}

std::string TypeText(std::uint16_t code) {
    return std::string(TypeName(code)) + " (" + CodeText(code) + ")";
}

std::string TimeText(const AbsTime& t) {
    if (t == AbsTime::min) {
        return "no time";
    }
    char text[96];
    std::snprintf(text, sizeof text, "%" PRId64 " s + %.17g (seconds since 1904-01-01 UTC)",
                  t.getSeconds(), t.getFraction());
    return text;
}

template <typename T>
T Load(const unsigned char* p) {
    return ka::kor::flex_detail::LoadLittle<T>(p);
}

// The value of a scalar code stored at p (its bytes checked against end).
std::string ScalarText(std::uint16_t code, const unsigned char* p, const unsigned char* end) {
    const std::uint32_t size = fd::ScalarSize(code);
    fd::CheckRoom(p, size, end, fd::kPacketHeadLine);
    char text[64];
    switch (static_cast<FlexType>(code)) {
        case FlexType::I8:
        case FlexType::I16:
        case FlexType::I32:
        case FlexType::I64:
            std::snprintf(text, sizeof text, "%" PRId64,
                          ka::kor::GetNum<std::int64_t>(static_cast<FlexType>(code), p, end));
            return text;
        case FlexType::UI8:
        case FlexType::UI16:
        case FlexType::UI32:
        case FlexType::UI64:
            std::snprintf(text, sizeof text, "%" PRIu64,
                          ka::kor::GetNum<std::uint64_t>(static_cast<FlexType>(code), p, end));
            return text;
        case FlexType::F32:
            std::snprintf(text, sizeof text, "%.9g", static_cast<double>(Load<float>(p)));
            return text;
        case FlexType::F64:
            std::snprintf(text, sizeof text, "%.17g", Load<double>(p));
            return text;
        case FlexType::Bool:
            return p[0] == 0 ? "false"
                             : (p[0] == 1 ? "true" : "true (" + std::to_string(p[0]) + ")");
        case FlexType::Bool16:
            return Load<std::uint16_t>(p) != 0 ? "true" : "false";
        case FlexType::Time:
            return TimeText(fd::GetTime(p, end, fd::TAEndianLittle));
        default:
            return size == 0 ? "(no data)" : Hex(p, size);
    }
}

class TreePrinter {
  public:
    explicit TreePrinter(std::ostream& out) : out_(out) {}

    // A whole packet held (validated) by f, given with the size field size.
    void packet(const FlexData& f, std::uint32_t size, int indent, int depth) {
        line(indent) << "packet " << size << " bytes: MD " << f.getMetaDataBuffer().length()
                     << ", data " << f.getDataBuffer().length();
        if (size != f.getPacketSize()) {
            out_ << " (odd size, adopted with a pad byte)";
        }
        out_ << '\n';
        body(f, indent + 1, depth);
    }

  private:
    std::ostream& line(int indent) {
        for (int i = 0; i < indent; ++i) {
            out_ << "  ";
        }
        return out_;
    }

    // The MD's prefix elements, then the value.
    void body(const FlexData& f, int indent, int depth) {
        if (f.getType() == FlexType::Empty) {
            line(indent) << "empty value\n";
            return;
        }
        const unsigned char* md = f.getMetaDataBuffer().data();
        const unsigned char* end = f.end();
        const unsigned char* type = prefixes(md, end, indent, depth);
        if (f.isWaveform()) {
            waveform(f, type, indent);
        } else {
            value(type, f.getDataBuffer().data(), end, indent, depth, "");
        }
    }

    // Prints the prefix elements from element up to the type element, which it returns.
    const unsigned char* prefixes(const unsigned char* element, const unsigned char* end,
                                  int indent, int depth) {
        std::uint16_t code = fd::ReadCode(element, end);
        while ((code & fd::kClassMask) != 0) {
            if ((code & fd::kClassMask) == fd::kAttributeClass) {
                attribute(element, code, end, indent, depth);
            } else {
                line(indent) << "marker " << CodeText(code) << '\n';
            }
            const unsigned char* next = fd::GetNextElt(element, code, end);
            if (next == element) {
                throw ka::kor::exception::SyntaxError(__LINE__, "katag/PacketCommand",
                                                      "MD element of undefined class");
            }
            element = next;
        }
        return element;
    }

    void attribute(const unsigned char* element, std::uint16_t code, const unsigned char* end,
                   int indent, int depth) {
        const std::uint32_t size = fd::GetMDEltSize(element, end);
        fd::CheckRoom(element, size, end, fd::kPacketHeadLine);
        FlexData packet;
        packet.copyFrom(element + 2, element + size);
        const std::uint16_t number = code & fd::kTypeCodeMask;
        if (number == fd::FlexAttrName) {
            line(indent) << "name " << nameText(packet) << '\n';
            return;
        }
        std::ostream& o = line(indent) << "attribute ";
        if (packet.getType() == FlexType::Empty) {
            o << "(" << CodeText(code) << ", " << size << " bytes), empty\n";
            return;
        }
        const unsigned char* md = packet.getMetaDataBuffer().data();
        const unsigned char* nameElement =
            number == fd::FlexAttrNamed ? fd::GetAttributeMD(md, fd::FlexAttrName, packet.end())
                                        : nullptr;
        std::uint32_t nameSize = 0;
        if (nameElement != nullptr) {
            nameSize = fd::GetMDEltSize(nameElement, packet.end());
            fd::CheckRoom(nameElement, nameSize, packet.end(), fd::kPacketHeadLine);
            FlexData name;
            name.copyFrom(nameElement + 2, nameElement + nameSize);
            o << nameText(name) << ' ';
        }
        o << "(" << CodeText(code) << ", " << size << " bytes)\n";
        if (depth >= kShownDepth) {
            line(indent + 1) << "(nested too deeply to show)\n";
            return;
        }
        // The name is shown above; the rest of the attribute packet is the value.
        Bytes valueMD(md, packet.getDataBuffer().data());
        if (nameElement != nullptr) {
            const std::size_t at = static_cast<std::size_t>(nameElement - md);
            valueMD.erase(valueMD.begin() + at, valueMD.begin() + at + nameSize);
        }
        FlexData value;
        value.buildPacketFromComponents(
            ka::kor::BufferWrapper(valueMD.data(), static_cast<std::uint32_t>(valueMD.size())),
            packet.getDataBuffer());
        body(value, indent + 1, depth + 1);
    }

    static std::string nameText(const FlexData& name) {
        const FlexType t = name.getType();
        if (t == FlexType::AString || t == FlexType::AStringAlt) {
            return Quoted(ka::kor::String(name.getAString()));
        }
        return "of type " + TypeText(fd::Code(t));
    }

    // Prints the value of the type element at type whose data starts at data; returns its data
    // size (not rounded).
    std::uint32_t value(const unsigned char* type, const unsigned char* data,
                        const unsigned char* end, int indent, int depth, const std::string& label) {
        const std::uint16_t code = fd::ReadCode(type, end);
        const std::uint32_t size = fd::GetDataSize(type, data, end);
        fd::CheckRoom(data, size, end, fd::kPacketHeadLine);
        std::ostream& o = line(indent) << label << TypeText(code);
        if (fd::IsScalarCode(code)) {
            o << ": " << ScalarText(code, data, end) << '\n';
            return size;
        }
        switch (static_cast<FlexType>(code)) {
            case FlexType::Array:
                array(o, type, data, end, indent, depth);
                return size;
            case FlexType::Cluster:
                cluster(o, type, data, end, indent, depth);
                return size;
            case FlexType::Opaque:
                if (size < 4) {
                    throw ka::kor::exception::SyntaxError(__LINE__, "katag/PacketCommand",
                                                          "Opaque block shorter than its size");
                }
                o << ", " << size << " bytes: " << Hex(data + 4, size - 4) << '\n';
                return size;
            default:
                break;
        }
        if ((code >> 8) == 0x09) {
            const std::uint32_t n = fd::GetUI32(data, end, fd::TAEndianLittle);
            fd::CheckRoom(data + 4, n, end, fd::kPacketHeadLine);
            const char* text = reinterpret_cast<const char*>(data + 4);
            o << ": " << Quoted(ka::kor::String(AString(text, text + n))) << '\n';
        } else if ((code >> 8) == 0x0A) {
            const std::uint64_t n = 2 * std::uint64_t{fd::GetUI32(data, end, fd::TAEndianLittle)};
            fd::CheckRoom(data + 4, n, end, fd::kPacketHeadLine);
            o << ": "
              << Quoted(
                     ka::kor::osdep::SerializeUtf16::DeserializeFromUtf16(data + 4, data + 4 + n))
              << '\n';
        } else {
            o << ", " << size << " data bytes\n";
        }
        return size;
    }

    void array(std::ostream& o, const unsigned char* type, const unsigned char* data,
               const unsigned char* end, int indent, int depth) {
        const std::uint32_t numDims = Load<std::uint16_t>(type + 2);
        const unsigned char* elementMD = type + 8;
        const unsigned char* elementType = fd::GetTypeFromPacket(type + 4, end);
        const std::uint16_t elementCode = fd::ReadCode(elementType, end);
        std::uint32_t count = 1;
        o << " of " << TypeText(elementCode) << ", dims [";
        for (std::uint32_t i = 0; i < numDims; ++i) {
            const std::int32_t d = static_cast<std::int32_t>(Load<std::uint32_t>(data + 4 * i));
            o << (i != 0 ? ", " : "") << d;
            count *= static_cast<std::uint32_t>(d);
        }
        o << "], " << count << (count == 1 ? " element\n" : " elements\n");
        if (elementType != elementMD) {
            line(indent + 1) << "element attributes:\n";
            prefixes(elementMD, end, indent + 2, depth + 1);
        }
        if (depth >= kShownDepth) {
            line(indent + 1) << "(nested too deeply to show)\n";
            return;
        }
        const unsigned char* p = data + 4 * numDims;
        const bool scalar = fd::IsScalarCode(elementCode);
        for (std::uint32_t i = 0; i < count && i < kShownElements; ++i) {
            const std::string label = "[" + std::to_string(i) + "] ";
            if (scalar) {
                line(indent + 1) << label << ScalarText(elementCode, p, end) << '\n';
                p += fd::ScalarSize(elementCode);
            } else {
                const std::uint32_t size = value(elementType, p, end, indent + 1, depth + 1, label);
                p += size + (size & 1u);
            }
        }
        if (count > kShownElements) {
            line(indent + 1) << "... " << count - kShownElements << " more\n";
        }
    }

    void cluster(std::ostream& o, const unsigned char* type, const unsigned char* data,
                 const unsigned char* end, int indent, int depth) {
        const std::uint32_t members = Load<std::uint16_t>(type + 2);
        o << ", " << members << (members == 1 ? " member\n" : " members\n");
        if (depth >= kShownDepth) {
            line(indent + 1) << "(nested too deeply to show)\n";
            return;
        }
        const unsigned char* description = type + 4;
        for (std::uint32_t i = 0; i < members; ++i) {
            const unsigned char* memberType = prefixes(description + 4, end, indent + 1, depth + 1);
            const std::uint32_t size =
                value(memberType, data, end, indent + 1, depth + 1, "[" + std::to_string(i) + "] ");
            data += size + (size & 1u);
            description += fd::GetUI32(description, end, fd::TAEndianLittle);
        }
    }

    void waveform(const FlexData& f, const unsigned char* type, int indent) {
        const std::uint16_t sample = fd::Code(f.getWaveformSampleType());
        const std::uint32_t count = f.getWaveformSampleCount();
        const unsigned char* data = f.getDataBuffer().data();
        const unsigned char* end = f.end();
        line(indent) << "waveform: " << TypeText(fd::ReadCode(type, end)) << " of "
                     << TypeText(sample) << " samples\n";
        line(indent + 1) << "t0: " << TimeText(fd::GetTime(data, end, fd::TAEndianLittle)) << '\n';
        line(indent + 1) << "dt: " << ScalarText(fd::Code(FlexType::F64), data + 16, end) << '\n';
        line(indent + 1) << "samples: " << count << '\n';
        if (!fd::IsScalarCode(sample)) {
            value(type, data, end, indent + 1, 1, "as a cluster: ");
            return;
        }
        const unsigned char* p = data + 28;
        for (std::uint32_t i = 0; i < count && i < kShownElements; ++i) {
            line(indent + 2) << "[" << i << "] " << ScalarText(sample, p, end) << '\n';
            p += fd::ScalarSize(sample);
        }
        if (count > kShownElements) {
            line(indent + 2) << "... " << count - kShownElements << " more\n";
        }
    }

    std::ostream& out_;
};

FlexData Example(const std::string& name) {
    const AbsTime t0(0u, 3786825600u, 0u, 0u);  // 2024-01-01 00:00:00 UTC
    FlexData f;
    if (name == "i32") {
        f.setI32(42);
    } else if (name == "f64") {
        f.setF64(-2.5);
    } else if (name == "astring") {
        f.setAString(AString("abc"));
    } else if (name == "utf16") {
        f.setUTF16(ka::kor::String(L"caf\u00E9"));
    } else if (name == "time") {
        f.setTime(AbsTime(0u, 3786825600u, 0x80000000u, 0u));
    } else if (name == "array") {
        const short values[] = {1, 2, 3, 4, 5, -6};
        f.setScalarArray(values, ka::kor::Vector<std::int32_t>{2, 3});
    } else if (name == "astrings") {
        f.setAStringArray(ka::kor::Vector<AString>{AString("a"), AString("bc")});
    } else if (name == "waveform") {
        const signed char samples[] = {1, 2, 3};
        f.setWaveform(t0, 0.001, samples, 3);
    } else if (name == "waves") {
        FlexData::Waveform<double> a;
        a.t0 = t0;
        a.dt = 0.5;
        a.samples = ka::kor::Vector<double>{1.5, 2.5};
        FlexData::Waveform<double> b = a;
        b.samples.push_back(3.5);
        f.setWaves(ka::kor::Vector<FlexData::Waveform<double>>{a, b});
    } else if (name == "named") {
        f.setI32(42);
        f.setAttribute(AString("unit"), FlexData("V"));
    } else {
        throw UsageError(std::string("unknown example '") + name + "'; " + kUsageText);
    }
    return f;
}

int Run(const Options& o, std::ostream& out) {
    std::ostringstream tree;
    Bytes bytes;
    if (!o.example.empty()) {
        const FlexData f = Example(o.example);
        bytes.assign(f.begin(), f.begin() + f.getPacketSize());
        tree << "hex: " << Hex(bytes.data(), bytes.size()) << '\n';
    } else if (o.hex.empty()) {
        throw UsageError(kUsageText);
    } else if (o.hex.size() == 1 && o.hex[0] == "-") {
        bytes.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    } else {
        std::string text;
        for (const std::string& a : o.hex) {
            text += a + ' ';
        }
        bytes = ParseHex(text);
    }
    if (bytes.empty()) {
        throw UsageError("no packet bytes given");
    }
    FlexData f;
    f.copyFrom(bytes.data(), bytes.data() + bytes.size());
    const std::uint32_t size =
        fd::GetUI32(bytes.data(), bytes.data() + bytes.size(), fd::TAEndianLittle);
    TreePrinter(tree).packet(f, size, 0, 0);
    const std::size_t used = size != 0 ? size : 4;
    if (used < bytes.size()) {
        const std::size_t rest = bytes.size() - used;
        tree << "(" << rest << (rest == 1 ? " byte" : " bytes") << " after the packet ignored)\n";
    }
    out << tree.str();
    return 0;
}

}  // namespace

Action DefinePacketCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    CLI::Option* hex = app.add_option("HEX", o->hex,
                                      "the packet in hex, spaces allowed, or - for raw bytes on "
                                      "standard input");
    app.add_option("--example", o->example,
                   "build an example packet and print its hex too: i32, f64, astring, utf16, "
                   "time, array, astrings, waveform, waves or named")
        ->check(CLI::IsMember(kExamples))
        ->excludes(hex)
        ->option_text("NAME");
    app.footer(
        "A malformed packet is refused with the library's exception text (exit status 1); text "
        "that is not hex is a usage error (exit status 2).");
    return [o](std::ostream& out) { return Run(*o, out); };
}

}  // namespace katag
