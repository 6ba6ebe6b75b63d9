#include "ka/kor/osdep/StringExactCompare.h"

#include <cstdint>
#include <cstring>
#include <cwchar>

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

int StringExactCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                       const wchar_t* bEnd) {
    const std::size_t aLen = aBegin ? static_cast<std::size_t>(aEnd - aBegin) : 0;
    const std::size_t bLen = bBegin ? static_cast<std::size_t>(bEnd - bBegin) : 0;
    const std::size_t n = aLen < bLen ? aLen : bLen;
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t ua = static_cast<std::uint32_t>(aBegin[i]);
        const std::uint32_t ub = static_cast<std::uint32_t>(bBegin[i]);
        if (ua != ub) {
            return ua < ub ? -1 : 1;
        }
    }
    return LengthOrder(aLen, bLen);
}

int StringExactCompare(const wchar_t* a, const wchar_t* b) {
    return StringExactCompare(a, a ? a + std::wcslen(a) : nullptr, b,
                              b ? b + std::wcslen(b) : nullptr);
}

int StringExactCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd) {
    const std::size_t aLen = aBegin ? static_cast<std::size_t>(aEnd - aBegin) : 0;
    const std::size_t bLen = bBegin ? static_cast<std::size_t>(bEnd - bBegin) : 0;
    const std::size_t n = aLen < bLen ? aLen : bLen;
    if (n != 0) {
        const int r = std::memcmp(aBegin, bBegin, n);
        if (r != 0) {
            return r;
        }
    }
    return LengthOrder(aLen, bLen);
}

int StringExactCompare(const char* a, const char* b) {
    return StringExactCompare(a, a ? a + std::strlen(a) : nullptr, b,
                              b ? b + std::strlen(b) : nullptr);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
