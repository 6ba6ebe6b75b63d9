#include "ka/tagger/gx/Receiver.h"

#include <cstring>
#include <exception>

#include "ka/tagger/gx/Item.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

bool SameInterface(const GUID& a, const GUID& b) noexcept {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

Item* ItemOf(long handle) noexcept {
    return reinterpret_cast<Item*>(handle);
}

}  // namespace

Receiver::Receiver() : refCount_(1) {}

Receiver::~Receiver() = default;

HRESULT Receiver::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    if (SameInterface(iid, IID_IUnknown) || SameInterface(iid, IID_IVESTAREALTIMERECEIVER)) {
        *out = static_cast<IVestaRealTimeReceiver*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

std::uint32_t Receiver::AddRef() {
    return static_cast<std::uint32_t>(refCount_.increment());
}

std::uint32_t Receiver::Release() {
    const std::int32_t count = refCount_.decrement();
    if (count == 0) {
        delete this;
    }
    return static_cast<std::uint32_t>(count);
}

// The handlers must not let an exception reach the provider. A handler fails only when memory
// runs out while a value is copied for the host; losing that one notification is better than
// ending the host's process, and the next change brings the item up to date again.
HRESULT Receiver::OnDataChange(long item, std::uint32_t mask, const VarData* value,
                               std::uint32_t quality, FILETIME) {
    try {
        if ((mask & VESTA_MASK_QUALITY) != 0) {
            ItemOf(item)->onQualityChange(quality);
        }
        if ((mask & VESTA_MASK_VALUE) != 0 && value != nullptr) {
            ItemOf(item)->onDataChange(*value);
        }
    } catch (const std::exception&) {
        return E_FAIL;
    }
    return S_OK;
}

HRESULT Receiver::OnAttributeChange(long item, const ITEMDETAILS* details) {
    if (details == nullptr) {
        return E_POINTER;
    }
    try {
        ItemOf(item)->onAttributeChange(*details);
    } catch (const std::exception&) {
        return E_FAIL;
    }
    return S_OK;
}

HRESULT Receiver::OnStatusChange(long item, IASTATUS status, HRESULT result, std::uint32_t) {
    try {
        ItemOf(item)->onStatusChange(status, result);
    } catch (const std::exception&) {
        return E_FAIL;
    }
    return S_OK;
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
