// A client connection (IVestaRealTime): adds subscriptions of one provider that notify one
// receiver. Subscriptions do not need the connection: each keeps the provider and the receiver,
// so an item released after its connection still behaves, and the receiver is let go once the
// connection and its last subscription are gone and no notification to it is running.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "vesta/VestaRealTime.h"

namespace vesta {

class Provider;
class ReceiverRef;

class RealTime final : public IVestaRealTime {
  public:
    // One reference for the caller.
    RealTime(std::shared_ptr<Provider> provider, std::shared_ptr<ReceiverRef> receiver) noexcept;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    HRESULT AddItem(const wchar_t* url, IVestaRealTimeItem** item, ITEMSTATE* state,
                    long clientHandle) override;

  private:
    ~RealTime();

    std::atomic<std::uint32_t> refs_{1};
    const std::shared_ptr<Provider> provider_;
    const std::shared_ptr<ReceiverRef> receiver_;
};

}  // namespace vesta
