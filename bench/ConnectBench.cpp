// ka_tagger_gx_Connect followed by ka_tagger_gx_Disconnect on the embedded provider, beside the
// provider's own add-item and release of the same item. Goal: the pair under 20 µs (x86_64,
// Release).
#include <benchmark/benchmark.h>

#include <cstdint>

#include "PublishedItem.h"
#include "gxhost/GxHost.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/tagger/gx/ka_tagger_gx.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

using ka_bench::ItemUrl;
using ka_bench::kUrl;
using ka_bench::Published;

namespace {

void ConnectDisconnect(benchmark::State& state) {
    Published published;
    ErrorCluster error = {0, 0, GxHostNewLStr("", 0)};
    GxBoolean no = 0;
    GxRefnum none = 0;
    ka_tagger_gx_Disconnect(ka_tagger_gx_Connect(kUrl, &no, &no, &none, &error), &error);
    for (auto _ : state) {
        const std::uint32_t refnum = ka_tagger_gx_Connect(kUrl, &no, &no, &none, &error);
        ka_tagger_gx_Disconnect(refnum, &error);
    }
    if (error.status != 0) {
        state.SkipWithError("connect or disconnect failed");
    }
    DSDisposeHandle(reinterpret_cast<UHandle>(error.source));
}
BENCHMARK(ConnectDisconnect);

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

// The baseline: the provider's add-item and release alone.
void AddItemRelease(benchmark::State& state) {
    Published published;
    Ignore receiver;
    IUnknown* session = GetVestaSession();
    IVestaRealTime* realTime = nullptr;
    NewVestaRealTime(session, &receiver, &realTime);
    ITEMSTATE itemState = {};
    itemState.mask = 0x71;
    itemState.accessFlags = 0x45;
    const ka::kor::String url = ItemUrl();
    for (auto _ : state) {
        IVestaRealTimeItem* item = nullptr;
        realTime->AddItem(url.c_str(), &item, &itemState, 0);
        item->Release();
    }
    realTime->Release();
    session->Release();
}
BENCHMARK(AddItemRelease);

}  // namespace
