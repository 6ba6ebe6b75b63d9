// One client subscription (the item interface AddItem hands out): the item's current state, read
// locally, and the queue of changes still to be delivered to the client's receiver. Backends post
// changes here; the dispatcher delivers them in order. Consecutive data changes merge, newest
// fields winning, so a slow receiver holds at most one pending data change between any two status
// or attribute changes, and those are never dropped.
//
// Release of the last reference closes the subscription: nothing is posted or delivered after it
// returns, and it waits for a delivery running on the dispatcher thread, except when called on
// that thread, where no other delivery can be running.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "ka/kor/VestaURL.h"
#include "vesta/VestaRealTime.h"

namespace vesta {

class Provider;

// The client's receiver, held while any of its connection's subscriptions lives.
class ReceiverRef {
  public:
    // Takes over one reference.
    explicit ReceiverRef(IVestaRealTimeReceiver* receiver) noexcept : receiver_(receiver) {}
    ~ReceiverRef() { receiver_->Release(); }
    ReceiverRef(const ReceiverRef&) = delete;
    ReceiverRef& operator=(const ReceiverRef&) = delete;
    IVestaRealTimeReceiver* get() const noexcept { return receiver_; }

  private:
    IVestaRealTimeReceiver* receiver_;
};

class Subscription final : public IVestaRealTimeItem,
                           public std::enable_shared_from_this<Subscription> {
  public:
    // A new subscription with one client reference, its state "no known value" and nothing
    // queued.
    static std::shared_ptr<Subscription> Create(std::shared_ptr<Provider> provider,
                                                std::shared_ptr<ReceiverRef> receiver,
                                                ka::kor::VestaURL url, long clientHandle);
    ~Subscription();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    HRESULT Write(const VarData* value) override;
    HRESULT GetDetails(ITEMDETAILS* details) override;
    HRESULT GetState(std::uint32_t* mask, VarData* value, std::uint32_t* quality,
                     FILETIME* time) override;

    // The item's canonical address.
    const ka::kor::VestaURL& url() const noexcept { return url_; }

    // Backend side: each updates the current state and queues the change; all do nothing once
    // the subscription is closed. std::bad_alloc may escape (nothing is queued then).
    void postStatus(IASTATUS status, HRESULT result);
    void postDetails(std::shared_ptr<const ITEMDETAILS> details);
    // `value` is used when mask has VESTA_MASK_VALUE, and may be null otherwise.
    void postData(std::uint32_t mask, std::shared_ptr<const VarData> value, std::uint32_t quality,
                  FILETIME time);
    // The last status posted (IASTATUS_INACTIVE before any).
    IASTATUS status() const;

    // Dispatcher side: delivers the oldest queued change, if any and not closed. True when more
    // are waiting (the subscription then stays marked as scheduled). Never throws.
    bool deliverOne() noexcept;

  private:
    enum class Kind : std::uint8_t { Status, Details, Data };
    struct Change {
        Kind kind;
        IASTATUS status;
        HRESULT result;
        std::uint32_t mask;
        std::uint32_t quality;
        FILETIME time;
        std::shared_ptr<const VarData> value;
        std::shared_ptr<const ITEMDETAILS> details;
    };

    Subscription(std::shared_ptr<Provider> provider, std::shared_ptr<ReceiverRef> receiver,
                 ka::kor::VestaURL url, long clientHandle);
    // Queues under the lock; the caller schedules when this returns true.
    bool enqueueLocked(Change&& change);
    void scheduleIfNeeded(bool needed);
    void close() noexcept;

    const std::shared_ptr<Provider> provider_;
    const std::shared_ptr<ReceiverRef> receiver_;
    const ka::kor::VestaURL url_;
    const long clientHandle_;
    std::atomic<std::uint32_t> refs_{1};
    // Keeps this object alive while the client holds references; dropped by the last Release.
    std::shared_ptr<Subscription> self_;

    mutable std::mutex mutex_;
    std::condition_variable idle_;  // a delivery ended while someone waits in close()
    bool closed_ = false;
    bool scheduled_ = false;
    bool delivering_ = false;
    std::vector<Change> queue_;
    std::size_t head_ = 0;  // queue_[head_] is the oldest waiting change

    // Current state.
    IASTATUS status_ = IASTATUS_INACTIVE;
    std::uint32_t mask_ = VESTA_MASK_QUALITY;
    std::uint32_t quality_ = VESTA_QUALITY_NO_VALUE;
    FILETIME time_{0};
    std::shared_ptr<const VarData> value_;
    std::shared_ptr<const ITEMDETAILS> details_;
};

}  // namespace vesta
