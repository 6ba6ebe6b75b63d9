// The client's one sink for the provider's notifications. Each notification names, as its client
// handle, the Item it concerns, and is passed on to that item. No lock of this library is taken
// here: an item is only destroyed after the provider has stopped notifying it.
#pragma once

#include <cstdint>

#include "ka/kor/osdep/AtomicInt.h"
#include "vesta/VestaRealTime.h"

namespace ka {
namespace tagger {
namespace gx {

class Receiver : public IVestaRealTimeReceiver {
  public:
    // Reference count 1, owned by its creator.
    Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    // Gives itself (with a reference) for IID_IUnknown and IID_IVESTAREALTIMERECEIVER, compared as
    // 16 bytes, and 0; null and E_NOINTERFACE (0x80004002) for any other identifier.
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    // Each returns the new count; the release that reaches 0 deletes the receiver.
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

    // With mask bit 0x2 the quality goes to the item first, then with bit 0x1 the value, so a
    // quality that changed with the value is known before the value. The time is not used here
    // (readers ask the item's state for it).
    HRESULT OnDataChange(long item, std::uint32_t mask, const VarData* value, std::uint32_t quality,
                         FILETIME time) override;
    HRESULT OnAttributeChange(long item, const ITEMDETAILS* details) override;
    HRESULT OnStatusChange(long item, IASTATUS status, HRESULT result,
                           std::uint32_t reserved) override;

    // The provider releases through IUnknown, never deletes; deletion is Release's alone.
    virtual ~Receiver();

  private:
    kor::osdep::AtomicInt refCount_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
