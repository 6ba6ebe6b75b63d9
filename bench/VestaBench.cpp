// The embedded provider against the least the same work can cost:
// - a host update reaching the client's OnDataChange, beside a bare std::mutex +
//   std::condition_variable hand-off of the same value between two threads (latency p50, p99);
// - GetState of an F64 item, beside a mutex-guarded copy of the same value;
// - one item updated at full rate while its receiver takes 1 ms per change, beside the same
//   updates with nobody subscribed: memory must stay flat (RSS growth is reported).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ka/kor/FlexData.h"
#include "vesta/CountedReceiver.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace {

using ka::kor::FlexData;
using Clock = std::chrono::steady_clock;

void ReportPercentiles(benchmark::State& state, std::vector<double>& micros) {
    if (micros.empty()) {
        return;
    }
    std::sort(micros.begin(), micros.end());
    state.counters["p50_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
    state.counters["max_us"] = micros.back();
}

// Resident set size in KiB (VmRSS of /proc/self/status), 0 when unknown.
long ResidentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0) {
            return std::atol(line.c_str() + 6);
        }
    }
    return 0;
}

// A receiver that stamps the arrival of each value and lets a waiter know.
class StampingReceiver final : public vesta::CountedReceiver {
  public:
    HRESULT OnDataChange(long, std::uint32_t mask, const VarData* value, std::uint32_t,
                         FILETIME) override {
        if ((mask & VESTA_MASK_VALUE) == 0) {
            return S_OK;
        }
        const Clock::time_point now = Clock::now();
        const double v = value->asDouble();
        if (slowMicros > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(slowMicros));
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            arrived = now;
            lastValue = v;
            ++delivered;
        }
        cv.notify_one();
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS*) override { return S_OK; }
    HRESULT OnStatusChange(long, IASTATUS, HRESULT, std::uint32_t) override { return S_OK; }

    // Waits until value v has arrived; its arrival time.
    Clock::time_point waitFor(double v) {
        std::unique_lock<std::mutex> lock(mutex);
        cv.wait(lock, [&] { return lastValue == v; });
        return arrived;
    }

    std::mutex mutex;
    std::condition_variable cv;
    Clock::time_point arrived;
    double lastValue = -1;
    long delivered = 0;
    int slowMicros = 0;
};

// A host with one F64 item and a client subscribed to it.
struct Fixture {
    Fixture(const wchar_t* process, bool subscribe = true) {
        session = GetVestaSession();
        host = std::make_unique<vesta::ItemHost>(session, process);
        item = host->createItem(L"value", FlexData(0.0), VESTA_ACCESS_READ);
        NewVestaRealTime(session, &receiver, &rt);
        if (subscribe) {
            rt->AddItem((host->url() + L"\\value").c_str(), &client, nullptr, 1);
            receiver.waitFor(0.0);
        }
    }
    ~Fixture() {
        if (client != nullptr) {
            client->Release();
        }
        rt->Release();
        host.reset();
        session->Release();
        receiver.Release();
    }
    IUnknown* session = nullptr;
    std::unique_ptr<vesta::ItemHost> host;
    vesta::ItemHost::Item item;
    StampingReceiver& receiver = *new StampingReceiver;  // the fixture's reference
    IVestaRealTime* rt = nullptr;
    IVestaRealTimeItem* client = nullptr;
};

void BM_UpdateToOnDataChange(benchmark::State& state) {
    Fixture f(L"bench_latency");
    std::vector<double> micros;
    micros.reserve(static_cast<std::size_t>(state.max_iterations));
    double v = 0;
    for (auto _ : state) {
        v += 1;
        const Clock::time_point sent = Clock::now();
        f.item.update(FlexData(v));
        const Clock::time_point arrived = f.receiver.waitFor(v);
        micros.push_back(std::chrono::duration<double, std::micro>(arrived - sent).count());
    }
    ReportPercentiles(state, micros);
}
BENCHMARK(BM_UpdateToOnDataChange)->Iterations(20000)->UseRealTime();

