#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "gxhost/GxHost.h"

namespace {

std::string g_ran;  // the names of the procedures run, in order

MgErr Record(void* data) {
    g_ran += static_cast<const char*>(data);
    return mgNoErr;
}

class RTSetCleanupProcTest : public ::testing::Test {
  protected:
    void SetUp() override {
        GxHostShutdown();  // nothing left over from another test
        g_ran.clear();
    }
    void TearDown() override {
        GxHostSetCurrentProgram(GX_PROGRAM_DEFAULT);
        GxHostShutdown();
    }
};

TEST_F(RTSetCleanupProcTest, RunsEachRegistrationOnceWhenItsProgramGoesIdle) {
    char a[] = "a", b[] = "b", c[] = "c";
    GxHostSetCurrentProgram(1);
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, a, 2));
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, a, 2));  // the same pair again: still once
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, b, 2));
    GxHostSetCurrentProgram(2);
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, c, 2));
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, b, 0));  // removal is by pair, any program
    EXPECT_EQ(1, GxHostPendingCleanups(1));
    EXPECT_EQ(2, GxHostPendingCleanups(GX_ALL_PROGRAMS));

    EXPECT_EQ(1, GxHostProgramIdle(1));
    EXPECT_EQ("a", g_ran);
    EXPECT_EQ(0, GxHostProgramIdle(1));
    EXPECT_EQ(1, GxHostShutdown());
    EXPECT_EQ("ac", g_ran);
    EXPECT_EQ(mgNoErr, RTSetCleanupProc(Record, c, 0));  // gone already: not an error
}

TEST_F(RTSetCleanupProcTest, RefusesOtherModesAndNullProcedures) {
    char a[] = "a";
    for (const int32_t mode : {-1, 1, 3, 4}) {
        EXPECT_EQ(mgArgErr, RTSetCleanupProc(Record, a, mode)) << mode;
    }
    EXPECT_EQ(mgArgErr, RTSetCleanupProc(nullptr, a, 2));
    EXPECT_EQ(0, GxHostPendingCleanups(GX_ALL_PROGRAMS));
}

char g_self[] = "s", g_victim[] = "v", g_registrar[] = "r", g_late[] = "l";

MgErr RemoveSelfAndVictim(void* data) {
    RTSetCleanupProc(RemoveSelfAndVictim, data, 0);
    RTSetCleanupProc(Record, g_victim, 0);
    g_ran += static_cast<const char*>(data);
    return mgNoErr;
}

MgErr RegisterLate(void* data) {
    RTSetCleanupProc(Record, g_late, 2);
    g_ran += static_cast<const char*>(data);
    return mgNoErr;
}

// Procedures run without the runtime's lock: they may remove registrations (their own included)
// and add new ones; one removed before its turn does not run, one added waits for the next idle.
TEST_F(RTSetCleanupProcTest, ProceduresMayRegisterAndRemoveWhileRunning) {
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(RemoveSelfAndVictim, g_self, 2));
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(Record, g_victim, 2));
    ASSERT_EQ(mgNoErr, RTSetCleanupProc(RegisterLate, g_registrar, 2));
    EXPECT_EQ(2, GxHostProgramIdle(GX_PROGRAM_DEFAULT));
    EXPECT_EQ("sr", g_ran);
    EXPECT_EQ(1, GxHostProgramIdle(GX_PROGRAM_DEFAULT));
    EXPECT_EQ("srl", g_ran);
}

MgErr Announce(void*) {
    std::fputs("ran at unload\n", stderr);
    return mgNoErr;
}

// What is still registered when the process ends runs as the runtime unloads.
TEST_F(RTSetCleanupProcTest, RemainingProceduresRunWhenTheRuntimeUnloads) {
    EXPECT_EXIT(
        {
            RTSetCleanupProc(Announce, nullptr, 2);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "ran at unload");
}

std::atomic<int> g_runs[500];

MgErr Count(void* data) {
    g_runs[reinterpret_cast<std::uintptr_t>(data)].fetch_add(1);
    return mgNoErr;
}

TEST_F(RTSetCleanupProcTest, ConcurrentIdleCallsRunEachProcedureOnce) {
    constexpr std::uintptr_t kProcedures = sizeof g_runs / sizeof g_runs[0];
    for (std::uintptr_t i = 0; i < kProcedures; ++i) {
        g_runs[i] = 0;
        ASSERT_EQ(mgNoErr, RTSetCleanupProc(Count, reinterpret_cast<void*>(i), 2));
    }
    std::atomic<int> total{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&total] { total += GxHostProgramIdle(GX_PROGRAM_DEFAULT); });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(static_cast<int>(kProcedures), total.load());
    for (std::uintptr_t i = 0; i < kProcedures; ++i) {
        ASSERT_EQ(1, g_runs[i].load()) << i;
    }
}

}  // namespace
