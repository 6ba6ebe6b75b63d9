#include "qbrealt/Subscription.h"

#include <cstring>
#include <new>
#include <utility>

#include "qbrealt/InterfaceIds.h"
#include "qbrealt/Provider.h"

namespace vesta {

namespace {

// What OnDataChange points at when a change carries no value, so that a receiver reading it
// anyway finds an empty value rather than a null pointer.
const VarData kNoValue;

}  // namespace

std::shared_ptr<Subscription> Subscription::Create(std::shared_ptr<Provider> provider,
                                                   std::shared_ptr<ReceiverRef> receiver,
                                                   ka::kor::VestaURL url, long clientHandle) {
    std::shared_ptr<Subscription> s(
        new Subscription(std::move(provider), std::move(receiver), std::move(url), clientHandle));
    s->self_ = s;
    return s;
}

Subscription::Subscription(std::shared_ptr<Provider> provider,
                           std::shared_ptr<ReceiverRef> receiver, ka::kor::VestaURL url,
                           long clientHandle)
    : provider_(std::move(provider)),
      receiver_(std::move(receiver)),
      url_(std::move(url)),
      clientHandle_(clientHandle) {}

Subscription::~Subscription() = default;

HRESULT Subscription::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    if (SameIID(iid, IID_IUnknown) || SameIID(iid, IID_IVESTAREALTIMEITEM)) {
        *out = static_cast<IVestaRealTimeItem*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t Subscription::AddRef() {
    return refs_.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::uint32_t Subscription::Release() {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
        close();
        // The dispatcher may still hold the object (queued or delivering); whoever lets go last
        // destroys it. Nothing of this object may be touched after `last` goes.
        std::shared_ptr<Subscription> last = std::move(self_);
    }
    return left;
}

HRESULT Subscription::Write(const VarData* value) {
    if (value == nullptr) {
        return E_POINTER;
    }
    try {
        return provider_->write(*this, *value);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT Subscription::GetDetails(ITEMDETAILS* details) {
    if (details == nullptr) {
        return E_POINTER;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (details_) {
        *details = *details_;
    } else {
        std::memset(details, 0, sizeof(*details));
    }
    return S_OK;
}

HRESULT Subscription::GetState(std::uint32_t* mask, VarData* value, std::uint32_t* quality,
                               FILETIME* time) {
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        if (value != nullptr) {
            if ((mask_ & VESTA_MASK_VALUE) != 0 && value_) {
                *value = *value_;  // reuses the caller's packet block when it is large enough
            } else {
                *value = VarData();
            }
        }
        if (mask != nullptr) {
            *mask = mask_;
        }
        if (quality != nullptr) {
            *quality = quality_;
        }
        if (time != nullptr) {
            *time = time_;
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

void Subscription::postStatus(IASTATUS status, HRESULT result) {
    Change c{Kind::Status, status, result, 0, 0, FILETIME{0}, nullptr, nullptr};
    bool schedule;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            return;
        }
        schedule = enqueueLocked(std::move(c));
        status_ = status;
    }
    scheduleIfNeeded(schedule);
}

void Subscription::postDetails(std::shared_ptr<const ITEMDETAILS> details) {
    Change c{Kind::Details, IASTATUS_INACTIVE, S_OK, 0, 0, FILETIME{0}, nullptr, details};
    bool schedule;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            return;
        }
        schedule = enqueueLocked(std::move(c));
        details_ = std::move(details);
    }
    scheduleIfNeeded(schedule);
}

void Subscription::postData(std::uint32_t mask, std::shared_ptr<const VarData> value,
                            std::uint32_t quality, FILETIME time) {
    mask &= VESTA_MASK_VALUE | VESTA_MASK_QUALITY | VESTA_MASK_TIME;
    if ((mask & VESTA_MASK_VALUE) == 0) {
        value.reset();
    }
    bool schedule = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            return;
        }
        if (head_ < queue_.size() && queue_.back().kind == Kind::Data) {
            // The newest change of the same kind absorbs this one: order is kept, since nothing
            // else stands behind it, and a slow receiver gets the newest of each part.
            Change& last = queue_.back();
            last.mask |= mask;
            if ((mask & VESTA_MASK_VALUE) != 0) {
                last.value = value;
            }
            if ((mask & VESTA_MASK_QUALITY) != 0) {
                last.quality = quality;
            }
            if ((mask & VESTA_MASK_TIME) != 0) {
                last.time = time;
            }
        } else {
            schedule = enqueueLocked(
                Change{Kind::Data, IASTATUS_INACTIVE, S_OK, mask, quality, time, value, nullptr});
        }
        mask_ |= mask;
        if ((mask & VESTA_MASK_VALUE) != 0) {
            value_ = std::move(value);
        }
        if ((mask & VESTA_MASK_QUALITY) != 0) {
            quality_ = quality;
        }
        if ((mask & VESTA_MASK_TIME) != 0) {
            time_ = time;
        }
    }
    scheduleIfNeeded(schedule);
}

IASTATUS Subscription::status() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return status_;
}

bool Subscription::enqueueLocked(Change&& change) {
    queue_.push_back(std::move(change));
    if (scheduled_) {
        return false;
    }
    scheduled_ = true;
    return true;
}

void Subscription::scheduleIfNeeded(bool needed) {
    if (needed) {
        provider_->dispatcher().schedule(shared_from_this());
    }
}

bool Subscription::deliverOne() noexcept {
    Change c;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_ || head_ == queue_.size()) {
            scheduled_ = false;
            return false;
        }
        c = std::move(queue_[head_++]);
        if (head_ == queue_.size()) {
            queue_.clear();
            head_ = 0;
        }
        delivering_ = true;
    }
    IVestaRealTimeReceiver* receiver = receiver_->get();
    try {
        switch (c.kind) {
            case Kind::Status:
                receiver->OnStatusChange(clientHandle_, c.status, c.result, 0);
                break;
            case Kind::Details:
                receiver->OnAttributeChange(clientHandle_, c.details.get());
                break;
            case Kind::Data:
                receiver->OnDataChange(clientHandle_, c.mask, c.value ? c.value.get() : &kNoValue,
                                       c.quality, c.time);
                break;
        }
    } catch (...) {
        // A receiver must not throw; if one does, the thread carries on with the next change.
    }
    std::lock_guard<std::mutex> lock(mutex_);
    delivering_ = false;
    idle_.notify_all();
    const bool more = !closed_ && head_ < queue_.size();
    if (!more) {
        scheduled_ = false;
    }
    return more;
}

void Subscription::close() noexcept {
    provider_->unsubscribe(*this);
    std::unique_lock<std::mutex> lock(mutex_);
    closed_ = true;
    queue_.clear();
    head_ = 0;
    // On the dispatcher thread the running delivery, if any, is the caller's own: waiting for it
    // would never end, and it cannot be followed by another.
    if (!provider_->dispatcher().onDispatcherThread()) {
        idle_.wait(lock, [this] { return !delivering_; });
    }
}

}  // namespace vesta