// The same value handed from one thread to another through a mutex and a condition variable,
// the receiving thread stamping its arrival and answering the same way. Both sides notify after
// unlocking, so that the woken thread does not wake only to wait for the lock.
void BM_MutexConditionHandOff(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable toConsumer, toProducer;
    FlexData slot;
    bool full = false, stop = false;
    Clock::time_point arrived;
    std::thread consumer([&] {
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex);
            toConsumer.wait(lock, [&] { return full || stop; });
            if (stop) {
                return;
            }
            arrived = Clock::now();
            benchmark::DoNotOptimize(slot.getF64());
            full = false;
            lock.unlock();
            toProducer.notify_one();
        }
    });
    std::vector<double> micros;
    micros.reserve(static_cast<std::size_t>(state.max_iterations));
    double v = 0;
    for (auto _ : state) {
        v += 1;
        const Clock::time_point sent = Clock::now();
        {
            std::lock_guard<std::mutex> lock(mutex);
            slot = FlexData(v);
            full = true;
        }
        toConsumer.notify_one();
        std::unique_lock<std::mutex> lock(mutex);
        toProducer.wait(lock, [&] { return !full; });
        micros.push_back(std::chrono::duration<double, std::micro>(arrived - sent).count());
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
    }
    toConsumer.notify_one();
    consumer.join();
    ReportPercentiles(state, micros);
}
BENCHMARK(BM_MutexConditionHandOff)->Iterations(20000)->UseRealTime();

void BM_GetStateF64(benchmark::State& state) {
    Fixture f(L"bench_getstate");
    std::uint32_t mask = 0, quality = 0;
    VarData value;
    FILETIME time{0};
    for (auto _ : state) {
        f.client->GetState(&mask, &value, &quality, &time);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_GetStateF64);

// Copying an F64 value and its quality and time out from under a mutex.
void BM_LockedCopyF64(benchmark::State& state) {
    std::mutex mutex;
    const FlexData current(1.5);
    const std::uint32_t currentQuality = 0;
    const FILETIME currentTime{1};
    FlexData value;
    std::uint32_t quality = 0;
    FILETIME time{0};
    for (auto _ : state) {
        std::lock_guard<std::mutex> lock(mutex);
        value = current;
        quality = currentQuality;
        time = currentTime;
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(quality);
        benchmark::DoNotOptimize(time);
    }
}
BENCHMARK(BM_LockedCopyF64);

// Updates one item as fast as the host can for the benchmark's time; with a subscriber whose
// receiver takes 1 ms per change, or (the baseline) with nobody subscribed.
void SustainedUpdates(benchmark::State& state, bool subscribed) {
    Fixture f(subscribed ? L"bench_sustained" : L"bench_sustained_alone", subscribed);
    f.receiver.slowMicros = 1000;
    const long rssBefore = ResidentKiB();
    long peakGrowth = 0;
    double v = 0;
    for (auto _ : state) {
        for (int k = 0; k < 1000; ++k) {
            v += 1;
            f.item.update(FlexData(v));
        }
        peakGrowth = std::max(peakGrowth, ResidentKiB() - rssBefore);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(v));
    state.counters["rss_growth_KiB"] = static_cast<double>(peakGrowth);
    std::lock_guard<std::mutex> lock(f.receiver.mutex);
    state.counters["delivered"] = static_cast<double>(f.receiver.delivered);
}

void BM_SustainedUpdatesSlowReceiver(benchmark::State& state) {
    SustainedUpdates(state, true);
}
BENCHMARK(BM_SustainedUpdatesSlowReceiver)->MinTime(3.0)->UseRealTime();

void BM_SustainedUpdatesNoSubscriber(benchmark::State& state) {
    SustainedUpdates(state, false);
}
BENCHMARK(BM_SustainedUpdatesNoSubscriber)->MinTime(3.0)->UseRealTime();

}  // namespace
