#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "GxTestSupport.h"

namespace {

using gx_test::Bytes;
using gx_test::PacketOf;
using gx_test::Text;
using gx_test::Var;

class GxHandles : public ::testing::Test {
  protected:
    void SetUp() override { live_ = GxHostLiveBlocks(); }
    void TearDown() override {
        GxHostClearAllocationFailures();
        EXPECT_EQ(live_, GxHostLiveBlocks()) << "a block was not disposed of";
    }
    int32_t live_ = 0;
};

TEST_F(GxHandles, ResizeKeepsLeadingBytesAndZeroFillsGrowth) {
    UHandle h = DSNewHandle(3);
    ASSERT_NE(nullptr, h);
    std::memcpy(*h, "abc", 3);
    ASSERT_EQ(mgNoErr, DSSetHandleSize(h, 2));
    ASSERT_EQ(mgNoErr, DSSetHandleSize(h, 6));
    EXPECT_EQ(0, std::memcmp(*h, "ab\0\0\0\0", 6));
    EXPECT_EQ(mgArgErr, DSSetHandleSize(h, -1));
    EXPECT_EQ(mgArgErr, DSSetHandleSize(nullptr, 4));
    EXPECT_EQ(mgNoErr, DSDisposeHandle(h));
    EXPECT_EQ(mgNoErr, DSDisposeHandle(nullptr));
    EXPECT_EQ(mgNoErr, DSDisposePtr(nullptr));
    EXPECT_EQ(nullptr, DSNewHandle(-1));
}

TEST_F(GxHandles, NumericArrayResizeMakesRoomAfterTheCount) {
    LStrHandle s = nullptr;
    ASSERT_EQ(mgNoErr, NumericArrayResize(5, 1, reinterpret_cast<UHandle*>(&s), 3));
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(0, (*s)->cnt);  // a new handle's count is zero; resizing never sets it
    (*s)->cnt = 3;
    std::memcpy((*s)->str, "xyz", 3);
    ASSERT_EQ(mgNoErr, NumericArrayResize(5, 1, reinterpret_cast<UHandle*>(&s), 1000));
    EXPECT_EQ(3, (*s)->cnt);
    EXPECT_EQ(0, std::memcmp((*s)->str, "xyz", 3));
    for (const auto& bad : {std::make_pair(4, 1), std::make_pair(5, 2)}) {
        EXPECT_EQ(mgArgErr,
                  NumericArrayResize(bad.first, bad.second, reinterpret_cast<UHandle*>(&s), 8));
    }
    EXPECT_EQ(mgArgErr, NumericArrayResize(5, 1, reinterpret_cast<UHandle*>(&s), -1));
    DSDisposeHandle(reinterpret_cast<UHandle>(s));
}

// Each counted call fails when its allocation is made to fail, leaves its outputs and arguments
// as they were, and succeeds once nothing fails any more.
TEST_F(GxHandles, EveryCountedCallFailsCleanlyUnderAnInjectedFailure) {
    Var v;
    ASSERT_EQ(mgNoErr, GxVarSetInt(v.get(), GX_TYPE_I32, 42));
    const Bytes i8 = {8, 0, 0, 0, 0, 1, 5, 0};
    UHandle h = DSNewHandle(2);
    std::memcpy(*h, "ok", 2);
    struct Call {
        const char* name;
        std::function<bool(bool expectFailure)> run;  // true when the outcome is as expected
    };
    const Call calls[] = {
        {"DSNewHandle",
         [](bool fail) {
             UHandle made = DSNewHandle(8);
             DSDisposeHandle(made);
             return (made == nullptr) == fail;
         }},
        {"DSNewPtr",
         [](bool fail) {
             void* made = DSNewPtr(8);
             DSDisposePtr(made);
             return (made == nullptr) == fail;
         }},
        {"DSSetHandleSize",
         [h](bool fail) {
             const MgErr s = DSSetHandleSize(h, fail ? 1 << 20 : 2);
             return s == (fail ? mFullErr : mgNoErr) && std::memcmp(*h, "ok", 2) == 0;
         }},
        {"NumericArrayResize new",
         [](bool fail) {
             UHandle made = nullptr;
             const MgErr s = NumericArrayResize(5, 1, &made, 4);
             DSDisposeHandle(made);
             return s == (fail ? mFullErr : mgNoErr) && (made == nullptr) == fail;
         }},
        {"GGetOneErrorCode",
         [](bool fail) {
             LStrHandle text = nullptr;
             const bool known = GGetOneErrorCode(2, &text);
             DSDisposeHandle(reinterpret_cast<UHandle>(text));
             return known != fail && (text == nullptr) == fail;
         }},
        {"KORFlexToGxVar",
         [&](bool fail) {
             Var target;
             GxVarSetInt(target.get(), GX_TYPE_I32, 42);
             const MgErr s = KORFlexToGxVar(i8.data(), 8, target.out());
             return s == (fail ? mFullErr : mgNoErr) && Text(target.get()) == (fail ? "42" : "5");
         }},
        {"GxVarToKORFlex",
         [&](bool fail) {
             unsigned char* buffer = nullptr;
             int32_t length = 0;
             const MgErr s = GxVarToKORFlex(v.get(), &buffer, &length);
             DSDisposePtr(buffer);
             return s == (fail ? mFullErr : mgNoErr) && (buffer == nullptr) == fail;
         }},
    };
    for (const Call& c : calls) {
        SCOPED_TRACE(c.name);
        const uint32_t injected = GxHostInjectedFailureCount();
        GxHostFailNextAllocations(1);
        EXPECT_TRUE(c.run(true));
        EXPECT_EQ(injected + 1, GxHostInjectedFailureCount());
        EXPECT_TRUE(c.run(false));
    }
    DSDisposeHandle(h);
}

TEST_F(GxHandles, FailuresAreScheduledInCountedAllocations) {
    const uint32_t before = GxHostAllocationCount();
    GxHostFailNextAllocations(2);
    EXPECT_EQ(nullptr, DSNewPtr(1));
    EXPECT_EQ(nullptr, DSNewHandle(1));
    UHandle third = DSNewHandle(1);
    EXPECT_NE(nullptr, third);
    DSDisposeHandle(third);

    GxHostFailAllocationAt(3);
    // The host program's own calls are not counted and do not move the schedule on.
    Var v;
    LStrHandle s = GxHostNewLStr("abc", -1);
    ASSERT_EQ(mgNoErr, GxVarParse(v.get(), GX_TYPE_ARRAY, GX_TYPE_I32, "1,2", -1));
    bool failed[4];
    for (bool& f : failed) {
        void* p = DSNewPtr(1);
        f = p == nullptr;
        DSDisposePtr(p);
    }
    EXPECT_FALSE(failed[0] || failed[1] || failed[3]);
    EXPECT_TRUE(failed[2]);
    EXPECT_EQ(before + 7, GxHostAllocationCount());
    EXPECT_EQ(3, (*s)->cnt);
    DSDisposeHandle(reinterpret_cast<UHandle>(s));
}

}  // namespace
