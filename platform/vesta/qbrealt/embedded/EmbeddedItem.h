// One item of an embedded host. Its state is guarded by the provider's registry lock; its type
// (the first value's description) never changes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ka/kor/FlexData.h"
#include "ka/kor/VestaURL.h"
#include "qbrealt/Provider.h"

namespace vesta {

class EmbeddedHost;
class EmbeddedProvider;

class EmbeddedItem final : public HostItemBackend,
                           public std::enable_shared_from_this<EmbeddedItem> {
  public:
    // `first` must not be empty.
    EmbeddedItem(std::shared_ptr<EmbeddedProvider> provider, EmbeddedHost* host,
                 ka::kor::VestaURL url, std::wstring pathText, const ka::kor::FlexData& first,
                 std::uint32_t accessRights, const std::wstring& description);
    ~EmbeddedItem() override;

    std::wstring path() const override { return pathText_; }
    ka::kor::FlexData value() const override;
    std::uint32_t quality() const override;
    FILETIME time() const override;
    void update(const ka::kor::FlexData& value, std::uint32_t quality, FILETIME time) override;
    void setQuality(std::uint32_t quality, FILETIME time) override;
    void remove() override;

  private:
    friend class EmbeddedHost;
    friend class EmbeddedProvider;

    // Posts the item's whole state to a subscriber: active, attributes, value.
    void activateLocked(Subscription& s) const;
    // The value converted to the item's type; InvalidArgument when it cannot be.
    ka::kor::FlexData converted(const ka::kor::FlexData& value) const;

    const std::shared_ptr<EmbeddedProvider> provider_;
    const ka::kor::VestaURL url_;
    const std::wstring pathText_;
    const ka::kor::FlexData type_;  // the first value: its description is the item's type
    const std::uint32_t rights_;
    const std::shared_ptr<const ITEMDETAILS> details_;

    // Under the registry lock.
    EmbeddedHost* host_;  // null once removed or the host is gone
    bool published_ = false;
    std::shared_ptr<const VarData> value_;  // native form where one exists
    std::uint32_t quality_;
    FILETIME time_;
};

}  // namespace vesta
