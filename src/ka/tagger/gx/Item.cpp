#include "ka/tagger/gx/Item.h"

#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/tagger/gx/FileTimeToAbsTime.h"
#include "ka/tagger/gx/VestaQualityException.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

constexpr std::uint32_t kNonexistent = 0x20;

}  // namespace

void Item::Callback::onDataChange(const VarData&) {}
void Item::Callback::onQualityChange(std::uint32_t) {}
void Item::Callback::onStatusChange(IASTATUS, HRESULT) {}
void Item::Callback::onAttributeChange(const ITEMDETAILS&) {}
Item::Callback::~Callback() = default;

kor::VestaURL Item::FullURL(const kor::VestaURL& url) {
    using kor::RenderType;
    using kor::VestaURL;
    switch (url.type()) {
        case RenderType::Absolute:
            return url;
        case RenderType::LocalMachine: {
            const VestaURL::Component machine(0, kor::osdep::GetCachedHostName());
            VestaURL full(&machine, &machine + 1, RenderType::Absolute);
            full.extend(url, L'\\');
            return full;
        }
        case RenderType::ProcessRelative:
        case RenderType::Relative: {
            const VestaURL::Component prefix[] = {
                VestaURL::Component(0, kor::osdep::GetCachedHostName()),
                VestaURL::Component(L'\\', kor::String(item::kLocalProcess)),
            };
            VestaURL full(prefix, prefix + 2, RenderType::Absolute);
            full.extend(url, L'\\');
            return full;
        }
    }
    return VestaURL();
}

Item::Item(IVestaRealTime* realTime, const kor::VestaURL& url, ITEMSTATE& state,
           const kor::SmartPtr<Callback>& callback)
    : itemInterface_(nullptr), callback_(callback), receivedAttributeChange_(false) {
    const kor::VestaURL full = FullURL(url);
    if (full.size() < 3) {
        throw kor::exception::InvalidArgument(item::kTooFewComponentsLine, item::kSourceFile);
    }
    const kor::String text = full.str();
    const HRESULT result =
        realTime->AddItem(text.c_str(), &itemInterface_, &state, reinterpret_cast<long>(this));
    if (result < 0) {
        itemInterface_ = nullptr;
        throw kor::exception::COMError(item::kAddItemFailedLine, item::kSourceFile,
                                       static_cast<std::uint32_t>(result));
    }
}

Item::~Item() {
    if (itemInterface_ != nullptr) {
        itemInterface_->Release();
    }
}

void Item::onDataChange(const VarData& value) {
    if (callback_) {
        callback_->onDataChange(value);
    }
}

void Item::onQualityChange(std::uint32_t quality) {
    if (callback_) {
        callback_->onQualityChange(quality);
    }
}

void Item::onStatusChange(IASTATUS status, HRESULT result) {
    if (callback_) {
        callback_->onStatusChange(status, result);
    }
}

void Item::onAttributeChange(const ITEMDETAILS& details) {
    if (callback_) {
        callback_->onAttributeChange(details);
    }
    receivedAttributeChange_.store(true, std::memory_order_release);
}

std::uint32_t Item::quality() const {
    std::uint32_t mask = 0;
    std::uint32_t quality = 0;
    FILETIME time = {0};
    VarData value;
    if (itemInterface_->GetState(&mask, &value, &quality, &time) < 0) {
        return kNonexistent;
    }
    return (mask & VESTA_MASK_QUALITY) != 0 ? quality : 0;
}

VarData Item::read(std::uint32_t& quality, kor::AbsTime& time) const {
    VarData value;
    std::uint32_t mask = 0;
    std::uint32_t stateQuality = 0;
    FILETIME stateTime = {0};
    if (itemInterface_->GetState(&mask, &value, &stateQuality, &stateTime) < 0) {
        throw VestaQualityException(item::kStateQueryFailedLine, item::kSourceFile, kNonexistent);
    }
    quality = (mask & VESTA_MASK_QUALITY) != 0 ? stateQuality : 0;
    time = (mask & VESTA_MASK_TIME) != 0 ? FileTimeToAbsTime(stateTime) : kor::AbsTime::min;
    return value;
}

void Item::write(const VarData& value) {
    const HRESULT result = itemInterface_->Write(&value);
    if (result < 0) {
        throw kor::exception::COMError(item::kWriteFailedLine, item::kSourceFile,
                                       static_cast<std::uint32_t>(result));
    }
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
