#include "ka/kor/osdep/StringCaseCompare.h"

#include <strings.h>

#include <cstdint>
#include <cwchar>
#include <cwctype>

namespace ka {
namespace kor {
namespace osdep {

namespace {

// The difference of the lengths, held within int for texts longer than any string can be.
int LengthOrder(std::size_t a, std::size_t b) {
    const std::size_t limit = 0x7FFFFFFF;
    if (a >= b) {
        return static_cast<int>(a - b < limit ? a - b : limit);
    }
    return -static_cast<int>(b - a < limit ? b - a : limit);
}

}  // namespace

int StringCaseCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                      const wchar_t* bEnd) {
    const std::size_t aLen = aBegin ? static_cast<std::size_t>(aEnd - aBegin) : 0;
    const std::size_t bLen = bBegin ? static_cast<std::size_t>(bEnd - bBegin) : 0;
    const std::size_t n = aLen < bLen ? aLen : bLen;
    for (std::size_t i = 0; i < n; ++i) {
        if (aBegin[i] == bBegin[i]) {
            continue;
        }
        // Code units are compared as unsigned 32-bit values so that the order does not depend
        // on wchar_t's signedness, which differs between the two architectures' ABIs.
        const std::uint32_t ua = static_cast<std::uint32_t>(std::towupper(aBegin[i]));
        const std::uint32_t ub = static_cast<std::uint32_t>(std::towupper(bBegin[i]));
        if (ua != ub) {
            return ua < ub ? -1 : 1;
        }
    }
    return LengthOrder(aLen, bLen);
}

int StringCaseCompare(const wchar_t* a, const wchar_t* b) {
    const wchar_t* aEnd = a ? a + std::wcslen(a) : nullptr;
    const wchar_t* bEnd = b ? b + std::wcslen(b) : nullptr;
    return StringCaseCompare(a, aEnd, b, bEnd);
}

int StringCaseCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd) {
    const std::size_t aLen = aBegin ? static_cast<std::size_t>(aEnd - aBegin) : 0;
    const std::size_t bLen = bBegin ? static_cast<std::size_t>(bEnd - bBegin) : 0;
    const std::size_t n = aLen < bLen ? aLen : bLen;
    for (std::size_t i = 0; i < n; ++i) {
        // One byte at a time, so that embedded zero bytes compare like any other byte.
        if (aBegin[i] != bBegin[i]) {
            const int r = ::strncasecmp(aBegin + i, bBegin + i, 1);
            if (r != 0) {
                return r;
            }
        }
    }
    return LengthOrder(aLen, bLen);
}

int StringCaseCompare(const char* a, const char* b) {
    return ::strcasecmp(a ? a : "", b ? b : "");
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
