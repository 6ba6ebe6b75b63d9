#include "qbrealt/mqtt/MqttHost.h"

#include <memory>
#include <utility>

#include <mosquitto.h>

#include "ka/kor/WideToUtf8.h"
#include "ka/kor/exception.h"
#include "qbrealt/ConvertToType.h"
#include "qbrealt/mqtt/MqttProvider.h"

namespace vesta {

namespace ex = ka::kor::exception;
using ka::kor::FlexData;

namespace {

const char kFile[] = "vesta/MqttHost";

// How long a host operation waits for the broker to take what it published, at most: enough
// for a broker nearby, short enough that an unreachable one never holds the host program up.
constexpr int kSettleMs = 1000;
// Updates in flight beyond which further ones wait, newest per item.
constexpr std::uint64_t kMaxInFlight = 64;

std::string Utf8(const std::wstring& s) {
    const std::unique_ptr<char[]> p(ka::kor::WideToUtf8(s.data(), s.data() + s.size()));
    return std::string(p.get());
}

bool SameDescription(const FlexData& a, const FlexData& b) {
    return a.getType() == b.getType() && a.getMetaDataBuffer() == b.getMetaDataBuffer();
}

}  // namespace

std::shared_ptr<MqttHost> MqttHost::Create(std::shared_ptr<MqttProvider> provider,
                                           const ka::kor::VestaURL& process) {
    const std::string topic = mqtt::HostTopic(process);
    if (!provider->claimProcess(topic)) {
        throw ex::ObjectAlreadyExists(__LINE__, kFile);
    }
    std::shared_ptr<MqttHost> host;
    try {
        host.reset(new MqttHost(provider, process));
        host->connection_->start();
    } catch (...) {
        provider->releaseProcess(topic);
        throw;
    }
    // An unreachable broker ends this wait at its first refusal.
    host->connection_->waitFirstOutcome(kSettleMs);
    host->settle();
    return host;
}

MqttHost::MqttHost(std::shared_ptr<MqttProvider> provider, const ka::kor::VestaURL& process)
    : provider_(std::move(provider)), process_(process), hostTopic_(mqtt::HostTopic(process)) {
    newGenerationLocked();
    mqtt::HostMessage dead;
    dead.alive = false;
    connection_ = std::make_unique<mqtt::Connection>(provider_->settings(), "host", *this,
                                                     hostTopic_, mqtt::Encode(dead));
}

MqttHost::~MqttHost() {
    close();
}

void MqttHost::newGenerationLocked() {
    // Distinct across the host's lives, also across processes: the time in 100 ns ticks, and
    // never the same twice within this one.
    const std::uint64_t now = static_cast<std::uint64_t>(CurrentFileTime().ticks);
    generation_ = now > generation_ ? now : generation_ + 1;
}

void MqttHost::settle() {
    if (!connection_->onNetworkThread()) {
        connection_->waitAcknowledged(kSettleMs);
    }
}

std::shared_ptr<HostItemBackend> MqttHost::createItem(const ka::kor::VestaURL& path,
                                                      const std::wstring& pathText,
                                                      const FlexData& value,
                                                      std::uint32_t accessRights,
                                                      const std::wstring& description) {
    if (value.getType() == ka::kor::fd::FlexType::Empty) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    auto item = std::make_shared<MqttItem>(this, path, pathText, value, accessRights, description);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            throw ex::InvalidArgument(__LINE__, kFile);
        }
        if (!items_.emplace(path, item).second) {
            throw ex::ObjectAlreadyExists(__LINE__, kFile);
        }
        byWriteTopic_[item->writeTopic_] = item;
        publishItemLocked(*item, true);
    }
    settle();
    return item;
}

std::shared_ptr<HostItemBackend> MqttHost::findItem(const ka::kor::VestaURL& path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = items_.find(path);
    return it == items_.end() ? nullptr : it->second;
}

void MqttHost::setWriteHandler(ItemHost::WriteHandler handler) {
    std::shared_ptr<const ItemHost::WriteHandler> h;
    if (handler) {
        h = std::make_shared<const ItemHost::WriteHandler>(std::move(handler));
    }
    std::lock_guard<std::mutex> lock(mutex_);
    handler_.swap(h);
}

void MqttHost::unregister() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!registered_ || closed_) {
            return;
        }
        registered_ = false;
        mqtt::HostMessage dead;
        dead.generation = generation_;
        connection_->publish(hostTopic_, mqtt::Encode(dead), 1, true);
    }
    settle();
}

void MqttHost::reregister() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (registered_ || closed_) {
            return;
        }
        registered_ = true;
        newGenerationLocked();
        waiting_.clear();  // every item goes out now
        for (auto& entry : items_) {
            publishItemLocked(*entry.second, true);
        }
        publishBirthLocked();
    }
    settle();
}

bool MqttHost::registered() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return registered_;
}

