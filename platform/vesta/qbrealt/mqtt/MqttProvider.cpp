#include "qbrealt/mqtt/MqttProvider.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <mosquitto.h>

#include "ka/kor/exception.h"
#include "qbrealt/ConvertToType.h"
#include "qbrealt/ItemURL.h"
#include "qbrealt/MakeItemDetails.h"
#include "qbrealt/Subscription.h"
#include "qbrealt/mqtt/MqttHost.h"

namespace vesta {

using ka::kor::VestaURL;

namespace {

constexpr std::uint32_t kAllParts = VESTA_MASK_VALUE | VESTA_MASK_QUALITY | VESTA_MASK_TIME;
constexpr std::uint32_t kStateParts = VESTA_MASK_QUALITY | VESTA_MASK_TIME;
// A message for the item that could not be read: its value is not known. (No quality word
// says "garbage on the wire"; "no value" is what the client can act on.)
constexpr std::uint32_t kUnreadableQuality = VESTA_QUALITY_NO_VALUE;
// The first ask-again after an item stops being good (or starts), doubling up to the last: soon
// enough that a lost birth costs a second, rare enough that an item that is really missing
// costs the broker little.
constexpr std::chrono::milliseconds kFirstResync{1000};
constexpr std::chrono::milliseconds kLastResync{8000};
constexpr std::chrono::milliseconds kResyncTick{250};

std::wstring FromUtf8(const std::string& s) {
    // Descriptions are short; a plain decoder keeps this free of locale state.
    std::wstring out;
    for (std::size_t i = 0; i < s.size();) {
        const unsigned char b = static_cast<unsigned char>(s[i]);
        int n = b < 0x80 ? 0 : b < 0xe0 ? 1 : b < 0xf0 ? 2 : 3;
        std::uint32_t c = n == 0 ? b : n == 1 ? (b & 0x1f) : n == 2 ? (b & 0x0f) : (b & 0x07);
        ++i;
        for (; n > 0 && i < s.size(); --n, ++i) {
            c = (c << 6) | (static_cast<unsigned char>(s[i]) & 0x3f);
        }
        out += static_cast<wchar_t>(c);
    }
    return out;
}

}  // namespace

std::shared_ptr<MqttProvider> MqttProvider::Instance(const std::string& url,
                                                     const mqtt::Settings& settings) {
    static std::mutex mutex;
    static std::map<std::string, std::weak_ptr<MqttProvider>> current;
    // Keyed by every setting, not the URL alone: a session asked for with another CA file or
    // login must not get a provider made with the old ones (one may outlive its last session
    // for a moment, until its delivery thread lets go of it).
    std::string key = url;
    for (const std::string* part :
         {&settings.caFile, &settings.user, &settings.password, &settings.clientId}) {
        key += '\0' + *part;
    }
    key += '\0' + std::to_string(settings.keepalive);
    std::lock_guard<std::mutex> lock(mutex);
    std::weak_ptr<MqttProvider>& slot = current[key];
    std::shared_ptr<MqttProvider> p = slot.lock();
    if (!p) {
        p.reset(new MqttProvider(settings));
        p->connection_->start();
        p->resync_ = std::thread([raw = p.get()] { raw->resyncLoop(); });
        slot = p;
        // Items subscribed right away are not reported "disconnected" only because the first
        // connection is still on its way; an unreachable broker is known within this bound.
        p->connection_->waitFirstOutcome(2000);
    }
    return p;
}

MqttProvider::MqttProvider(const mqtt::Settings& settings)
    : settings_(settings),
      connection_(std::make_unique<mqtt::Connection>(settings, "client", *this)) {}

MqttProvider::~MqttProvider() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    stopResync_.notify_all();
    if (resync_.joinable()) {
        resync_.join();
    }
    // Stops the network thread before the registry goes. Not reset(): that clears the pointer
    // before the connection's destructor joins the thread, and a callback still running until
    // then reads it.
    delete connection_.get();
    connection_.release();
}

