#include "ka/kor/DLLAlloc.h"

#include <gtest/gtest.h>

#include <new>

namespace {

using namespace ka::kor;

TEST(DLLAlloc, ReallocKeepsContentsAndOnlyTheThrowingFormsThrow) {
    auto* p = static_cast<unsigned char*>(DLLMalloc(16));
    for (int i = 0; i < 16; ++i) {
        p[i] = static_cast<unsigned char>(i);
    }
    p = static_cast<unsigned char*>(DLLRealloc(p, 4096));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(i, p[i]);
    }
    // realloc to 0 frees the block; a null result is not a failure.
    EXPECT_NO_THROW(DLLRealloc(p, 0));
    DLLFree(nullptr);
    // A request of nearly 4 GiB can only be refused reliably in a 32-bit address space.
    if (sizeof(void*) != 4) {
        GTEST_SKIP() << "a 4 GiB request may succeed on a 64-bit host";
    }
    const unsigned int huge = 0xFFFFFFF0u;
    EXPECT_EQ(nullptr, DLLMallocNoThrow(huge));
    EXPECT_THROW(DLLMalloc(huge), std::bad_alloc);
    p = static_cast<unsigned char*>(DLLMalloc(8));
    EXPECT_EQ(nullptr, DLLReallocNoThrow(p, huge));  // p stays valid
    EXPECT_THROW(DLLRealloc(p, huge), std::bad_alloc);
    DLLFree(p);
}

}  // namespace
