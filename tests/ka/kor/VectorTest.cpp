#include "ka/kor/Vector.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ka/kor/exception.h"

namespace {

using ka::kor::Vector;

TEST(Vector, GrowsKeepingElementsInOrder) {
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
    w.reserve(4);
    w.push_back(w[0]);
    EXPECT_EQ("abc", w.back());
}

TEST(Vector, InsertEraseResize) {
    Vector<int> v{1, 2, 4, 5};
    v.insert(v.begin() + 2, 3);
    EXPECT_EQ((Vector<int>{1, 2, 3, 4, 5}), v);
    v.erase(v.begin() + 1, v.begin() + 3);
    EXPECT_EQ((Vector<int>{1, 4, 5}), v);
    v.erase(v.begin());
    EXPECT_EQ((Vector<int>{4, 5}), v);
    v.resize(4, 9);
    EXPECT_EQ((Vector<int>{4, 5, 9, 9}), v);
    v.resize(1);
    EXPECT_EQ((Vector<int>{4}), v);
    v.clear();
    EXPECT_TRUE(v.empty());
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

TEST(Vector, AtChecksTheIndex) {
    Vector<int> v{7};
    EXPECT_EQ(7, v.at(0));
    try {
        v.at(1);
        FAIL();
    } catch (const ka::kor::exception::OutOfRange& e) {
        EXPECT_STREQ("Out of range: Vector index out of range", e.what());
        EXPECT_STREQ("ka/kor/Vector", e.file());
    }
}

}  // namespace
