// One item subscribed at the real-time provider itself, beside the product, for what the product's
// exported functions do not tell a host: the item's description and its access rights as its host
// declared them. `katag info` shows them; `katag put` names the reason of a refused write with
// them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "vesta/VestaRealTime.h"

namespace katag {

class ProviderItem {
  public:
    // Subscribes to the item at url (any form the product takes: \\machine\process\path, with
    // "." for this computer; \path or path in the process "System" here). A URL the provider
    // refuses, or no provider, leaves it without details.
    explicit ProviderItem(const std::string& url);
    ~ProviderItem();
    ProviderItem(const ProviderItem&) = delete;
    ProviderItem& operator=(const ProviderItem&) = delete;

    // Waits until the item's attributes have arrived (true) or until `until`.
    bool waitForDetails(std::chrono::steady_clock::time_point until);
    // The attributes as last received (flags 0 before any).
    ITEMDETAILS details();
    // The last subscription status the provider reported, IASTATUS_INACTIVE before any.
    IASTATUS status();

  private:
    class Receiver;
    Receiver* receiver_ = nullptr;
    IVestaRealTime* realTime_ = nullptr;
    IVestaRealTimeItem* item_ = nullptr;
};

// "read", "write", "read, write" or "none" for VESTA_ACCESS_* bits.
std::string AccessText(std::uint32_t rights);

}  // namespace katag
