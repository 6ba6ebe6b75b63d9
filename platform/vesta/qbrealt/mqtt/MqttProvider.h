// The MQTT provider: items shared through a broker between processes and machines (topic and
// payload layout in MqttEnvelope.h). One instance per broker URL serves a process; its client
// side has one connection (one network thread), and every host it registers has a connection of
// its own, because the broker keeps one will per connection and each host needs its own.
//
// One lock guards the client registry. Changes are posted to subscriptions under it (from the
// network thread), which keeps their order per item; the dispatcher delivers them later.
//
// A broker drops messages for a client that falls too far behind (mosquitto's
// max_queued_messages), a host's birth or a probe among them. So an item that is not good asks
// the broker again, with back-off, for what it retains (subscribing anew resends it) and probes
// again. A good item is left alone: asking for every one would cost a retained message per item
// and round, and whatever was lost of a good item, its host's next message sets right.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "qbrealt/Provider.h"
#include "qbrealt/mqtt/MqttConnection.h"
#include "qbrealt/mqtt/MqttEnvelope.h"

namespace vesta {

class MqttProvider final : public Provider,
                           public mqtt::Connection::Handler,
                           public std::enable_shared_from_this<MqttProvider> {
  public:
    // The process's instance for these settings, created (and connecting) on first use.
    static std::shared_ptr<MqttProvider> Instance(const std::string& url,
                                                  const mqtt::Settings& settings);
    ~MqttProvider() override;

    void subscribe(const std::shared_ptr<Subscription>& subscription) override;
    void unsubscribe(Subscription& subscription) noexcept override;
    // Checks rights and type locally and sends the request: S_OK means sent; the host's refusal
    // comes later as OnStatusChange(item, IASTATUS_ACTIVE, VESTA_E_REJECTED).
    HRESULT write(Subscription& subscription, const VarData& value) override;
    std::shared_ptr<HostBackend> registerHost(const ka::kor::VestaURL& process) override;

    void onConnect() override;
    void onDisconnect() override;
    void onMessage(const mosquitto_message& message) override;

    const mqtt::Settings& settings() const noexcept { return settings_; }
    // Hosts of this process (one per process address).
    bool claimProcess(const std::string& hostTopic);
    void releaseProcess(const std::string& hostTopic);

  private:
    // What a subscriber has been told.
    enum class Shown : std::uint8_t { Nothing, Active, Missing };
    struct Watcher {
        Subscription* subscription;
        Shown shown = Shown::Nothing;
        std::uint32_t quality = 0;
    };
    struct HostState {
        int users = 0;
        bool known = false;  // a host message has arrived since (re)subscribing
        mqtt::HostMessage state;
        // After a broker loss the host's life from before it is not trusted: a restarted broker
        // may hold an older retained state. Only a new birth counts.
        bool distrust = false;
        std::uint64_t distrusted = 0;
        // The generation of the newest birth seen: generations only grow, so an older birth is
        // a leftover, however it comes back.
        std::uint64_t newest = 0;
        // The roll call sent to the host on this connection (0: none); an answer to it with the
        // distrusted generation says that life is current after all.
        std::uint32_t rollCall = 0;
    };
    struct Entry {
        std::string hostTopic;
        std::vector<Watcher> watchers;
        bool haveItem = false;
        mqtt::ItemMessage item;
        std::shared_ptr<const VarData> value;
        std::shared_ptr<const ITEMDETAILS> details;
        bool bad = false;         // the last message could not be read
        std::uint64_t probe = 0;  // resolved once this probe has come back
        // When a watcher that is not good next asks the broker again, and the wait after that.
        std::chrono::steady_clock::time_point resyncAt;
        std::chrono::milliseconds resyncDelay{0};
    };

    explicit MqttProvider(const mqtt::Settings& settings);

    // Brings every watcher of the entry up to what is known now. `fresh` says a new value came.
    void resolveLocked(Entry& e, bool fresh);
    void itemMessageLocked(Entry& e, const mosquitto_message& m);
    // An answer to a roll call: the host is there, in the life it names.
    void presentLocked(const mosquitto_message& m);
    void hostMessageLocked(const std::string& topic, const mosquitto_message& m);
    // Schedules the entry's next ask-again: after the first delay on `restart`, else after
    // twice the last (bounded).
    static void scheduleResync(Entry& e, bool restart);
    // The resync thread: every so often re-subscribes what is due and probes again.
    void resyncLoop();
    void resyncDue();

    const mqtt::Settings settings_;
    std::unique_ptr<mqtt::Connection> connection_;

    // Held (before mutex_) from deciding on subscriptions to sending them, so that a subscribe
    // never overtakes the unsubscribe of the same topic on the wire.
    std::mutex wireMutex_;
    std::mutex mutex_;
    std::condition_variable stopResync_;
    bool stopping_ = false;
    std::thread resync_;
    bool connected_ = false;
    bool everConnected_ = false;
    std::uint64_t probeSent_ = 0;
    std::uint64_t probeSeen_ = 0;
    std::map<std::string, Entry> entries_;    // by item topic
    std::map<std::string, HostState> hosts_;  // by host topic
    std::uint32_t nextWrite_ = 1;
    // Writes waiting for a refusal. A subscription leaves here when it unsubscribes, so one found
    // under the lock is alive, and the network thread never holds a reference that could be its
    // last (the provider's own end could then come on the thread it has to stop).
    std::map<std::uint32_t, Subscription*> writes_;
    std::set<std::string> claimed_;  // host topics of this process's hosts
};

}  // namespace vesta
