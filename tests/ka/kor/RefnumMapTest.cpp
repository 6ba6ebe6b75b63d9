#include "ka/kor/RefnumMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <vector>

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

template <typename E>
void ExpectRefnumError(const RefnumMap<int*>& map, std::uint32_t refnum, std::uint32_t line,
                       std::uint32_t code) {
    try {
        map.refnumToIndexOrThrow(refnum);
        ADD_FAILURE() << "nothing thrown";
    } catch (const exception::InvalidRefnum& e) {
        EXPECT_NE(nullptr, dynamic_cast<const E*>(&e));
        EXPECT_STREQ("ka/kor/RefnumMap.h", e.file());
        EXPECT_EQ(line, e.line());
        EXPECT_EQ(code, e.getErrorCode());
    }
}

std::vector<std::uint32_t> Refnums(RefnumMap<int*>& map) {
    std::vector<std::uint32_t> seen;
    for (auto it = map.begin(); it != map.end(); ++it) {
        EXPECT_EQ(it.index() + 1, it.refnum());
        seen.push_back(it.refnum());
    }
    return seen;
}

TEST(RefnumMap, GrowsFromNothingToOneThreeSeven) {
    int values[4];
    RefnumMap<int*> map;
    EXPECT_EQ(0u, map.capacity());
    const std::uint32_t capacities[] = {1, 3, 3, 7};
    for (std::uint32_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(i + 1, map.insert(&values[i]));
        EXPECT_EQ(capacities[i], map.capacity());
    }
    for (std::uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(&values[i], map.lookup(i + 1));
    }
}

TEST(RefnumMap, ReusesTheMostRecentlyRemovedRefnumFirst) {
    int a, b, c, d;
    RefnumMap<int*> map;
    map.insert(&a);
    map.insert(&b);
    map.insert(&c);
    EXPECT_EQ(&b, map.remove(2));
    EXPECT_EQ(&a, map.remove(1));
    EXPECT_EQ(1u, map.insert(&d));
    EXPECT_EQ(2u, map.insert(&a));
    EXPECT_EQ(4u, map.insert(&b));  // then the fresh slots of growth
    EXPECT_EQ(7u, map.capacity());
    EXPECT_EQ(&d, map.lookup(1));
    EXPECT_EQ(&c, map.lookup(3));
}

TEST(RefnumMap, RejectsNullAndUnknownRefnums) {
    int a;
    RefnumMap<int*> map;
    ExpectRefnumError<exception::NullRefnum>(map, 0, 601, 0x8ABC701D);
    ExpectRefnumError<exception::InvalidRefnum>(map, 1, 606, 0x8ABC701C);
    map.insert(&a);
    map.insert(&a);
    EXPECT_EQ(3u, map.capacity());
    ExpectRefnumError<exception::NullRefnum>(map, 0, 601, 0x8ABC701D);
    ExpectRefnumError<exception::InvalidRefnum>(map, 3, 606, 0x8ABC701C);  // free slot
    ExpectRefnumError<exception::InvalidRefnum>(map, 5, 606, 0x8ABC701C);
    ExpectRefnumError<exception::InvalidRefnum>(map, 0xFFFFFFFFu, 606, 0x8ABC701C);
    EXPECT_FALSE(map.indexHasData(3));

    map.remove(2);
    EXPECT_THROW(map.remove(2), exception::InvalidRefnum);
    EXPECT_THROW(map.lookup(2), exception::InvalidRefnum);
    EXPECT_EQ(&a, map.lookup(1));
}

TEST(RefnumMap, IteratesOccupiedSlotsInAscendingOrder) {
    int v[6];
    RefnumMap<int*> map;
    EXPECT_TRUE(map.begin() == map.end());
    for (int& x : v) {
        map.insert(&x);
    }
    map.remove(1);
    map.remove(4);
    map.remove(6);
    EXPECT_EQ((std::vector<std::uint32_t>{2, 3, 5}), Refnums(map));
    auto it = map.begin();
    EXPECT_EQ(&v[1], *it);

    map.remove(2);
    map.remove(3);
    map.remove(5);
    EXPECT_TRUE(map.begin() == map.end());
    EXPECT_EQ(7u, map.begin().index());

    RefnumMap<int*> other;
    other.insert(&v[0]);
    other.remove(1);
    EXPECT_EQ(1u, other.begin().index());
    EXPECT_FALSE(RefnumMap<int*>::iterator(map.begin()) == other.begin());
}

TEST(RefnumMap, SwapExchangesTables) {
    int a, b;
    RefnumMap<int*> one, two;
    one.insert(&a);
    two.insert(&b);
    two.insert(&b);
    one.swap(two);
    EXPECT_EQ(3u, one.capacity());
    EXPECT_EQ(1u, two.capacity());
    EXPECT_EQ(&a, two.lookup(1));
    EXPECT_EQ(&b, one.lookup(2));
}

struct Block {
    unsigned char bytes[64 * 1024];
};

TEST(RefnumMap, FailedConstructionReleasesTheFirstArray) {
    // The links array (4 MiB) is obtained, the value array cannot be.
    EXPECT_THROW(RefnumMap<Block>::Impl(1u << 20), std::bad_alloc);
    EXPECT_THROW(RefnumMap<Block>::Impl(0xFFFFFFFFu), std::bad_alloc);
}

TEST(RefnumMap, FailedGrowthLeavesTheTableUnchanged) {
    static Block block;
    RefnumMap<Block> map;
    for (std::uint32_t i = 0; i < 127; ++i) {
        block.bytes[0] = static_cast<unsigned char>(i);
        ASSERT_EQ(i + 1, map.insert(block));
    }
    ASSERT_EQ(127u, map.capacity());
    try {
        map.insert(block);  // 255 slots of 64 KiB exceed what the heap gives
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(127u, map.capacity());
        for (std::uint32_t r = 1; r <= 127; ++r) {
            ASSERT_EQ(static_cast<unsigned char>(r - 1), map.lookup(r).bytes[0]);
        }
        map.remove(5);
        EXPECT_EQ(5u, map.insert(block));
        return;
    }
    GTEST_SKIP() << "the heap allows allocations of 16 MiB here";
}

}  // namespace