void MqttProvider::subscribe(const std::shared_ptr<Subscription>& subscription) {
    const std::string topic = mqtt::ItemTopic(subscription->url());
    const std::string hostTopic = mqtt::HostTopic(ProcessOf(subscription->url()));
    bool newTopic = false;
    bool newHost = false;
    std::uint64_t probe = 0;
    std::lock_guard<std::mutex> wire(wireMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = entries_.find(topic);
        if (it == entries_.end()) {
            it = entries_.emplace(topic, Entry()).first;
            it->second.hostTopic = hostTopic;
            HostState& h = hosts_[hostTopic];
            newHost = h.users++ == 0;
            newTopic = true;
            it->second.probe = probe = ++probeSent_;
            scheduleResync(it->second, true);
        }
        it->second.watchers.push_back(Watcher{subscription.get()});
        resolveLocked(it->second, false);
    }
    if (newTopic) {
        if (newHost) {
            connection_->subscribe(hostTopic, 1);
        }
        connection_->subscribe(topic, 1);
        connection_->publish(mqtt::ProbeTopic(connection_->clientId()), std::to_string(probe), 1,
                             false);
    }
}

void MqttProvider::unsubscribe(Subscription& subscription) noexcept {
    std::string topic;
    std::string hostTopic;
    try {
        topic = mqtt::ItemTopic(subscription.url());
    } catch (...) {
        // Out of memory: the entry is found by its watcher below.
    }
    bool dropTopic = false;
    bool dropHost = false;
    std::lock_guard<std::mutex> wire(wireMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto w = writes_.begin(); w != writes_.end();) {
            w = w->second == &subscription ? writes_.erase(w) : std::next(w);
        }
        const auto watches = [&](const Watcher& w) { return w.subscription == &subscription; };
        const auto it = !topic.empty()
                            ? entries_.find(topic)
                            : std::find_if(entries_.begin(), entries_.end(), [&](const auto& e) {
                                  return std::any_of(e.second.watchers.begin(),
                                                     e.second.watchers.end(), watches);
                              });
        if (it == entries_.end()) {
            return;
        }
        std::vector<Watcher>& ws = it->second.watchers;
        ws.erase(std::remove_if(ws.begin(), ws.end(), watches), ws.end());
        if (ws.empty()) {
            auto gone = entries_.extract(it);
            topic = std::move(gone.key());
            hostTopic = std::move(gone.mapped().hostTopic);
            dropTopic = true;
            const auto h = hosts_.find(hostTopic);
            if (h != hosts_.end() && --h->second.users == 0) {
                hosts_.erase(h);
                dropHost = true;
            }
        }
    }
    if (dropTopic) {
        connection_->unsubscribe(topic);
    }
    if (dropHost) {
        connection_->unsubscribe(hostTopic);
    }
}

HRESULT MqttProvider::write(Subscription& subscription, const VarData& value) {
    const std::string topic = mqtt::ItemTopic(subscription.url());
    mqtt::WriteMessage request;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = entries_.find(topic);
        if (it == entries_.end()) {
            return VESTA_E_NOTCONNECTED;
        }
        const Entry& e = it->second;
        const auto w = std::find_if(e.watchers.begin(), e.watchers.end(), [&](const Watcher& x) {
            return x.subscription == &subscription;
        });
        if (w == e.watchers.end() || w->shown != Shown::Active) {
            return VESTA_E_NOTCONNECTED;
        }
        if ((e.item.rights & VESTA_ACCESS_WRITE) != VESTA_ACCESS_WRITE) {
            return VESTA_E_ACCESSDENIED;
        }
        if (!ConvertToType(value.packet(), e.item.value, request.value)) {
            return VESTA_E_TYPEMISMATCH;
        }
        request.id = nextWrite_++;
        writes_[request.id] = &subscription;
        // Refusals that never come (the host died) must not pile up.
        while (writes_.size() > 1024) {
            writes_.erase(writes_.begin());
        }
    }
    request.replyTopic = mqtt::ReplyTopic(connection_->clientId());
    connection_->publish(mqtt::WriteTopic(subscription.url()), mqtt::Encode(request), 1, false);
    return S_OK;
}

