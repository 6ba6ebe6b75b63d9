// Many host threads on the library at once while the items change as fast as their host can
// update them: connecting, reading, writing and disconnecting, and binding front-panel controls
// whose notifications are watched for any that arrives after its binding was ended.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "ProductTestSupport.h"

namespace {

using namespace product_test;

constexpr int kThreads = 16;
constexpr int kItems = 4;
constexpr std::uint32_t kMaxBindings = 1u << 16;
const char* const kUrls[kItems] = {"\\\\.\\busy\\a", "\\\\.\\busy\\b", "\\\\.\\busy\\c",
                                   "\\\\.\\busy\\d"};

// Per front-panel context: 1 once its binding was ended; notifications seen after that.
std::atomic<int> gEnded[kMaxBindings];
std::atomic<long> gLate{0};
std::atomic<long> gNotifications{0};

void Heard(std::uint32_t context) {
    gNotifications.fetch_add(1, std::memory_order_relaxed);
    if (context < kMaxBindings && gEnded[context].load(std::memory_order_acquire) != 0) {
        gLate.fetch_add(1, std::memory_order_relaxed);
    }
}

void OnData(void*, std::uint32_t context, const unsigned char*, const unsigned char*) {
    Heard(context);
}
void OnQuality(void*, std::uint32_t context, std::uint32_t) {
    Heard(context);
}
void OnStatus(void*, std::uint32_t context, std::int32_t, std::int32_t, std::int32_t) {
    Heard(context);
}

long CallsPerThread() {
    const char* text = std::getenv("KA_STRESS_CALLS_PER_THREAD");
    return text != nullptr ? std::atol(text) : 1000000 / kThreads + 1;
}

TEST(ka_tagger_gxConcurrency, SixteenThreadsAMillionCalls) {
    Publisher publisher(L"busy");
    std::vector<vesta::ItemHost::Item> items;
    for (int i = 0; i < kItems; ++i) {
        const wchar_t name[2] = {static_cast<wchar_t>(L'a' + i), 0};
        items.push_back(publisher.host().createItem(name, ka::kor::FlexData(0.0),
                                                    VESTA_ACCESS_READ | VESTA_ACCESS_WRITE));
    }
    GxPSPListener listener = {&OnData, &OnQuality, &OnStatus, nullptr};
    ASSERT_EQ(0, GxHostSetPSPCatchAllListener(&listener));
    ka_tagger_gx_Startup();

    std::atomic<bool> stop{false};
    std::atomic<long> updates{0};
    std::thread updater([&] {
        double v = 0;
        while (!stop.load(std::memory_order_relaxed)) {
            for (vesta::ItemHost::Item& item : items) {
                item.update(ka::kor::FlexData(v += 1.0));
            }
            updates.fetch_add(kItems, std::memory_order_relaxed);
        }
    });

    const long perThread = CallsPerThread();
    std::atomic<long> calls{0};
    std::atomic<long> failures{0};
    std::atomic<std::uint32_t> nextContext{1};
    std::vector<std::thread> hosts;
    for (int t = 0; t < kThreads; ++t) {
        hosts.emplace_back([&, t] {
            long n = 0;
            ka_tagger_gx_Refnum refnum = Connect(kUrls[t % kItems]);
            ++n;
            ka_tagger_gx_Refnum bound = 0;
            std::uint32_t context = 0;
            for (long i = 0; n < perThread; ++i) {
                if (i % 64 == 63) {
                    if (Disconnect(refnum) != "0 00000000 ") {
                        failures.fetch_add(1);
                    }
                    refnum = Connect(kUrls[(t + i) % kItems]);
                    n += 2;
                } else if (i % 256 == 128) {
                    if (bound != 0) {
                        ka_tagger_gx_fpb_Disconnect(bound);
                        gEnded[context].store(1, std::memory_order_release);
                    }
                    context = nextContext.fetch_add(1);
                    ITEMSTATE state;
                    std::memset(&state, 0, sizeof state);
                    state.mask = 0x1;
                    state.accessFlags = 0x09;
                    LStrHandle url = GxHostNewLStr(kUrls[i % kItems], -1);
                    if (context >= kMaxBindings ||
                        ka_tagger_gx_fpb_Connect(url, context, &state, &bound) != 0) {
                        bound = 0;
                        failures.fetch_add(1);
                    }
                    DSDisposeHandle(reinterpret_cast<UHandle>(url));
                    n += 2;
                } else if (i % 8 == 7) {
                    const std::string error = Write(refnum, static_cast<double>(i));
                    if (error.compare(0, 2, "1 ") == 0) {
                        failures.fetch_add(1);
                    }
                    ++n;
                } else if (i % 16 == 2) {
                    Cluster error;
                    ka_tagger_gx_IsSubscriptionGood(refnum, error.ptr());
                    if (error.failed()) {
                        failures.fetch_add(1);
                    }
                    ++n;
                } else {
                    Cluster error;
                    Variant value;
                    std::uint32_t quality;
                    ka_tagger_gx_TimeStamp time;
                    ka_tagger_gx_Read(refnum, value.handle(), &quality, &time, error.ptr());
                    if (error.failed()) {
                        failures.fetch_add(1);
                    }
                    ++n;
                }
            }
            if (bound != 0) {
                ka_tagger_gx_fpb_Disconnect(bound);
                gEnded[context].store(1, std::memory_order_release);
            }
            Disconnect(refnum);
            calls.fetch_add(n + 1);
        });
    }
    for (std::thread& h : hosts) {
        h.join();
    }
    stop = true;
    updater.join();
    // Notifications still on their way must not be for ended bindings either.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    GxHostSetPSPCatchAllListener(nullptr);
    ka_tagger_gx_Cleanup();
    GxHostShutdown();

    EXPECT_GE(calls.load(), kThreads * perThread);
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(0, gLate.load());
    EXPECT_GT(gNotifications.load(), 0);
    EXPECT_GT(updates.load(), 0);
    RecordProperty("calls", static_cast<int>(calls.load()));
    RecordProperty("updates", static_cast<int>(updates.load()));
}

}  // namespace
