#include "qbrealt/embedded/EmbeddedHost.h"

#include <algorithm>
#include <utility>

#include "ka/kor/exception.h"
#include "qbrealt/ItemURL.h"
#include "qbrealt/embedded/EmbeddedItem.h"
#include "qbrealt/embedded/EmbeddedProvider.h"

namespace vesta {

namespace ex = ka::kor::exception;

namespace {
const char kFile[] = "vesta/EmbeddedHost";
}  // namespace

EmbeddedHost::EmbeddedHost(std::shared_ptr<EmbeddedProvider> provider, ka::kor::VestaURL process)
    : provider_(std::move(provider)), process_(std::move(process)) {}

// Takes no lock: the owner closes the host first (ItemHost's destructor does), and a host that
// never got registered has nothing to undo.
EmbeddedHost::~EmbeddedHost() = default;

std::shared_ptr<HostItemBackend> EmbeddedHost::createItem(const ka::kor::VestaURL& path,
                                                          const std::wstring& pathText,
                                                          const ka::kor::FlexData& value,
                                                          std::uint32_t accessRights,
                                                          const std::wstring& description) {
    if (value.getType() == ka::kor::fd::FlexType::Empty) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    auto item = std::make_shared<EmbeddedItem>(provider_, this, path, pathText, value, accessRights,
                                               description);
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    if (closed_) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    if (!items_.emplace(path, item).second) {
        throw ex::ObjectAlreadyExists(__LINE__, kFile);
    }
    if (registered_) {
        provider_->publishLocked(*item);
    }
    return item;
}

std::shared_ptr<HostItemBackend> EmbeddedHost::findItem(const ka::kor::VestaURL& path) const {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    const auto it = items_.find(path);
    return it == items_.end() ? nullptr : it->second;
}

void EmbeddedHost::setWriteHandler(ItemHost::WriteHandler handler) {
    std::shared_ptr<const ItemHost::WriteHandler> h;
    if (handler) {
        h = std::make_shared<const ItemHost::WriteHandler>(std::move(handler));
    }
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    handler_.swap(h);
    // The old handler goes when `h` does, outside the lock: a write running it keeps its copy.
}

void EmbeddedHost::unregister() {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    unregisterLocked();
}

void EmbeddedHost::unregisterLocked() {
    if (!registered_) {
        return;
    }
    registered_ = false;
    provider_->hosts_.erase(process_);
    // Addresses without an item first: the items' own addresses join them only below, and
    // their subscribers hear of the failure once, from the item.
    provider_->announceMissingLocked(process_, VESTA_QUALITY_PROCESS_FAILURE);
    for (auto& entry : items_) {
        if (entry.second->published_) {
            provider_->unpublishLocked(*entry.second, VESTA_QUALITY_PROCESS_FAILURE);
        }
    }
}

void EmbeddedHost::reregister() {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    if (registered_ || closed_) {
        return;
    }
    if (provider_->hostPresentLocked(process_)) {
        throw ex::ObjectAlreadyExists(__LINE__, kFile);
    }
    provider_->hosts_.emplace(process_, this);
    registered_ = true;
    for (auto& entry : items_) {
        provider_->publishLocked(*entry.second);
    }
    provider_->announceMissingLocked(process_, VESTA_QUALITY_NONEXISTENT);
}

bool EmbeddedHost::registered() const {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    return registered_;
}

void EmbeddedHost::close() noexcept {
    std::map<ka::kor::VestaURL, std::shared_ptr<EmbeddedItem>> items;
    {
        std::unique_lock<std::mutex> lock(provider_->mutex_);
        try {
            unregisterLocked();
        } catch (...) {
            // Out of memory while telling subscribers: the host goes all the same; what they
            // were not told they learn from their next subscription.
            registered_ = false;
            provider_->hosts_.erase(process_);
        }
        for (auto& entry : items_) {
            entry.second->host_ = nullptr;
            entry.second->published_ = false;
        }
        closed_ = true;
        items.swap(items_);
        // A handler call on this very thread (the host closed from inside its own handler)
        // cannot be waited for; any other is.
        const std::thread::id self = std::this_thread::get_id();
        decided_.wait(lock, [&] {
            return std::all_of(deciding_.begin(), deciding_.end(),
                               [&](const std::thread::id& t) { return t == self; });
        });
    }
    // Items still held by the host's handles are dead now; the rest go here, outside the lock.
}

}  // namespace vesta
