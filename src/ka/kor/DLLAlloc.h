// The library's heap: memory that crosses the library boundary (strings, tables, packets handed
// to callers) is always allocated and freed here, so that both sides use the same C heap.
#pragma once

#include <cstddef>

namespace ka {
namespace kor {

// malloc(n); null when the heap is exhausted.
void* DLLMallocNoThrow(unsigned int n) noexcept;

// malloc(n); throws std::bad_alloc when malloc returns null.
void* DLLMalloc(unsigned int n);

// realloc(p, n); null when the heap is exhausted (p is then still valid).
void* DLLReallocNoThrow(void* p, unsigned int n) noexcept;

// realloc(p, n); throws std::bad_alloc when realloc returns null and n is not 0 (a null result
// for n == 0 is the C library freeing the block, not a failure).
void* DLLRealloc(void* p, unsigned int n);

// free(p); null is ignored.
void DLLFree(void* p) noexcept;

// Does nothing and returns false. Kept as an interface point for callers that still call it;
// DLLMalloc always throws on exhaustion, so there is nothing to switch.
bool MakeDLLMallocThrow(bool) noexcept;

// Base for objects that are created on one side of the library boundary and deleted on the
// other: their storage always comes from the library's heap.
class DLLAlloced {
  public:
    static void* operator new(std::size_t n);
    static void* operator new[](std::size_t n);
    static void operator delete(void* p) noexcept;
    static void operator delete[](void* p) noexcept;

  protected:
    DLLAlloced() = default;
    ~DLLAlloced() = default;
};

}  // namespace kor
}  // namespace ka
