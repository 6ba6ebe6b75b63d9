#include "qbrealt/RealTime.h"

#include <new>
#include <utility>

#include "qbrealt/InterfaceIds.h"
#include "qbrealt/ItemURL.h"
#include "qbrealt/Provider.h"
#include "qbrealt/Subscription.h"

namespace vesta {

RealTime::RealTime(std::shared_ptr<Provider> provider,
                   std::shared_ptr<ReceiverRef> receiver) noexcept
    : provider_(std::move(provider)), receiver_(std::move(receiver)) {}

RealTime::~RealTime() = default;

HRESULT RealTime::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    if (SameIID(iid, IID_IUnknown) || SameIID(iid, IID_IVESTAREALTIME)) {
        *out = static_cast<IVestaRealTime*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t RealTime::AddRef() {
    return refs_.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::uint32_t RealTime::Release() {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT RealTime::AddItem(const wchar_t* url, IVestaRealTimeItem** item, ITEMSTATE* /*state*/,
                          long clientHandle) {
    // The ITEMSTATE's rate and buffering fields ask for nothing either backend offers: every
    // change is delivered, the newest value winning under load. It is accepted and left as is.
    if (item == nullptr) {
        return E_POINTER;
    }
    *item = nullptr;
    if (url == nullptr) {
        return E_POINTER;
    }
    std::shared_ptr<Subscription> s;
    try {
        ka::kor::VestaURL parsed;
        if (!ParseItemURL(url, parsed)) {
            return VESTA_E_BADURL;
        }
        s = Subscription::Create(provider_, receiver_, std::move(parsed), clientHandle);
        s->postStatus(IASTATUS_RESOLVING, S_OK);
        provider_->subscribe(s);
    } catch (const std::bad_alloc&) {
        if (s) {
            s->Release();
        }
        return E_OUTOFMEMORY;
    } catch (...) {
        if (s) {
            s->Release();
        }
        return E_FAIL;
    }
    *item = s.get();  // the client's reference is the one Create gave
    return S_OK;
}

}  // namespace vesta