std::shared_ptr<HostBackend> MqttProvider::registerHost(const VestaURL& process) {
    return MqttHost::Create(shared_from_this(), process);
}

bool MqttProvider::claimProcess(const std::string& hostTopic) {
    std::lock_guard<std::mutex> lock(mutex_);
    return claimed_.insert(hostTopic).second;
}

void MqttProvider::releaseProcess(const std::string& hostTopic) {
    std::lock_guard<std::mutex> lock(mutex_);
    claimed_.erase(hostTopic);
}

void MqttProvider::onConnect() {
    std::vector<std::string> topics;
    std::vector<std::pair<std::string, std::string>> rollCalls;
    std::uint64_t probe = 0;
    std::lock_guard<std::mutex> wire(wireMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        connected_ = true;
        probe = ++probeSent_;
        // Everything is learnt again from what the broker retains now: nothing from before the
        // loss counts as current.
        for (auto& h : hosts_) {
            if (everConnected_ && h.second.known && h.second.state.alive) {
                h.second.distrust = true;
                h.second.distrusted = h.second.state.generation;
            }
            h.second.rollCall = 0;
            if (h.second.distrust) {
                mqtt::RollCallMessage call;
                call.id = static_cast<std::uint32_t>(probe);
                call.replyTopic = mqtt::ReplyTopic(connection_->clientId());
                h.second.rollCall = call.id;
                rollCalls.emplace_back(mqtt::RollCallTopic(h.first), mqtt::Encode(call));
            }
            h.second.known = false;
            topics.push_back(h.first);
        }
        for (auto& e : entries_) {
            e.second.haveItem = false;
            e.second.bad = false;
            e.second.probe = probe;
            scheduleResync(e.second, true);
            topics.push_back(e.first);
        }
    }
    connection_->subscribe(mqtt::ReplyTopic(connection_->clientId()), 1);
    connection_->subscribe(mqtt::ProbeTopic(connection_->clientId()), 1);
    for (const std::string& t : topics) {
        connection_->subscribe(t, 1);
    }
    // After the subscriptions: the answers come on the reply topic, the births on the host topics.
    for (const auto& call : rollCalls) {
        connection_->publish(call.first, call.second, 1, false);
    }
    connection_->publish(mqtt::ProbeTopic(connection_->clientId()), std::to_string(probe), 1,
                         false);
    std::lock_guard<std::mutex> lock(mutex_);
    everConnected_ = true;
}

void MqttProvider::onDisconnect() {
    std::lock_guard<std::mutex> lock(mutex_);
    connected_ = false;
    for (auto& e : entries_) {
        resolveLocked(e.second, false);
    }
}

void MqttProvider::onMessage(const mosquitto_message& m) {
    const std::string topic(m.topic == nullptr ? "" : m.topic);
    std::lock_guard<std::mutex> lock(mutex_);
    if (topic == mqtt::ProbeTopic(connection_->clientId())) {
        const std::string text(static_cast<const char*>(m.payload),
                               static_cast<std::size_t>(m.payloadlen));
        const std::uint64_t n = std::strtoull(text.c_str(), nullptr, 10);
        probeSeen_ = std::max(probeSeen_, n);
        for (auto& e : entries_) {
            resolveLocked(e.second, false);
        }
        return;
    }
    if (topic == mqtt::ReplyTopic(connection_->clientId()) && m.payloadlen >= 2 &&
        static_cast<const unsigned char*>(m.payload)[1] ==
            static_cast<unsigned char>(mqtt::Kind::Present)) {
        presentLocked(m);
        return;
    }
    if (topic == mqtt::ReplyTopic(connection_->clientId())) {
        mqtt::ReplyMessage reply;
        std::string why;
        if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), reply, why)) {
            mqtt::LogRejected(topic + ": " + why);
            return;
        }
        const auto it = writes_.find(reply.id);
        if (it != writes_.end()) {
            it->second->postStatus(IASTATUS_ACTIVE, reply.result);
            writes_.erase(it);
        }
        return;
    }
    const auto e = entries_.find(topic);
    if (e != entries_.end()) {
        itemMessageLocked(e->second, m);
        return;
    }
    if (hosts_.find(topic) != hosts_.end()) {
        hostMessageLocked(topic, m);
        return;
    }
    // A message for a topic nobody here subscribed to (or that left meanwhile).
    if (topic.compare(0, 11, "ka/v1/item/") != 0 && topic.compare(0, 11, "ka/v1/host/") != 0) {
        mqtt::LogRejected("message on unexpected topic \"" + topic + "\"");
    }
}

