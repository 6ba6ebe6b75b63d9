#include "ka/kor/osdep/SystemAllocString.h"

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "ka/kor/DLLAlloc.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

// The count sits in the four bytes before the characters; a wchar_t is four bytes on both
// architectures, so the characters stay aligned.
constexpr std::size_t kHeader = sizeof(std::uint32_t);
static_assert(kHeader % alignof(wchar_t) == 0, "characters must stay aligned after the count");

unsigned char* BlockOf(const wchar_t* text) {
    return const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(text)) - kHeader;
}

}  // namespace

wchar_t* SystemAllocStringLen(const wchar_t* text, unsigned int count) {
    if (text == nullptr) {
        return nullptr;
    }
    // The block size must fit the heap's 32-bit sizes; a larger request is a shortage of memory.
    const std::uint64_t size = kHeader + (static_cast<std::uint64_t>(count) + 1) * sizeof(wchar_t);
    if (size > 0xFFFFFFFFu) {
        return nullptr;
    }
    unsigned char* block =
        static_cast<unsigned char*>(DLLMallocNoThrow(static_cast<unsigned int>(size)));
    if (block == nullptr) {
        return nullptr;
    }
    const std::uint32_t n = count;
    std::memcpy(block, &n, kHeader);
    wchar_t* chars = reinterpret_cast<wchar_t*>(block + kHeader);
    std::memcpy(chars, text, static_cast<std::size_t>(count) * sizeof(wchar_t));
    chars[count] = L'\0';
    return chars;
}

wchar_t* SystemAllocString(const wchar_t* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::uint64_t n = std::wcslen(text);
    if (n > 0xFFFFFFFFu) {
        return nullptr;
    }
    return SystemAllocStringLen(text, static_cast<unsigned int>(n));
}

void SystemFreeString(wchar_t* text) {
    if (text != nullptr) {
        DLLFree(BlockOf(text));
    }
}

unsigned int SystemStringLength(const wchar_t* text) {
    if (text == nullptr) {
        return 0;
    }
    std::uint32_t n;
    std::memcpy(&n, BlockOf(text), kHeader);
    return n;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
