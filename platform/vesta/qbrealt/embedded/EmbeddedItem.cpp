#include "qbrealt/embedded/EmbeddedItem.h"

#include <utility>

#include "ka/kor/exception.h"
#include "qbrealt/ConvertToType.h"
#include "qbrealt/MakeItemDetails.h"
#include "qbrealt/Subscription.h"
#include "qbrealt/embedded/EmbeddedHost.h"
#include "qbrealt/embedded/EmbeddedProvider.h"

namespace vesta {

namespace ex = ka::kor::exception;
using ka::kor::FlexData;

namespace {

const char kFile[] = "vesta/EmbeddedItem";

std::shared_ptr<const VarData> Snapshot(const FlexData& value) {
    auto v = std::make_shared<VarData>(value);
    v->convertToNativeType();
    return v;
}

bool SameDescription(const FlexData& a, const FlexData& b) {
    const ka::kor::BufferWrapper ma = a.getMetaDataBuffer();
    const ka::kor::BufferWrapper mb = b.getMetaDataBuffer();
    return ma == mb;
}

}  // namespace

EmbeddedItem::EmbeddedItem(std::shared_ptr<EmbeddedProvider> provider, EmbeddedHost* host,
                           ka::kor::VestaURL url, std::wstring pathText, const FlexData& first,
                           std::uint32_t accessRights, const std::wstring& description)
    : provider_(std::move(provider)),
      url_(std::move(url)),
      pathText_(std::move(pathText)),
      type_(first),
      rights_(accessRights),
      details_(MakeItemDetails(first.getType(), accessRights, description)),
      host_(host),
      value_(Snapshot(first)),
      quality_(VESTA_QUALITY_GOOD),
      time_(CurrentFileTime()) {}

EmbeddedItem::~EmbeddedItem() = default;

FlexData EmbeddedItem::value() const {
    std::shared_ptr<const VarData> v;
    {
        std::lock_guard<std::mutex> lock(provider_->mutex_);
        v = value_;
    }
    return v->packet();
}

std::uint32_t EmbeddedItem::quality() const {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    return quality_;
}

FILETIME EmbeddedItem::time() const {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    return time_;
}

FlexData EmbeddedItem::converted(const FlexData& value) const {
    // A value of exactly the item's description needs no work: the usual case of a host
    // updating its own item.
    if (value.getType() == type_.getType() && SameDescription(value, type_)) {
        return value;
    }
    FlexData out;
    if (!ConvertToType(value, type_, out)) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    return out;
}

void EmbeddedItem::update(const FlexData& value, std::uint32_t quality, FILETIME time) {
    const std::shared_ptr<const VarData> snapshot = Snapshot(converted(value));
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    if (host_ == nullptr) {
        throw ex::NotFound(__LINE__, kFile);
    }
    value_ = snapshot;
    quality_ = quality;
    time_ = time;
    if (published_) {
        for (Subscription* s : provider_->topics_.find(url_)->second.subscribers) {
            s->postData(VESTA_MASK_VALUE | VESTA_MASK_QUALITY | VESTA_MASK_TIME, snapshot, quality,
                        time);
        }
    }
}

void EmbeddedItem::setQuality(std::uint32_t quality, FILETIME time) {
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    if (host_ == nullptr) {
        throw ex::NotFound(__LINE__, kFile);
    }
    quality_ = quality;
    time_ = time;
    if (published_) {
        for (Subscription* s : provider_->topics_.find(url_)->second.subscribers) {
            s->postData(VESTA_MASK_QUALITY | VESTA_MASK_TIME, nullptr, quality, time);
        }
    }
}

void EmbeddedItem::remove() {
    // The host's map may hold the last other reference; this one keeps the item alive until
    // the lock is released.
    const std::shared_ptr<EmbeddedItem> self = shared_from_this();
    std::shared_ptr<EmbeddedItem> dropped;
    std::lock_guard<std::mutex> lock(provider_->mutex_);
    if (host_ == nullptr) {
        return;
    }
    if (published_) {
        provider_->unpublishLocked(*this, VESTA_QUALITY_NONEXISTENT);
    }
    const auto it = host_->items_.find(url_);
    if (it != host_->items_.end()) {
        dropped.swap(it->second);
        host_->items_.erase(it);
    }
    host_ = nullptr;
}

void EmbeddedItem::activateLocked(Subscription& s) const {
    s.postStatus(IASTATUS_ACTIVE, S_OK);
    s.postDetails(details_);
    s.postData(VESTA_MASK_VALUE | VESTA_MASK_QUALITY | VESTA_MASK_TIME, value_, quality_, time_);
}

}  // namespace vesta
