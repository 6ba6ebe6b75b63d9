#include "qbrealt/Session.h"

#include <utility>

#include "qbrealt/InterfaceIds.h"
#include "qbrealt/Provider.h"

namespace vesta {

Session::Session(std::shared_ptr<Provider> provider) noexcept : provider_(std::move(provider)) {}

HRESULT Session::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    if (SameIID(iid, IID_IUnknown) || SameIID(iid, kIIDVestaSession)) {
        *out = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t Session::AddRef() {
    return refs_.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::uint32_t Session::Release() {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
        delete this;
    }
    return left;
}

std::shared_ptr<Provider> Session::ProviderOf(IUnknown* session) noexcept {
    if (session == nullptr) {
        return nullptr;
    }
    void* out = nullptr;
    // A foreign object may misbehave; it is only asked, never trusted beyond its answer.
    try {
        if (session->QueryInterface(kIIDVestaSession, &out) < 0 || out == nullptr) {
            return nullptr;
        }
    } catch (...) {
        return nullptr;
    }
    Session* ours = static_cast<Session*>(static_cast<IUnknown*>(out));
    std::shared_ptr<Provider> provider = ours->provider_;
    ours->Release();
    return provider;
}

}  // namespace vesta
