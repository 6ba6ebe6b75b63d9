#include "ka/kor/Vector.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::Vector;

TEST(Vector, GrowsInsertsAndErasesKeepingElementsInOrder) {
    Vector<std::string> v;
    for (int i = 0; i < 1000; ++i) {
        v.push_back(std::to_string(i));
    }
    ASSERT_EQ(1000u, v.size());
    for (unsigned i = 0; i < v.size(); ++i) {
        ASSERT_EQ(std::to_string(i), v[i]);
    }
    // An element of the vector itself may be pushed while growth moves the storage.
    Vector<std::string> w(4, "abc");
    ASSERT_EQ(4u, w.capacity());
    w.push_back(w[0]);
    EXPECT_EQ("abc", w.back());

    Vector<int> n{1, 2, 4, 5};
    n.insert(n.begin() + 2, 3);
    EXPECT_EQ((Vector<int>{1, 2, 3, 4, 5}), n);
    n.erase(n.begin() + 1, n.begin() + 3);
    n.erase(n.begin());
    EXPECT_EQ((Vector<int>{4, 5}), n);
    n.resize(4, 9);
    EXPECT_EQ((Vector<int>{4, 5, 9, 9}), n);
    n.resize(1);
    EXPECT_EQ((Vector<int>{4}), n);
    EXPECT_EQ("ka/kor/Vector:13: Out of range: Vector index out of range",
              ka_test::ThrowSite<ka::kor::exception::OutOfRange>([&] { n.at(1); }));
}

TEST(Vector, RefusesCountsNear4GiBWithoutAllocating) {
    Vector<int> v{1, 2};
    const std::function<void()> tooLarge[] = {
        [] { Vector<int>(0xFFFFFFFFu); },  [&] { v.reserve(0xFFFFFFFFu); },
        [&] { v.resize(0x80000000u); },  // 8 GiB of int: the bytes wrap a 32-bit size
        [] { Vector<int>().assign(0xFFFFFFFFu, 7); }, [] { Vector<double>().reserve(0x10000000u); },
    };
    for (const auto& op : tooLarge) {
        EXPECT_THROW(op(), ka::kor::exception::BoundExceeded2);
    }
    EXPECT_EQ((Vector<int>{1, 2}), v);
}

TEST(Vector, CopiesAreIndependentAndMovesTransfer) {
    Vector<std::shared_ptr<int>> a;
    a.push_back(std::make_shared<int>(1));
    Vector<std::shared_ptr<int>> b(a);
    EXPECT_EQ(2, a[0].use_count());
    b[0] = std::make_shared<int>(2);
    EXPECT_EQ(1, *a[0]);
    Vector<std::shared_ptr<int>> c(std::move(a));
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(1, *c[0]);
    c = b;
    EXPECT_EQ(2, *c[0]);
}

}  // namespace