void MqttProvider::itemMessageLocked(Entry& e, const mosquitto_message& m) {
    if (m.payloadlen == 0) {
        e.haveItem = false;  // removed by its host
        e.bad = false;
        resolveLocked(e, false);
        return;
    }
    mqtt::ItemMessage item;
    std::string why;
    if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), item, why)) {
        mqtt::LogRejected(std::string(m.topic) + ": " + why);
        e.bad = true;
        resolveLocked(e, false);
        return;
    }
    if (e.haveItem && item.generation < e.item.generation) {
        // A message of the host's earlier life arriving late (a resend after a reconnect): the
        // newer one stands.
        return;
    }
    if (e.haveItem && item.generation == e.item.generation &&
        item.time.ticks == e.item.time.ticks && item.quality == e.item.quality &&
        item.value == e.item.value) {
        // The retained state again, because this client asked for it again: nothing new.
        e.bad = false;
        resolveLocked(e, false);
        return;
    }
    auto value = std::make_shared<VarData>(item.value);
    value->convertToNativeType();
    const bool sameDetails = e.details && e.item.rights == item.rights &&
                             e.item.description == item.description &&
                             e.item.value.getType() == item.value.getType();
    if (!sameDetails) {
        e.details = MakeItemDetails(item.value.getType(), item.rights, FromUtf8(item.description));
    }
    e.value = std::move(value);
    e.item = std::move(item);
    e.haveItem = true;
    e.bad = false;
    resolveLocked(e, true);
}

void MqttProvider::presentLocked(const mosquitto_message& m) {
    mqtt::PresentMessage present;
    std::string why;
    if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), present, why)) {
        mqtt::LogRejected(std::string(m.topic) + ": " + why);
        return;
    }
    for (auto& h : hosts_) {
        // An answer to an earlier connection's call (resent after a loss) proves nothing now.
        if (h.second.distrust && h.second.rollCall == present.id &&
            h.second.distrusted == present.generation) {
            h.second.distrust = false;
            for (auto& e : entries_) {
                if (e.second.hostTopic == h.first) {
                    resolveLocked(e.second, false);
                }
            }
        }
    }
}

void MqttProvider::hostMessageLocked(const std::string& topic, const mosquitto_message& m) {
    HostState& h = hosts_[topic];
    mqtt::HostMessage state;
    std::string why;
    if (m.payloadlen == 0) {
        state.alive = false;  // cleared by hand: no host
    } else if (!mqtt::Decode(m.payload, static_cast<std::size_t>(m.payloadlen), state, why)) {
        mqtt::LogRejected(topic + ": " + why);
        state.alive = false;
    }
    if (state.alive && state.generation < h.newest) {
        // A restarted broker restores what it last saved, which may be older than what it had
        // when it went: a birth of a life this client has seen end. (A host whose clock went back
        // between two lives is taken for a leftover until its next birth; that is the price.)
        return;
    }
    if (state.alive) {
        h.newest = state.generation;
    }
    h.known = true;
    h.state = state;
    if (h.distrust && state.generation != h.distrusted) {
        h.distrust = false;
    }
    for (auto& e : entries_) {
        if (e.second.hostTopic == topic) {
            resolveLocked(e.second, false);
        }
    }
}