void MqttHost::close() noexcept {
    std::map<ka::kor::VestaURL, std::shared_ptr<MqttItem>> items;
    std::map<std::string, std::shared_ptr<MqttItem>> byTopic;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            return;
        }
        closed_ = true;
        try {
            if (registered_) {
                mqtt::HostMessage dead;
                dead.generation = generation_;
                connection_->publish(hostTopic_, mqtt::Encode(dead), 1, true);
            }
        } catch (...) {
            // Out of memory: the will says the same once the connection goes.
        }
        registered_ = false;
        for (auto& entry : items_) {
            entry.second->host_ = nullptr;
        }
        items.swap(items_);
        byTopic.swap(byWriteTopic_);
        waiting_.clear();
    }
    if (connection_->onNetworkThread()) {
        // Closed from inside the write handler: the network thread cannot stop itself, so a
        // helper thread takes the connection down once the handler has returned.
        std::unique_ptr<mqtt::Connection> c = std::move(connection_);
        try {
            std::thread([c = std::shared_ptr<mqtt::Connection>(std::move(c))] {}).detach();
        } catch (...) {
        }
    } else {
        connection_->waitAcknowledged(kSettleMs);
        connection_.reset();
    }
    provider_->releaseProcess(hostTopic_);
}

void MqttHost::publishItemLocked(const MqttItem& item, bool valueChanged) {
    if (!registered_ || !connected_) {
        return;  // published on the next connect or registration
    }
    mqtt::ItemMessage m;
    m.valueChanged = valueChanged;
    m.quality = item.quality_;
    m.time = item.time_;
    m.generation = generation_;
    m.rights = item.rights_;
    m.description = item.description_;
    m.value = item.value_;
    connection_->publish(item.topic_, mqtt::Encode(m), 1, true);
}

void MqttHost::publishUpdateLocked(MqttItem& item, bool valueChanged) {
    const auto w = waiting_.find(&item);
    if (w != waiting_.end()) {
        w->second = w->second || valueChanged;
        return;
    }
    if (connection_->inFlight() >= kMaxInFlight) {
        waiting_.emplace(&item, valueChanged);
        return;
    }
    publishItemLocked(item, valueChanged);
}

void MqttHost::onAcknowledged() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) {
        return;
    }
    while (!waiting_.empty() && connection_->inFlight() < kMaxInFlight) {
        const auto w = waiting_.begin();
        MqttItem* item = w->first;
        const bool changed = w->second;
        waiting_.erase(w);
        publishItemLocked(*item, changed);
    }
}

void MqttHost::onResentRetained(const std::string& topic) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closed_ || !connected_) {
        return;  // the next connect publishes everything anyway
    }
    if (topic == hostTopic_) {
        if (registered_) {
            publishBirthLocked();
        } else {
            mqtt::HostMessage dead;
            dead.generation = generation_;
            connection_->publish(hostTopic_, mqtt::Encode(dead), 1, true);
        }
        return;
    }
    if (!registered_) {
        return;  // its items go out when it registers again
    }
    // Rare (only after a loss, and only what was in flight then): a search is cheap enough.
    for (const auto& entry : items_) {
        if (entry.second->topic_ == topic) {
            publishItemLocked(*entry.second, true);
            return;
        }
    }
    // An item removed since: its removal again.
    connection_->publish(topic, std::string(), 1, true);
}

void MqttHost::publishBirthLocked() {
    if (!registered_ || !connected_) {
        return;
    }
    mqtt::HostMessage birth;
    birth.alive = true;
    birth.generation = generation_;
    connection_->publish(hostTopic_, mqtt::Encode(birth), 1, true);
}

void MqttHost::onConnect() {
    connection_->subscribe(mqtt::WriteFilter(process_), 1);
    connection_->subscribe(mqtt::RollCallTopic(hostTopic_), 1);
    std::lock_guard<std::mutex> lock(mutex_);
    connected_ = true;
    if (closed_ || !registered_) {
        return;
    }
    // A new life: what the broker kept from the last one (or another process's) is superseded.
    newGenerationLocked();
    waiting_.clear();  // every item goes out now
    for (auto& entry : items_) {
        publishItemLocked(*entry.second, true);
    }
    publishBirthLocked();
}

void MqttHost::onDisconnect() {
    std::lock_guard<std::mutex> lock(mutex_);
    connected_ = false;
}

