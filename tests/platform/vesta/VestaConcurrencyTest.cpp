// Subscriptions added and released from many threads while their items change at full rate: no
// notification may run after (or still be running when) its item's Release returns. And changes
// that come at every pace, around the time the delivering thread stays awake for more: each one
// is delivered, whether it finds that thread awake, falling asleep or asleep.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "RecordingReceiver.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/ThreadTestSupport.h"
#include "vesta/CountedReceiver.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace {

using ka::kor::FlexData;

constexpr int kThreads = 8;
constexpr int kRounds = 300;
constexpr int kItems = 16;

// \\this machine\process\ (the embedded provider's addresses).
std::wstring LocalProcess(const std::wstring& process) {
    const ka::kor::String h = ka::kor::osdep::GetCachedHostName();
    return L"\\\\" + std::wstring(h.begin(), h.end()) + L"\\" + process + L"\\";
}

// Client handle = thread * kRounds + round. Counts, per handle, whether its Release has returned,
// and every notification that began or ended after that.
class CountingReceiver final : public vesta::CountedReceiver {
  public:
    std::atomic<bool> released[kThreads * kRounds] = {};
    std::atomic<int> late{0};
    std::atomic<long> notifications{0};

    HRESULT OnDataChange(long item, std::uint32_t, const VarData* value, std::uint32_t,
                         FILETIME) override {
        check(item);
        volatile std::int64_t sink = value->empty() ? 0 : 1;  // touch the value
        (void)sink;
        check(item);
        return S_OK;
    }
    HRESULT OnAttributeChange(long item, const ITEMDETAILS*) override {
        check(item);
        return S_OK;
    }
    HRESULT OnStatusChange(long item, IASTATUS, HRESULT, std::uint32_t) override {
        check(item);
        std::this_thread::yield();  // widen the window in which a Release may arrive
        check(item);
        return S_OK;
    }

  private:
    void check(long item) {
        ++notifications;
        if (released[item].load()) {
            ++late;
        }
    }
};

TEST(VestaConcurrency, NoNotificationRunsAfterItsItemsReleaseReturns) {
    unsetenv("KA_VESTA_URL");
    IUnknown* session = GetVestaSession();
    ASSERT_NE(nullptr, session) << VestaLastErrorText();
    CountingReceiver& receiver = *new CountingReceiver;  // the test's reference, released last
    IVestaRealTime* rt = nullptr;
    ASSERT_EQ(S_OK, NewVestaRealTime(session, &receiver, &rt));

    auto host = std::make_unique<vesta::ItemHost>(session, L"concurrency");
    std::vector<vesta::ItemHost::Item> items;
    for (int i = 0; i < kItems; ++i) {
        items.push_back(
            host->createItem(L"item" + std::to_wstring(i), FlexData(0.0), VESTA_ACCESS_READ));
    }
    std::atomic<bool> stop{false};
    std::thread updater([&] {
        for (std::int64_t n = 0; !stop; ++n) {
            items[n % kItems].update(FlexData(static_cast<double>(n)));
        }
    });

    const std::wstring prefix = LocalProcess(L"concurrency") + L"item";
    std::atomic<int> next{0};
    ka_test::RunOnThreads(kThreads, [&] {
        const int t = next++;
        for (int r = 0; r < kRounds; ++r) {
            const long handle = t * kRounds + r;
            IVestaRealTimeItem* item = nullptr;
            const std::wstring url = prefix + std::to_wstring((t + r) % kItems);
            ASSERT_EQ(S_OK, rt->AddItem(url.c_str(), &item, nullptr, handle));
            for (int spin = 0; spin < r % 7; ++spin) {
                std::this_thread::yield();  // let some notifications start before the release
            }
            item->Release();
            receiver.released[handle] = true;
        }
    });
    stop = true;
    updater.join();

    EXPECT_EQ(0, receiver.late.load());
    EXPECT_LT(0, receiver.notifications.load());
    rt->Release();
    host.reset();
    session->Release();
    receiver.Release();
}

TEST(VestaConcurrency, EveryChangeIsDeliveredWhateverThePauseBeforeIt) {
    unsetenv("KA_VESTA_URL");
    IUnknown* session = GetVestaSession();
    ASSERT_NE(nullptr, session) << VestaLastErrorText();
    vesta_test::RecordingReceiver* receiver = vesta_test::RecordingReceiver::Create();
    IVestaRealTime* rt = nullptr;
    ASSERT_EQ(S_OK, NewVestaRealTime(session, receiver, &rt));
    auto host = std::make_unique<vesta::ItemHost>(session, L"paces");
    vesta::ItemHost::Item item = host->createItem(L"v", FlexData(0.0), VESTA_ACCESS_READ);
    IVestaRealTimeItem* subscription = nullptr;
    ASSERT_EQ(S_OK,
              rt->AddItem((LocalProcess(L"paces") + L"v").c_str(), &subscription, nullptr, 1));
    ASSERT_TRUE(receiver->waitForValue(1, VarData::FromR8(0.0)));

    // Pauses in microseconds, short and long, in an order that also gives more long ones in a
    // row than the thread stays awake through (it then goes straight to sleep) and a short one
    // after those.
    const int pauses[] = {0, 20, 60, 90, 110, 150, 250, 400, 1000, 2000, 3000, 5, 30, 120};
    for (int n = 1; n <= 300; ++n) {
        std::this_thread::sleep_for(std::chrono::microseconds(pauses[n % std::size(pauses)]));
        item.update(FlexData(static_cast<double>(n)));
        ASSERT_TRUE(receiver->waitForValue(1, VarData::FromR8(n)))
            << "change " << n << " was not delivered";
    }
    subscription->Release();
    rt->Release();
    receiver->Release();
    host.reset();
    session->Release();
}

}  // namespace