void MqttProvider::resolveLocked(Entry& e, bool fresh) {
    bool active = false;
    std::uint32_t quality = 0;
    if (!connected_) {
        quality = VESTA_QUALITY_DISCONNECTED;
    } else {
        const bool probed = probeSeen_ >= e.probe;
        const HostState& h = hosts_[e.hostTopic];
        if (h.distrust && (!h.known || h.state.generation == h.distrusted)) {
            quality = VESTA_QUALITY_DISCONNECTED;  // until the host's next birth
        } else if (!h.known || !h.state.alive) {
            if (!h.known && !probed) {
                return;  // not known yet
            }
            quality = VESTA_QUALITY_PROCESS_FAILURE;
        } else if (e.bad) {
            quality = kUnreadableQuality;
        } else if (e.haveItem && e.item.generation == h.state.generation) {
            active = true;
        } else if (probed) {
            quality = VESTA_QUALITY_NONEXISTENT;
        } else {
            return;
        }
    }
    const FILETIME now = CurrentFileTime();
    if (active) {
        e.resyncDelay = std::chrono::milliseconds(0);
    } else if (e.resyncDelay.count() == 0) {
        scheduleResync(e, true);  // it was good until now
    }
    for (Watcher& w : e.watchers) {
        Subscription& s = *w.subscription;
        if (active) {
            if (w.shown != Shown::Active) {
                s.postStatus(IASTATUS_ACTIVE, S_OK);
                s.postDetails(e.details);
                s.postData(kAllParts, e.value, e.item.quality, e.item.time);
                w.shown = Shown::Active;
            } else if (fresh) {
                s.postData(e.item.valueChanged ? kAllParts : kStateParts, e.value, e.item.quality,
                           e.item.time);
            }
            continue;
        }
        if (w.shown == Shown::Active) {
            s.postStatus(IASTATUS_REMOVED, VESTA_E_NOTCONNECTED);
            s.postData(kStateParts, nullptr, quality, now);
        } else if (w.shown == Shown::Nothing || w.quality != quality) {
            s.postData(kStateParts, nullptr, quality, now);
        }
        w.shown = Shown::Missing;
        w.quality = quality;
    }
}

void MqttProvider::scheduleResync(Entry& e, bool restart) {
    e.resyncDelay = restart ? kFirstResync : std::min(e.resyncDelay * 2, kLastResync);
    e.resyncAt = std::chrono::steady_clock::now() + e.resyncDelay;
}

void MqttProvider::resyncLoop() {
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (stopResync_.wait_for(lock, kResyncTick, [this] { return stopping_; })) {
                return;
            }
        }
        try {
            resyncDue();
        } catch (...) {
            // Out of memory: the next round tries again.
        }
    }
}

void MqttProvider::resyncDue() {
    std::set<std::string> topics;
    std::vector<std::pair<std::string, std::string>> rollCalls;
    std::uint64_t probe = 0;
    std::lock_guard<std::mutex> wire(wireMutex_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!connected_) {
            return;  // the next connect asks for everything anyway
        }
        const auto now = std::chrono::steady_clock::now();
        for (auto& entry : entries_) {
            Entry& e = entry.second;
            if (e.resyncDelay.count() == 0 || now < e.resyncAt) {
                continue;  // good, or not due yet
            }
            if (probe == 0) {
                probe = ++probeSent_;
            }
            e.probe = probe;
            scheduleResync(e, false);
            topics.insert(entry.first);
            const HostState& h = hosts_[e.hostTopic];
            if (h.known && h.state.alive && !h.distrust) {
                continue;  // the host's state is not what is missing
            }
            if (topics.insert(e.hostTopic).second && h.distrust && h.rollCall != 0) {
                mqtt::RollCallMessage call;
                call.id = h.rollCall;
                call.replyTopic = mqtt::ReplyTopic(connection_->clientId());
                rollCalls.emplace_back(mqtt::RollCallTopic(e.hostTopic), mqtt::Encode(call));
            }
        }
    }
    for (const std::string& t : topics) {
        connection_->subscribe(t, 1);
    }
    for (const auto& call : rollCalls) {
        connection_->publish(call.first, call.second, 1, false);
    }
    if (probe != 0) {
        connection_->publish(mqtt::ProbeTopic(connection_->clientId()), std::to_string(probe), 1,
                             false);
    }
}

}  // namespace vesta
