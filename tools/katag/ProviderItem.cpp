#include "ProviderItem.h"

#include <cstring>

#include "Commands.h"
#include "vesta/CountedReceiver.h"

namespace katag {

namespace {

// The absolute address the provider needs for the forms the product also takes: \\.\process\path
// stands for this computer, \path and path live in the process "System" here.
std::string AbsoluteURL(const std::string& url) {
    if (url.compare(0, 2, "\\\\") == 0) {
        return url;
    }
    return std::string("\\\\.\\System") + (url.compare(0, 1, "\\") == 0 ? "" : "\\") + url;
}

}  // namespace

// Hears the one item's status and attributes; values are the product's business here.
class ProviderItem::Receiver final : public vesta::CountedReceiver {
  public:
    HRESULT OnDataChange(long, std::uint32_t, const VarData*, std::uint32_t, FILETIME) override {
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS*) override {
        {
            std::lock_guard<std::mutex> lock(mutex);
            attributes = true;
        }
        changed.notify_all();
        return S_OK;
    }
    HRESULT OnStatusChange(long, IASTATUS s, HRESULT, std::uint32_t) override {
        std::lock_guard<std::mutex> lock(mutex);
        status = s;
        return S_OK;
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool attributes = false;
    IASTATUS status = IASTATUS_INACTIVE;

  private:
    ~Receiver() override = default;
};

ProviderItem::ProviderItem(const std::string& url) : receiver_(new Receiver) {
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        return;
    }
    if (NewVestaRealTime(session, receiver_, &realTime_) != S_OK) {
        realTime_ = nullptr;
    }
    session->Release();
    if (realTime_ == nullptr) {
        return;
    }
    ITEMSTATE state{};
    state.mask = 0x1;
    state.accessFlags = 0x01;
    const ka::kor::String wide = Wide(AbsoluteURL(url));
    if (realTime_->AddItem(wide.c_str(), &item_, &state, 1) != S_OK) {
        item_ = nullptr;
    }
}

ProviderItem::~ProviderItem() {
    // The item first: once its Release returns no notification reaches the receiver.
    if (item_ != nullptr) {
        item_->Release();
    }
    if (realTime_ != nullptr) {
        realTime_->Release();
    }
    receiver_->Release();
}

bool ProviderItem::waitForDetails(std::chrono::steady_clock::time_point until) {
    std::unique_lock<std::mutex> lock(receiver_->mutex);
    return item_ != nullptr &&
           receiver_->changed.wait_until(lock, until, [this] { return receiver_->attributes; });
}

ITEMDETAILS ProviderItem::details() {
    ITEMDETAILS d;
    std::memset(&d, 0, sizeof d);
    if (item_ != nullptr && item_->GetDetails(&d) != S_OK) {
        std::memset(&d, 0, sizeof d);
    }
    return d;
}

IASTATUS ProviderItem::status() {
    std::lock_guard<std::mutex> lock(receiver_->mutex);
    return receiver_->status;
}

std::string AccessText(std::uint32_t rights) {
    const bool read = (rights & VESTA_ACCESS_READ) == VESTA_ACCESS_READ;
    const bool write = (rights & VESTA_ACCESS_WRITE) == VESTA_ACCESS_WRITE;
    return read && write ? "read, write" : read ? "read" : write ? "write" : "none";
}

}  // namespace katag
