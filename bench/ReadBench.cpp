// ka_tagger_gx_Read of an F64 item through the exported function (refnum lookup, state read,
// variant conversion) beside reading the same item's state straight from the provider, and beside
// that direct read followed by the host runtime's own conversion of the value into a variant
// (the part of the work that belongs to neither the library nor the provider).
// Goal: p50 of the exported read under 1 µs and within 3x of the direct read (x86_64, Release).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "PublishedItem.h"
#include "gxhost/GxHost.h"
#include "gxhost/GxVariant.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/tagger/gx/ka_tagger_gx.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

using ka_bench::ItemUrl;
using ka_bench::kUrl;
using ka_bench::Published;

namespace {

// A receiver that ignores everything, for the direct read's own connection.
class Ignore final : public IVestaRealTimeReceiver {
  public:
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = this;
        return S_OK;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT OnDataChange(long, std::uint32_t, const VarData*, std::uint32_t, FILETIME) override {
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS*) override { return S_OK; }
    HRESULT OnStatusChange(long, IASTATUS, HRESULT, std::uint32_t) override { return S_OK; }
};

// Times the calls in groups of kGroup (so that reading the clock costs little beside them) and
// reports the median time per call over the groups as p50_ns.
constexpr int kGroup = 16;

template <class Call>
void Timed(benchmark::State& state, Call call) {
    std::vector<double> samples;
    samples.reserve(1 << 20);
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < kGroup; ++i) {
            call();
        }
        const auto end = std::chrono::steady_clock::now();
        if (samples.size() < samples.capacity()) {
            samples.push_back(std::chrono::duration<double, std::nano>(end - begin).count() /
                              kGroup);
        }
    }
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    state.counters["p50_ns"] = samples[samples.size() / 2];
    state.SetItemsProcessed(state.iterations() * kGroup);
}

void ExportedRead(benchmark::State& state) {
    Published published;
    ErrorCluster error = {0, 0, GxHostNewLStr("", 0)};
    GxBoolean no = 0;
    GxRefnum none = 0;
    const std::uint32_t refnum = ka_tagger_gx_Connect(kUrl, &no, &no, &none, &error);
    GxVariant* value = nullptr;
    std::uint32_t quality = 1;
    ka_tagger_gx_TimeStamp time;
    while (quality != 0 || error.status != 0) {  // until the first value has arrived
        error.status = 0;
        ka_tagger_gx_Read(refnum, &value, &quality, &time, &error);
    }
    Timed(state, [&] {
        ka_tagger_gx_Read(refnum, &value, &quality, &time, &error);
        benchmark::DoNotOptimize(value);
    });
    if (error.status != 0 || GxVarType(value) != GX_TYPE_F64) {
        state.SkipWithError("the read failed");
    }
    ka_tagger_gx_Disconnect(refnum, &error);
    GxVarDispose(value);
    DSDisposeHandle(reinterpret_cast<UHandle>(error.source));
}
BENCHMARK(ExportedRead);

// The baseline: the provider's own state query on a subscription to the same item.
void DirectRead(benchmark::State& state) {
    Published published;
    Ignore receiver;
    IUnknown* session = GetVestaSession();
    IVestaRealTime* realTime = nullptr;
    NewVestaRealTime(session, &receiver, &realTime);
    ITEMSTATE itemState = {};
    itemState.mask = 0x71;
    itemState.accessFlags = 0x45;
    IVestaRealTimeItem* item = nullptr;
    realTime->AddItem(ItemUrl().c_str(), &item, &itemState, 0);
    std::uint32_t mask = 0, quality = 1;
    VarData value;
    FILETIME time;
    while ((mask & VESTA_MASK_VALUE) == 0) {
        item->GetState(&mask, &value, &quality, &time);
    }
    Timed(state, [&] {
        item->GetState(&mask, &value, &quality, &time);
        benchmark::DoNotOptimize(value);
    });
    item->Release();
    realTime->Release();
    session->Release();
}
BENCHMARK(DirectRead);

// The direct read and the host's conversion of its value, as a host would do without the library.
void DirectReadIntoVariant(benchmark::State& state) {
    Published published;
    Ignore receiver;
    IUnknown* session = GetVestaSession();
    IVestaRealTime* realTime = nullptr;
    NewVestaRealTime(session, &receiver, &realTime);
    ITEMSTATE itemState = {};
    itemState.mask = 0x71;
    itemState.accessFlags = 0x45;
    IVestaRealTimeItem* item = nullptr;
    realTime->AddItem(ItemUrl().c_str(), &item, &itemState, 0);
    std::uint32_t mask = 0, quality = 1;
    VarData value;
    FILETIME time;
    while ((mask & VESTA_MASK_VALUE) == 0) {
        item->GetState(&mask, &value, &quality, &time);
    }
    GxVariant* variant = nullptr;
    Timed(state, [&] {
        item->GetState(&mask, &value, &quality, &time);
        value.Convert(VT_FLEXDATA);
        const ka::kor::FlexData& flex = value.getFlexData();
        KORFlexToGxVar(flex.begin(), static_cast<std::int32_t>(flex.getPacketSize()), &variant);
        benchmark::DoNotOptimize(variant);
    });
    GxVarDispose(variant);
    item->Release();
    realTime->Release();
    session->Release();
}
BENCHMARK(DirectReadIntoVariant);

}  // namespace
