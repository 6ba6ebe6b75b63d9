#include "ka/kor/osdep/SystemAllocString.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

using namespace ka::kor::osdep;

TEST(SystemAllocString, HoldsCountCharactersZerosIncludedAndTerminator) {
    const wchar_t text[] = {L'a', L'\0', L'b', L'c'};
    wchar_t* s = SystemAllocStringLen(text, 3);
    ASSERT_NE(nullptr, s);
    std::uint32_t count;
    std::memcpy(&count, reinterpret_cast<unsigned char*>(s) - 4, 4);
    EXPECT_EQ(3u, count);
    EXPECT_EQ(3u, SystemStringLength(s));
    EXPECT_EQ(0, std::memcmp(text, s, 3 * sizeof(wchar_t)));
    EXPECT_EQ(L'\0', s[3]);
    SystemFreeString(s);
    s = SystemAllocString(L"abc");
    EXPECT_STREQ(L"abc", s);
    EXPECT_EQ(3u, SystemStringLength(s));
    SystemFreeString(s);
}

TEST(SystemAllocString, NullAndAllocationFailureAreHarmless) {
    EXPECT_EQ(nullptr, SystemAllocString(nullptr));
    EXPECT_EQ(nullptr, SystemAllocStringLen(nullptr, 5));
    EXPECT_EQ(0u, SystemStringLength(nullptr));
    SystemFreeString(nullptr);
    // A block for 2^32 - 1 characters cannot be allocated on either architecture; nothing is read
    // from the text before the allocation.
    EXPECT_EQ(nullptr, SystemAllocStringLen(L"x", 0xFFFFFFFFu));
}

}  // namespace
