#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "gxhost/GxHost.h"

namespace {

// What a listener received, as text.
struct Log {
    std::string text;
};

void OnData(void* user, uint32_t context, const unsigned char* begin, const unsigned char* end) {
    static_cast<Log*>(user)->text +=
        "data " + std::to_string(context) + " " +
        std::string(reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin)) +
        ";";
}

void OnQuality(void* user, uint32_t context, uint32_t quality) {
    static_cast<Log*>(user)->text +=
        "quality " + std::to_string(context) + " " + std::to_string(quality) + ";";
}

void OnStatus(void* user, uint32_t context, int32_t state, int32_t code, int32_t detail) {
    static_cast<Log*>(user)->text += "status " + std::to_string(context) + " " +
                                     std::to_string(state) + " " + std::to_string(code) + " " +
                                     std::to_string(detail) + ";";
}

const unsigned char kBytes[] = {'x', 'y'};

TEST(OnPSP, ReachesTheContextsListenerElseTheCatchAllElseIsDropped) {
    Log own;
    Log other;
    const GxPSPListener ownListener = {OnData, OnQuality, nullptr, &own};
    const GxPSPListener catchAll = {OnData, OnQuality, OnStatus, &other};
    ASSERT_EQ(mgNoErr, GxHostSetPSPListener(7, &ownListener));
    ASSERT_EQ(mgNoErr, GxHostSetPSPCatchAllListener(&catchAll));
    const uint32_t dropped = GxHostDroppedPSPNotifications();

    OnPSPDataUpdate(7, kBytes, kBytes + 2);
    OnPSPQualityUpdate(8, 0x40);
    OnPSPStatusUpdate(7, 4, -5, 1);  // the context's listener has no status function: dropped
    ASSERT_EQ(mgNoErr, GxHostSetPSPCatchAllListener(nullptr));
    OnPSPStatusUpdate(8, 2, 0, 0);  // no listener at all: dropped
    ASSERT_EQ(mgNoErr, GxHostSetPSPListener(7, nullptr));
    OnPSPQualityUpdate(7, 1);

    EXPECT_EQ("data 7 xy;", own.text);
    EXPECT_EQ("quality 8 64;", other.text);
    EXPECT_EQ(dropped + 3, GxHostDroppedPSPNotifications());
}

std::atomic<bool> g_entered{false};
std::atomic<bool> g_release{false};

void BlockingData(void*, uint32_t, const unsigned char*, const unsigned char*) {
    g_entered = true;
    while (!g_release) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Removing a listener returns only once its running call has ended, so the host program may free
// what the listener uses as soon as the removal returns.
TEST(OnPSP, RemovingAListenerWaitsForItsRunningCall) {
    const GxPSPListener blocking = {BlockingData, nullptr, nullptr, nullptr};
    ASSERT_EQ(mgNoErr, GxHostSetPSPListener(21, &blocking));
    std::thread notifier([] { OnPSPDataUpdate(21, kBytes, kBytes + 1); });
    while (!g_entered) {
        std::this_thread::yield();
    }
    std::atomic<bool> removed{false};
    std::thread remover([&removed] {
        GxHostSetPSPListener(21, nullptr);
        removed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(removed.load());
    g_release = true;
    notifier.join();
    remover.join();
    EXPECT_TRUE(removed.load());
}

void RemoveItself(void* user, uint32_t context, const unsigned char*, const unsigned char*) {
    GxHostSetPSPListener(context, nullptr);  // from inside its own call: must not wait for itself
    ++*static_cast<int*>(user);
}

TEST(OnPSP, AListenerMayRemoveItselfDuringItsCall) {
    int calls = 0;
    const GxPSPListener once = {RemoveItself, nullptr, nullptr, &calls};
    ASSERT_EQ(mgNoErr, GxHostSetPSPListener(33, &once));
    OnPSPDataUpdate(33, kBytes, kBytes);
    OnPSPDataUpdate(33, kBytes, kBytes);
    EXPECT_EQ(1, calls);
}

}  // namespace