void MqttHost::onMessage(const mosquitto_message& m) {
    const std::string topic(m.topic == nullptr ? "" : m.topic);
    if (topic == mqtt::RollCallTopic(hostTopic_)) {
        answerRollCall(m);
        return;
    }
    mqtt::WriteMessage request;
    std::string why;
    if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), request, why)) {
        mqtt::LogRejected(topic + ": " + why);
        return;
    }
    std::shared_ptr<MqttItem> item;
    std::shared_ptr<const ItemHost::WriteHandler> handler;
    HRESULT result = S_OK;
    FlexData converted;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = byWriteTopic_.find(topic);
        if (it == byWriteTopic_.end() || !registered_) {
            result = VESTA_E_NOTCONNECTED;
        } else {
            item = it->second;
            handler = handler_;
            if ((item->rights_ & VESTA_ACCESS_WRITE) != VESTA_ACCESS_WRITE) {
                result = VESTA_E_ACCESSDENIED;
            }
        }
    }
    if (result == S_OK && !ConvertToType(request.value, item->type_, converted)) {
        result = VESTA_E_TYPEMISMATCH;
    }
    if (result == S_OK && handler) {
        bool accepted = false;
        try {
            accepted = (*handler)(item->pathText_, converted);
        } catch (...) {
            accepted = false;  // a handler that fails has not accepted anything
        }
        if (!accepted) {
            result = VESTA_E_REJECTED;
        }
    }
    if (result == S_OK) {
        try {
            item->update(converted, VESTA_QUALITY_GOOD, CurrentFileTime());
        } catch (const ex::Exception&) {
            result = VESTA_E_NOTCONNECTED;  // removed while its host was deciding
        }
    }
    if (result != S_OK && !request.replyTopic.empty() &&
        request.replyTopic.compare(0, 12, "ka/v1/reply/") == 0) {
        mqtt::ReplyMessage reply;
        reply.id = request.id;
        reply.result = result;
        std::lock_guard<std::mutex> lock(mutex_);
        if (!closed_) {
            connection_->publish(request.replyTopic, mqtt::Encode(reply), 1, false);
        }
    }
}

void MqttHost::answerRollCall(const mosquitto_message& m) {
    mqtt::RollCallMessage call;
    std::string why;
    if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), call, why)) {
        mqtt::LogRejected(std::string(m.topic) + ": " + why);
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    // Only a registered host is there; one that is away says nothing, as a dead one would.
    if (!closed_ && registered_ && call.replyTopic.compare(0, 12, "ka/v1/reply/") == 0) {
        mqtt::PresentMessage present;
        present.id = call.id;
        present.generation = generation_;
        connection_->publish(call.replyTopic, mqtt::Encode(present), 1, false);
    }
}

MqttItem::MqttItem(MqttHost* host, const ka::kor::VestaURL& url, std::wstring pathText,
                   const FlexData& first, std::uint32_t rights, const std::wstring& description)
    : url_(url),
      pathText_(std::move(pathText)),
      topic_(mqtt::ItemTopic(url)),
      writeTopic_(mqtt::WriteTopic(url)),
      type_(first),
      rights_(rights),
      description_(Utf8(description)),
      host_(host),
      value_(first),
      time_(CurrentFileTime()) {}

FlexData MqttItem::value() const {
    // The host outlives every use through ItemHost; a closed one leaves the value as it was.
    MqttHost* host = host_.load();
    if (host == nullptr) {
        return value_;
    }
    std::lock_guard<std::mutex> lock(host->mutex_);
    return value_;
}

std::uint32_t MqttItem::quality() const {
    MqttHost* host = host_.load();
    if (host == nullptr) {
        return quality_;
    }
    std::lock_guard<std::mutex> lock(host->mutex_);
    return quality_;
}

FILETIME MqttItem::time() const {
    MqttHost* host = host_.load();
    if (host == nullptr) {
        return time_;
    }
    std::lock_guard<std::mutex> lock(host->mutex_);
    return time_;
}

void MqttItem::update(const FlexData& value, std::uint32_t quality, FILETIME time) {
    FlexData v;
    if (SameDescription(value, type_)) {
        v = value;
    } else if (!ConvertToType(value, type_, v)) {
        throw ex::InvalidArgument(__LINE__, "vesta/MqttItem");
    }
    MqttHost* host = host_.load();
    if (host == nullptr) {
        throw ex::NotFound(__LINE__, "vesta/MqttItem");
    }
    std::lock_guard<std::mutex> lock(host->mutex_);
    if (host_ == nullptr) {
        throw ex::NotFound(__LINE__, "vesta/MqttItem");
    }
    value_ = std::move(v);
    quality_ = quality;
    time_ = time;
    host->publishUpdateLocked(*this, true);
}

void MqttItem::setQuality(std::uint32_t quality, FILETIME time) {
    MqttHost* host = host_.load();
    if (host == nullptr) {
        throw ex::NotFound(__LINE__, "vesta/MqttItem");
    }
    std::lock_guard<std::mutex> lock(host->mutex_);
    if (host_ == nullptr) {
        throw ex::NotFound(__LINE__, "vesta/MqttItem");
    }
    quality_ = quality;
    time_ = time;
    host->publishUpdateLocked(*this, false);
}

void MqttItem::remove() {
    const std::shared_ptr<MqttItem> self = shared_from_this();
    MqttHost* host = host_.load();
    if (host == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(host->mutex_);
        if (host_ == nullptr) {
            return;
        }
        // Its last state goes out before its removal: subscribers see the value it ended with.
        const auto w = host->waiting_.find(this);
        if (w != host->waiting_.end()) {
            const bool changed = w->second;
            host->waiting_.erase(w);
            host->publishItemLocked(*this, changed);
        }
        host->items_.erase(url_);
        host->byWriteTopic_.erase(writeTopic_);
        host_ = nullptr;
        if (host->connected_) {
            // An empty retained message removes the item from the broker.
            host->connection_->publish(topic_, std::string(), 1, true);
        }
    }
    host->settle();
}

}  // namespace vesta
