// A base for receivers written in C++: it counts references and answers IUnknown and
// IVestaRealTimeReceiver, leaving the three notifications to the derived class.
//
// Create one with new; it holds one reference for its creator and deletes itself when the last
// goes. That may happen on a provider thread a moment after the client's last Release has
// returned (the provider still held a subscription), so a receiver must never live on the stack
// or inside an object that ends sooner.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>

#include "vesta/VestaRealTime.h"

namespace vesta {

class CountedReceiver : public IVestaRealTimeReceiver {
  public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr) {
            return E_POINTER;
        }
        if (std::memcmp(&iid, &IID_IUnknown, sizeof iid) == 0 ||
            std::memcmp(&iid, &IID_IVESTAREALTIMERECEIVER, sizeof iid) == 0) {
            *out = static_cast<IVestaRealTimeReceiver*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return refs_.fetch_add(1) + 1; }
    std::uint32_t Release() override {
        const std::uint32_t left = refs_.fetch_sub(1) - 1;
        if (left == 0) {
            delete this;
        }
        return left;
    }

  protected:
    CountedReceiver() = default;
    virtual ~CountedReceiver() = default;
    CountedReceiver(const CountedReceiver&) = delete;
    CountedReceiver& operator=(const CountedReceiver&) = delete;

  private:
    std::atomic<std::uint32_t> refs_{1};
};

}  // namespace vesta
