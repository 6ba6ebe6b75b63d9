#include "qbrealt/embedded/EmbeddedProvider.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "ka/kor/exception.h"
#include "qbrealt/ConvertToType.h"
#include "qbrealt/ItemURL.h"
#include "qbrealt/Subscription.h"
#include "qbrealt/embedded/EmbeddedHost.h"
#include "qbrealt/embedded/EmbeddedItem.h"

namespace vesta {

using ka::kor::VestaURL;

std::shared_ptr<EmbeddedProvider> EmbeddedProvider::Instance() {
    static std::mutex mutex;
    static std::weak_ptr<EmbeddedProvider> current;
    std::lock_guard<std::mutex> lock(mutex);
    std::shared_ptr<EmbeddedProvider> p = current.lock();
    if (!p) {
        p.reset(new EmbeddedProvider);
        current = p;
    }
    return p;
}

EmbeddedProvider::~EmbeddedProvider() = default;

void EmbeddedProvider::subscribe(const std::shared_ptr<Subscription>& subscription) {
    std::lock_guard<std::mutex> lock(mutex_);
    TopicMap::iterator it = topicLocked(subscription->url());
    Topic& topic = it->second;
    try {
        topic.subscribers.push_back(subscription.get());
    } catch (...) {
        dropIfUnusedLocked(it);
        throw;
    }
    if (topic.item != nullptr) {
        topic.item->activateLocked(*subscription);
    } else {
        const bool host = hostPresentLocked(ProcessOf(subscription->url()));
        subscription->postData(VESTA_MASK_QUALITY | VESTA_MASK_TIME, nullptr,
                               host ? VESTA_QUALITY_NONEXISTENT : VESTA_QUALITY_PROCESS_FAILURE,
                               CurrentFileTime());
    }
}

void EmbeddedProvider::unsubscribe(Subscription& subscription) noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    const TopicMap::iterator it = topics_.find(subscription.url());
    if (it == topics_.end()) {
        return;
    }
    std::vector<Subscription*>& subs = it->second.subscribers;
    const auto found = std::find(subs.begin(), subs.end(), &subscription);
    if (found != subs.end()) {
        *found = subs.back();
        subs.pop_back();
    }
    dropIfUnusedLocked(it);
}

HRESULT EmbeddedProvider::write(Subscription& subscription, const VarData& value) {
    std::shared_ptr<EmbeddedItem> item;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const TopicMap::iterator it = topics_.find(subscription.url());
        if (it == topics_.end() || it->second.item == nullptr) {
            return VESTA_E_NOTCONNECTED;
        }
        item = it->second.item->shared_from_this();
        if ((item->rights_ & VESTA_ACCESS_WRITE) != VESTA_ACCESS_WRITE) {
            return VESTA_E_ACCESSDENIED;
        }
    }
    ka::kor::FlexData converted;
    if (!ConvertToType(value.packet(), item->type_, converted)) {
        return VESTA_E_TYPEMISMATCH;
    }
    std::shared_ptr<const ItemHost::WriteHandler> handler;
    std::shared_ptr<EmbeddedHost> host;  // may be closed from inside its handler
    const std::thread::id self = std::this_thread::get_id();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!item->published_) {
            return VESTA_E_NOTCONNECTED;  // gone while the value was converted
        }
        host = item->host_->shared_from_this();  // a published item always has its host
        handler = host->handler_;
        if (handler) {
            host->deciding_.push_back(self);  // keeps the host from closing under the call
        }
    }
    if (handler) {
        bool accepted = false;
        try {
            accepted = (*handler)(item->pathText_, converted);
        } catch (...) {
            accepted = false;  // a handler that fails has not accepted anything
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            host->deciding_.erase(std::find(host->deciding_.begin(), host->deciding_.end(), self));
            host->decided_.notify_all();
        }
        if (!accepted) {
            return VESTA_E_REJECTED;
        }
    }
    try {
        item->update(converted, VESTA_QUALITY_GOOD, CurrentFileTime());
    } catch (const ka::kor::exception::NotFound&) {
        return VESTA_E_NOTCONNECTED;  // removed while its host was deciding
    }
    return S_OK;
}

std::shared_ptr<HostBackend> EmbeddedProvider::registerHost(const VestaURL& process) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (hostPresentLocked(process)) {
        throw ka::kor::exception::ObjectAlreadyExists(__LINE__, "vesta/EmbeddedProvider");
    }
    auto host = std::make_shared<EmbeddedHost>(shared_from_this(), process);
    hosts_.emplace(process, host.get());
    announceMissingLocked(process, VESTA_QUALITY_NONEXISTENT);
    return host;
}

EmbeddedProvider::TopicMap::iterator EmbeddedProvider::topicLocked(const VestaURL& url) {
    TopicMap::iterator it = topics_.lower_bound(url);
    if (it == topics_.end() || it->first != url) {
        it = topics_.emplace_hint(it, url, Topic());
    }
    return it;
}

void EmbeddedProvider::dropIfUnusedLocked(TopicMap::iterator it) {
    if (it->second.subscribers.empty() && it->second.item == nullptr) {
        topics_.erase(it);
    }
}

void EmbeddedProvider::publishLocked(EmbeddedItem& item) {
    Topic& topic = topicLocked(item.url_)->second;
    topic.item = &item;
    item.published_ = true;
    for (Subscription* s : topic.subscribers) {
        item.activateLocked(*s);
    }
}

void EmbeddedProvider::unpublishLocked(EmbeddedItem& item, std::uint32_t quality) {
    item.published_ = false;
    const TopicMap::iterator it = topics_.find(item.url_);
    if (it == topics_.end()) {
        return;
    }
    it->second.item = nullptr;
    const FILETIME now = CurrentFileTime();
    for (Subscription* s : it->second.subscribers) {
        if (s->status() == IASTATUS_ACTIVE) {
            s->postStatus(IASTATUS_REMOVED, VESTA_E_NOTCONNECTED);
        }
        s->postData(VESTA_MASK_QUALITY | VESTA_MASK_TIME, nullptr, quality, now);
    }
    dropIfUnusedLocked(it);
}

void EmbeddedProvider::announceMissingLocked(const VestaURL& process, std::uint32_t quality) {
    const FILETIME now = CurrentFileTime();
    for (TopicMap::iterator it = topics_.lower_bound(process);
         it != topics_.end() && IsBelowProcess(it->first, process); ++it) {
        if (it->second.item == nullptr) {
            for (Subscription* s : it->second.subscribers) {
                s->postData(VESTA_MASK_QUALITY | VESTA_MASK_TIME, nullptr, quality, now);
            }
        }
    }
}

bool EmbeddedProvider::hostPresentLocked(const VestaURL& process) const {
    return hosts_.find(process) != hosts_.end();
}

}  // namespace vesta
