#include "ka/kor/SmartPtr.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ka/kor/RefCountedImplementation.h"
#include "ka/kor/RefCountedInterface.h"
#include "ka/kor/RefCountedThreadSafePolicy.h"

namespace {

using ka::kor::SmartPtr;

class IThing : public ka::kor::RefCountedInterface<IThing> {
  public:
    virtual ~IThing() = default;
};

class Thing
    : public ka::kor::RefCountedImplementation<IThing, ka::kor::RefCountedThreadSafePolicy> {
  public:
    explicit Thing(int& destroyed) : destroyed_(destroyed) {}
    ~Thing() override { ++destroyed_; }

  private:
    int& destroyed_;
};

TEST(SmartPtr, OwnsOneReferencePerPointer) {
    int destroyed = 0;
    Thing* thing = new Thing(destroyed);
    EXPECT_EQ(0, thing->referenceCount());  // new objects belong to their first taker
    {
        SmartPtr<IThing> a(thing);
        EXPECT_EQ(1, thing->referenceCount());
        SmartPtr<IThing> b(a);
        SmartPtr<IThing> c;
        c = b;
        EXPECT_EQ(3, thing->referenceCount());
        SmartPtr<IThing> d(static_cast<SmartPtr<IThing>&&>(c));
        EXPECT_EQ(nullptr, c.get());
        EXPECT_EQ(3, thing->referenceCount());
        a = a;
        b.reset();
        EXPECT_FALSE(b);
        EXPECT_EQ(2, thing->referenceCount());
        EXPECT_TRUE(a == d);
        SmartPtr<Thing> derived(thing);
        SmartPtr<IThing> base(derived);
        EXPECT_EQ(4, thing->referenceCount());
    }
    EXPECT_EQ(1, destroyed);
}

TEST(SmartPtr, ResetToAnotherObjectReleasesTheFirst) {
    int destroyed = 0;
    SmartPtr<IThing> p(new Thing(destroyed));
    p.reset(new Thing(destroyed));
    EXPECT_EQ(1, destroyed);
    p = SmartPtr<IThing>();
    EXPECT_EQ(2, destroyed);
}

TEST(SmartPtr, CopiesOnManyThreadsDestroyOnce) {
    int destroyed = 0;
    {
        const SmartPtr<IThing> shared(new Thing(destroyed));
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&shared] {
                for (int i = 0; i < 20000; ++i) {
                    SmartPtr<IThing> copy(shared);
                    SmartPtr<IThing> moved(static_cast<SmartPtr<IThing>&&>(copy));
                }
            });
        }
        for (std::thread& t : threads) {
            t.join();
        }
        EXPECT_EQ(0, destroyed);
    }
    EXPECT_EQ(1, destroyed);
}

}  // namespace
