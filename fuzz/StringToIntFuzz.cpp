// The radix parsers: any text in any radix either parses or raises UnableToConvert (always for a
// radix outside 2-36), and what the formatters write, padded with blanks in front and any text
// behind a separating space, parses back to the value in every width and radix.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/IntToString.h"
#include "ka/kor/osdep/StringToInt.h"

using namespace ka::kor;
using namespace ka::kor::osdep;

namespace {

// Parses text with the parser of the given number (0-7) and returns the value's bits.
std::uint64_t ParseWith(unsigned parser, const String& text, unsigned radix) {
    switch (parser) {
        case 0:
            return static_cast<std::uint8_t>(StringToInt8(text, radix));
        case 1:
            return static_cast<std::uint16_t>(StringToInt16(text, radix));
        case 2:
            return static_cast<std::uint32_t>(StringToInt32(text, radix));
        case 3:
            return static_cast<std::uint64_t>(StringToInt64(text, radix));
        case 4:
            return StringToUInt8(text, radix);
        case 5:
            return StringToUInt16(text, radix);
        case 6:
            return StringToUInt32(text, radix);
        default:
            return StringToUInt64(text, radix);
    }
}

// Formats the low bits of v with the formatter matching the parser, and returns those bits.
String FormatWith(unsigned parser, std::uint64_t v, unsigned radix, std::uint64_t& bits) {
    switch (parser) {
        case 0:
            bits = static_cast<std::uint8_t>(v);
            return Int8ToString(static_cast<std::int8_t>(v), radix);
        case 1:
            bits = static_cast<std::uint16_t>(v);
            return Int16ToString(static_cast<std::int16_t>(v), radix);
        case 2:
            bits = static_cast<std::uint32_t>(v);
            return Int32ToString(static_cast<std::int32_t>(v), radix);
        case 3:
            bits = v;
            return Int64ToString(static_cast<std::int64_t>(v), radix);
        case 4:
            bits = static_cast<std::uint8_t>(v);
            return UInt8ToString(static_cast<std::uint8_t>(v), radix);
        case 5:
            bits = static_cast<std::uint16_t>(v);
            return UInt16ToString(static_cast<std::uint16_t>(v), radix);
        case 6:
            bits = static_cast<std::uint32_t>(v);
            return UInt32ToString(static_cast<std::uint32_t>(v), radix);
        default:
            bits = v;
            return UInt64ToString(v, radix);
    }
}

std::string Seed(unsigned radix, unsigned parser, const char* text, std::uint64_t value,
                 const char* blanks, const char* tail) {
    std::string s;
    s += static_cast<char>(radix);
    s += static_cast<char>(parser);
    s += static_cast<char>(std::char_traits<char>::length(text));
    s += text;
    for (int i = 0; i < 8; ++i) {
        s += static_cast<char>(value >> (8 * i));
    }
    s += static_cast<char>(std::char_traits<char>::length(blanks));
    s += blanks;
    s += tail;
    return s;
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<std::string> seeds;
    std::uint64_t bits = 0;
    const std::string decimal =
        ka_fuzz::Bytes(AString(FormatWith(3, 0x8000000000000000u, 10, bits)));
    const std::string hex = ka_fuzz::Bytes(AString(FormatWith(6, 0xDEADBEEF, 16, bits)));
    seeds.push_back(Seed(10, 3, decimal.c_str(), 42, " \t", "junk"));
    seeds.push_back(Seed(16, 6, ("0x" + hex).c_str(), 0xFFFFFFFFFFFFFFFFu, "\r\n", "-"));
    seeds.push_back(Seed(36, 7, "zz+", 1234567, "", "0"));
    seeds.push_back(Seed(2, 0, "-+101", 0x80, "  ", ""));
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ka_fuzz::Input in(data, size);
    try {
        // Any text, any radix.
        const unsigned radix = in.below(40);
        const unsigned parser = in.below(8);
        const String text = ka_fuzz::Latin1(in.chunk());
        try {
            ParseWith(parser, text, radix);
            KA_FUZZ_CHECK(radix >= 2 && radix <= 36);
        } catch (const exception::UnableToConvert&) {
        }

        // What the formatters write reads back, in every width and in this radix (made valid).
        const std::uint64_t value = in.number<std::uint64_t>();
        std::string blanks = in.chunk();
        for (char& c : blanks) {
            c = " \t\r\n"[static_cast<unsigned char>(c) % 4];
        }
        const String tail = String(L" ") + ka_fuzz::Latin1(in.rest());
        const unsigned validRadix = 2 + radix % 35;
        for (unsigned p = 0; p < 8; ++p) {
            std::uint64_t bits = 0;
            const String formatted = FormatWith(p, value, validRadix, bits);
            KA_FUZZ_CHECK(ParseWith(p, formatted, validRadix) == bits);
            KA_FUZZ_CHECK(ParseWith(p, ka_fuzz::Latin1(blanks) + formatted + tail, validRadix) ==
                          bits);
        }
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
