// One item host of the MQTT provider, with its own broker connection whose will declares it dead.
// On every connect it publishes its items and then its birth, all with a new generation, so
// clients never take a value retained from its earlier life as current. Writes arrive on its
// network thread, where the write handler runs.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ka/kor/VestaURL.h"
#include "qbrealt/Provider.h"
#include "qbrealt/mqtt/MqttConnection.h"
#include "qbrealt/mqtt/MqttEnvelope.h"

namespace vesta {

class MqttProvider;
class MqttItem;

class MqttHost final : public HostBackend,
                       public mqtt::Connection::Handler,
                       public std::enable_shared_from_this<MqttHost> {
  public:
    // Registered and connecting. ObjectAlreadyExists when this process already hosts `process`
    // through this broker. Waits a short, bounded time for the first connection so that a host
    // started beside a running broker is visible when this returns.
    static std::shared_ptr<MqttHost> Create(std::shared_ptr<MqttProvider> provider,
                                            const ka::kor::VestaURL& process);
    ~MqttHost() override;

    const ka::kor::VestaURL& process() const noexcept override { return process_; }
    std::shared_ptr<HostItemBackend> createItem(const ka::kor::VestaURL& path,
                                                const std::wstring& pathText,
                                                const ka::kor::FlexData& value,
                                                std::uint32_t accessRights,
                                                const std::wstring& description) override;
    std::shared_ptr<HostItemBackend> findItem(const ka::kor::VestaURL& path) const override;
    void setWriteHandler(ItemHost::WriteHandler handler) override;
    void unregister() override;
    void reregister() override;
    bool registered() const override;
    void close() noexcept override;

    void onConnect() override;
    void onDisconnect() override;
    void onMessage(const mosquitto_message& message) override;
    void onAcknowledged() override;
    // A state from before a broker loss reached the broker after the new life's: the host's
    // birth, or an item's state (or removal), is published again as it is now.
    void onResentRetained(const std::string& topic) override;

  private:
    friend class MqttItem;

    MqttHost(std::shared_ptr<MqttProvider> provider, const ka::kor::VestaURL& process);
    // Publishes the item under the current generation (when registered).
    void publishItemLocked(const MqttItem& item, bool valueChanged);
    // An update: published at once while the broker keeps up, else kept as the item's newest
    // state and published when acknowledgements catch up, so a host that updates faster than
    // the broker takes holds at most one waiting state per item.
    void publishUpdateLocked(MqttItem& item, bool valueChanged);
    void publishBirthLocked();
    // Tells a client that asks that this host is there, with its current generation.
    void answerRollCall(const mosquitto_message& m);
    void newGenerationLocked();
    // Waits (bounded) until the broker has what was published so far, unless on the network
    // thread, where waiting would stop the very thread that carries it.
    void settle();

    const std::shared_ptr<MqttProvider> provider_;
    const ka::kor::VestaURL process_;
    const std::string hostTopic_;
    std::unique_ptr<mqtt::Connection> connection_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool connected_ = false;
    bool registered_ = true;
    bool closed_ = false;
    std::uint64_t generation_ = 0;
    std::map<ka::kor::VestaURL, std::shared_ptr<MqttItem>> items_;
    std::map<std::string, std::shared_ptr<MqttItem>> byWriteTopic_;
    std::shared_ptr<const ItemHost::WriteHandler> handler_;
    std::map<MqttItem*, bool> waiting_;  // items with an unsent update: whether the value changed
};

class MqttItem final : public HostItemBackend, public std::enable_shared_from_this<MqttItem> {
  public:
    MqttItem(MqttHost* host, const ka::kor::VestaURL& url, std::wstring pathText,
             const ka::kor::FlexData& first, std::uint32_t rights, const std::wstring& description);

    std::wstring path() const override { return pathText_; }
    ka::kor::FlexData value() const override;
    std::uint32_t quality() const override;
    FILETIME time() const override;
    void update(const ka::kor::FlexData& value, std::uint32_t quality, FILETIME time) override;
    void setQuality(std::uint32_t quality, FILETIME time) override;
    void remove() override;

  private:
    friend class MqttHost;

    const ka::kor::VestaURL url_;
    const std::wstring pathText_;
    const std::string topic_;
    const std::string writeTopic_;
    const ka::kor::FlexData type_;
    const std::uint32_t rights_;
    const std::string description_;  // UTF-8

    // Under the host's lock.
    std::atomic<MqttHost*> host_;  // null once removed or the host is closed
    ka::kor::FlexData value_;
    std::uint32_t quality_ = VESTA_QUALITY_GOOD;
    FILETIME time_;
};

}  // namespace vesta
