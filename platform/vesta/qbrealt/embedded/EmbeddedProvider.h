// The embedded provider: items hosted in this process, subscribed to by clients of this process,
// with no network and no set-up. One instance serves the whole process (every embedded session
// shares it) and lives while any session, connection, subscription or host refers to it.
//
// One lock guards the whole registry (hosts, items, which subscriptions wait on which address).
// Changes are posted to subscriptions under it, which fixes their order per item; they are
// delivered later by the dispatcher, never under it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ka/kor/VestaURL.h"
#include "qbrealt/Provider.h"

namespace vesta {

class EmbeddedHost;
class EmbeddedItem;

class EmbeddedProvider final : public Provider,
                               public std::enable_shared_from_this<EmbeddedProvider> {
  public:
    // The process's instance, created on first use.
    static std::shared_ptr<EmbeddedProvider> Instance();
    ~EmbeddedProvider() override;

    void subscribe(const std::shared_ptr<Subscription>& subscription) override;
    void unsubscribe(Subscription& subscription) noexcept override;
    // Asks the item's host synchronously, on the caller's thread and outside the registry lock:
    // the result is final when this returns (VESTA_E_REJECTED when the host refused).
    HRESULT write(Subscription& subscription, const VarData& value) override;
    std::shared_ptr<HostBackend> registerHost(const ka::kor::VestaURL& process) override;

  private:
    friend class EmbeddedHost;
    friend class EmbeddedItem;

    // Everything about one item address: who waits on it and which item, if any, answers.
    struct Topic {
        std::vector<Subscription*> subscribers;
        EmbeddedItem* item = nullptr;
    };
    typedef std::map<ka::kor::VestaURL, Topic> TopicMap;

    EmbeddedProvider() = default;

    // The rest runs under mutex_.
    TopicMap::iterator topicLocked(const ka::kor::VestaURL& url);
    void dropIfUnusedLocked(TopicMap::iterator it);
    // Makes the item answer its address: its subscribers see it come alive.
    void publishLocked(EmbeddedItem& item);
    // The item no longer answers; its subscribers see IASTATUS_REMOVED and `quality`.
    void unpublishLocked(EmbeddedItem& item, std::uint32_t quality);
    // Tells the subscribers of addresses below `process` that no item answers what quality
    // that has now (host there: nonexistent; host gone: process failure).
    void announceMissingLocked(const ka::kor::VestaURL& process, std::uint32_t quality);
    bool hostPresentLocked(const ka::kor::VestaURL& process) const;

    std::mutex mutex_;
    TopicMap topics_;
    std::map<ka::kor::VestaURL, EmbeddedHost*> hosts_;  // registered hosts by process address
};

}  // namespace vesta
