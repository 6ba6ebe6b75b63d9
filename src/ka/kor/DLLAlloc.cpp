#include "ka/kor/DLLAlloc.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace ka {
namespace kor {

void* DLLMallocNoThrow(unsigned int n) noexcept {
    return std::malloc(n);
}

void* DLLMalloc(unsigned int n) {
    void* p = std::malloc(n);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void* DLLReallocNoThrow(void* p, unsigned int n) noexcept {
    return std::realloc(p, n);
}

void* DLLRealloc(void* p, unsigned int n) {
    void* q = std::realloc(p, n);
    if (q == nullptr && n != 0) {
        throw std::bad_alloc();
    }
    return q;
}

void DLLFree(void* p) noexcept {
    std::free(p);
}

bool MakeDLLMallocThrow(bool) noexcept {
    return false;
}

namespace {

// Sizes beyond 32 bits cannot be expressed to the library heap.
unsigned int CheckedSize(std::size_t n) {
    if (n > UINT32_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<unsigned int>(n);
}

}  // namespace

void* DLLAlloced::operator new(std::size_t n) {
    return DLLMalloc(CheckedSize(n));
}
void* DLLAlloced::operator new[](std::size_t n) {
    return DLLMalloc(CheckedSize(n));
}
void DLLAlloced::operator delete(void* p) noexcept {
    DLLFree(p);
}
void DLLAlloced::operator delete[](void* p) noexcept {
    DLLFree(p);
}

}  // namespace kor
}  // namespace ka
