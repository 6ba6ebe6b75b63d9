// One host process of the embedded provider and the items it keeps. While registered its items
// answer their addresses; unregistered it keeps them (and their updates) for its return.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "ka/kor/VestaURL.h"
#include "qbrealt/Provider.h"

namespace vesta {

class EmbeddedItem;
class EmbeddedProvider;

class EmbeddedHost final : public HostBackend, public std::enable_shared_from_this<EmbeddedHost> {
  public:
    // Registered from the start; the provider has checked that the process is free.
    EmbeddedHost(std::shared_ptr<EmbeddedProvider> provider, ka::kor::VestaURL process);
    ~EmbeddedHost() override;

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
    // Returns once no handler call runs on another thread.
    void close() noexcept override;

  private:
    friend class EmbeddedItem;
    friend class EmbeddedProvider;

    void unregisterLocked();

    const std::shared_ptr<EmbeddedProvider> provider_;
    const ka::kor::VestaURL process_;

    // Under the registry lock.
    bool registered_ = true;
    bool closed_ = false;
    std::map<ka::kor::VestaURL, std::shared_ptr<EmbeddedItem>> items_;
    std::shared_ptr<const ItemHost::WriteHandler> handler_;  // null: accept every write
    std::vector<std::thread::id> deciding_;                  // threads running the handler now
    std::condition_variable decided_;  // a handler call ended (with the registry lock)
};

}  // namespace vesta
