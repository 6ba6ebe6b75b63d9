#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "Commands.h"

namespace katag {

std::uint32_t ParseWord(const std::string& text, const char* what) {
    const char* s = text.c_str();
    const bool negative = *s == '-';
    const bool hex = !negative && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    const char* digits = hex ? s + 2 : (negative ? s + 1 : s);
    const unsigned char first = static_cast<unsigned char>(*digits);
    if (!(hex ? std::isxdigit(first) : std::isdigit(first))) {
        throw UsageError(std::string("invalid ") + what + " '" + text +
                         "': expected hex (0x...) or decimal");
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(digits, &end, hex ? 16 : 10);
    if (*end != '\0' || errno == ERANGE || value > (negative ? 0x80000000ull : 0xFFFFFFFFull)) {
        throw UsageError(std::string("invalid ") + what + " '" + text + "': not a 32-bit number");
    }
    return negative ? static_cast<std::uint32_t>(0u - static_cast<std::uint32_t>(value))
                    : static_cast<std::uint32_t>(value);
}

std::string FormatCode(std::uint32_t code) {
    char text[40];
    std::snprintf(text, sizeof text, "0x%08" PRIX32 " (%" PRId32 ")", code,
                  static_cast<std::int32_t>(code));
    return text;
}

}  // namespace katag
