// One subscription to one item of the real-time provider, addressed by a VestaURL. The item owns
// its interface in the provider (released, which ends the subscription, when the item is
// destroyed) and passes the changes the provider reports on to an optional callback.
#pragma once

#include <atomic>
#include <cstdint>

#include "ka/kor/AbsTime.h"
#include "ka/kor/RefCountedInterface.h"
#include "ka/kor/SmartPtr.h"
#include "ka/kor/VestaURL.h"
#include "vesta/VestaRealTime.h"

namespace ka {
namespace tagger {
namespace gx {

namespace item {

// Recorded positions of the item's failures; the host's error reports name them.
inline constexpr const char* kSourceFile = "ka/tagger/gx/Item";
inline constexpr std::uint32_t kTooFewComponentsLine = 72;
inline constexpr std::uint32_t kAddItemFailedLine = 77;
inline constexpr std::uint32_t kStateQueryFailedLine = 99;
inline constexpr std::uint32_t kWriteFailedLine = 121;

// The process in which items addressed relative to this computer live.
inline constexpr const wchar_t* kLocalProcess = L"System";

}  // namespace item

class Item {
  public:
    // What a host binding wants to hear about an item. The handlers run on the provider's
    // threads, in the order the provider reports the changes, and must not throw; the defaults do
    // nothing. The operations come in this order (addRef, release, then the four handlers).
    class Callback : public kor::RefCountedInterface<Callback> {
      public:
        virtual void onDataChange(const VarData& value);
        virtual void onQualityChange(std::uint32_t quality);
        virtual void onStatusChange(IASTATUS status, HRESULT result);
        virtual void onAttributeChange(const ITEMDETAILS& details);
        virtual ~Callback();
    };

    // Subscribes to the item at FullURL(url) through realTime's add-item operation, handing the
    // provider state and this item's address as the client handle of every notification. A full
    // address of fewer than 3 components raises InvalidArgument (line 72); a failing add-item
    // raises COMError with the provider's result (line 77). callback may be null.
    Item(IVestaRealTime* realTime, const kor::VestaURL& url, ITEMSTATE& state,
         const kor::SmartPtr<Callback>& callback);
    // Releases the provider's interface, which ends the subscription: once it returns no
    // notification for this item runs or will follow. Then lets go of the callback.
    ~Item();
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    // The absolute address of url: as given when Absolute; this computer's host name followed by
    // url's components when LocalMachine; the host name, "System" and url's components when
    // ProcessRelative or Relative (such items live in the process "System" here); empty for any
    // other type.
    static kor::VestaURL FullURL(const kor::VestaURL& url);

    // Notifications, called by the Receiver: each passes the change on to the callback when
    // there is one. The first attribute change also marks the subscription as established.
    void onDataChange(const VarData& value);
    void onQualityChange(std::uint32_t quality);
    void onStatusChange(IASTATUS status, HRESULT result);
    void onAttributeChange(const ITEMDETAILS& details);

    // True once the item's attributes have arrived; never false again afterwards.
    bool receivedAttributeChange() const noexcept {
        return receivedAttributeChange_.load(std::memory_order_acquire);
    }

    // The current quality: the provider's when its state holds one, 0 (good) when it holds none,
    // 0x20 (nonexistant) when the state cannot be had.
    std::uint32_t quality() const;

    // The current value, with its quality (0 when the state holds none) and time (AbsTime::min,
    // which means no time, when the state holds none). A failing state query raises
    // VestaQualityException with quality 0x20 (line 99) and leaves quality and time unchanged.
    VarData read(std::uint32_t& quality, kor::AbsTime& time) const;

    // Sends value to the item's host. A failure the provider reports at once raises COMError with
    // its result (line 121).
    void write(const VarData& value);

  private:
    IVestaRealTimeItem* itemInterface_;
    kor::SmartPtr<Callback> callback_;
    // Written by provider threads and read by host threads; it only ever goes from false to true.
    std::atomic<bool> receivedAttributeChange_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
