#include "ka/tagger/gx/Client.h"

#include <cstdint>
#include <exception>
#include <memory>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/ThrowIfGXError.h"
#include "ka/tagger/gx/Initializer.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

constexpr std::int32_t kRegisterCleanup = 2;
constexpr std::int32_t kRemoveCleanup = 0;

// The host carries the refnum as the clean-up procedure's data value.
void* RefnumToData(std::uint32_t refnum) noexcept {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(refnum));
}

std::uint32_t DataToRefnum(void* data) noexcept {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(data));
}

}  // namespace

Client::Client()
    : VestaManager(true, false, false, false),
      realTime_(nullptr),
      session_(GetVestaSession()),
      receiver_(nullptr),
      items_(nullptr),
      lock_(nullptr) {
    try {
        receiver_ = new Receiver();
        items_ = new kor::RefnumMap<Item*>();
        lock_ = new kor::osdep::CriticalSection();
        const HRESULT result = NewVestaRealTime(session_, receiver_, &realTime_);
        if (result < 0) {
            realTime_ = nullptr;
            throw kor::exception::COMError(__LINE__, "ka/tagger/gx/Client",
                                           static_cast<std::uint32_t>(result));
        }
    } catch (...) {
        delete lock_;
        delete items_;
        if (receiver_ != nullptr) {
            receiver_->Release();
        }
        if (session_ != nullptr) {
            session_->Release();
        }
        throw;  // the VestaManager base then ends the socket layer
    }
}

Client::~Client() {
    lock_->enter();
    for (Item* item : *items_) {
        delete item;
    }
    {
        kor::RefnumMap<Item*> emptied;
        items_->swap(emptied);
    }
    realTime_->Release();
    if (session_ != nullptr) {
        session_->Release();
    }
    // The connection held its own reference to the receiver; this is the one it was created with.
    receiver_->Release();
    lock_->leave();
    delete items_;
    delete lock_;
}

std::uint32_t Client::connect(const kor::VestaURL& url, ITEMSTATE& state,
                              kor::SmartPtr<Item::Callback> callback, bool unsubscribeOnIdle) {
    std::unique_ptr<Item> item(new Item(realTime_, url, state, callback));
    std::uint32_t refnum;
    {
        kor::osdep::CriticalSection::Guard guard(*lock_);
        refnum = items_->insert(item.get());
    }
    Item* const inserted = item.release();
    if (unsubscribeOnIdle) {
        const MgErr status =
            RTSetCleanupProc(&Client::UnsubscribeOnIdle, RefnumToData(refnum), kRegisterCleanup);
        if (status != 0) {
            // An item the host would never clean up must not outlive the failed call.
            {
                kor::osdep::CriticalSection::Guard guard(*lock_);
                items_->remove(refnum);
            }
            delete inserted;
            kor::gx::ThrowIfGXError(status);
        }
    }
    return refnum;
}

Item* Client::lookup(std::uint32_t refnum) {
    kor::osdep::CriticalSection::Guard guard(*lock_);
    return items_->lookup(refnum);
}

void Client::disconnect(std::uint32_t refnum) {
    // Items of the front-panel binding have no clean-up registered; the host ignores the request
    // then.
    RTSetCleanupProc(&Client::UnsubscribeOnIdle, RefnumToData(refnum), kRemoveCleanup);
    Item* item;
    {
        kor::osdep::CriticalSection::Guard guard(*lock_);
        item = items_->remove(refnum);
    }
    delete item;
}

MgErr Client::UnsubscribeOnIdle(void* data) {
    try {
        Initializer::getGlobalClient()->disconnect(DataToRefnum(data));
    } catch (const kor::exception::Exception& e) {
        return static_cast<MgErr>(kor::GetGraphixErrorCode(e));
    } catch (const std::exception& e) {
        return static_cast<MgErr>(kor::GetGraphixErrorCode(e));
    }
    return 0;
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
