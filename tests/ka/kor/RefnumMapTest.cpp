#include "ka/kor/RefnumMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

// Allocations above 12 MiB fail (malloc returns null) in this program, so that growth failure
// can be provoked with a small table.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=12";
}
#endif

namespace {

using namespace ka::kor;

TEST(RefnumMap, GrowsFromNothingAndReusesTheLastRemovedRefnumFirst) {
    int v[4];
    RefnumMap<int*> map;
    const std::uint32_t capacities[] = {1, 3, 3, 7};
    for (std::uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(i + 1, map.insert(&v[i]));
        EXPECT_EQ(capacities[i], map.capacity());
    }
    EXPECT_EQ(&v[1], map.remove(2));
    EXPECT_EQ(&v[0], map.remove(1));
    EXPECT_EQ(1u, map.insert(&v[2]));
    EXPECT_EQ(2u, map.insert(&v[2]));
    EXPECT_EQ(5u, map.insert(&v[2]));  // then the fresh slots of growth
    EXPECT_EQ(&v[3], map.lookup(4));
}

TEST(RefnumMap, RejectsNullAndUnknownRefnums) {
    int a;
    RefnumMap<int*> map;
    const auto rejection = [&map](std::uint32_t refnum) {  // a null refnum is an invalid one too
        return ka_test::ThrowSite<exception::InvalidRefnum>(
            [&] { map.refnumToIndexOrThrow(refnum); });
    };
    const std::string null = "ka/kor/RefnumMap.h:601: A null refnum was provided as input";
    const std::string unknown = "ka/kor/RefnumMap.h:606: The provided refnum is invalid";
    EXPECT_EQ(null, rejection(0));
    map.insert(&a);
    map.insert(&a);
    EXPECT_EQ(null, rejection(0));
    EXPECT_EQ(unknown, rejection(3));  // free slot
    EXPECT_EQ(unknown, rejection(5));  // beyond capacity 3
    map.remove(2);
    EXPECT_THROW(map.remove(2), exception::InvalidRefnum);
    EXPECT_EQ(&a, map.lookup(1));
}

TEST(RefnumMap, IteratesOccupiedSlotsInAscendingOrder) {
    int v[6];
    RefnumMap<int*> map;
    EXPECT_TRUE(map.begin() == map.end());
    for (int& x : v) {
        map.insert(&x);
    }
    for (std::uint32_t r : {6, 4, 1}) {
        map.remove(r);
    }
    std::vector<std::uint32_t> seen;
    for (auto it = map.begin(); it != map.end(); ++it) {
        EXPECT_EQ(&v[it.index()], *it);
        seen.push_back(it.refnum());
    }
    EXPECT_EQ((std::vector<std::uint32_t>{2, 3, 5}), seen);
    for (std::uint32_t r : {2, 3, 5}) {
        map.remove(r);
    }
    EXPECT_TRUE(map.begin() == map.end());
}

struct Block {
    unsigned char bytes[64 * 1024];
};

TEST(RefnumMap, FailedAllocationLeavesTheTableUnchanged) {
    // The links array (4 MiB) is obtained and must be given back when the values cannot be.
    EXPECT_THROW(RefnumMap<Block>::Impl(1u << 20), std::bad_alloc);

    static Block block;
    RefnumMap<Block> map;
    for (std::uint32_t i = 0; i < 127; ++i) {
        block.bytes[0] = static_cast<unsigned char>(i);
        ASSERT_EQ(i + 1, map.insert(block));
    }
    try {
        map.insert(block);  // 255 slots of 64 KiB exceed what the heap gives
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(127u, map.capacity());
        for (std::uint32_t r = 1; r <= 127; ++r) {
            ASSERT_EQ(static_cast<unsigned char>(r - 1), map.lookup(r).bytes[0]);
        }
        return;
    }
    GTEST_SKIP() << "the heap allows allocations of 16 MiB here";
}

}  // namespace
