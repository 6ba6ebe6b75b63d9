// A provider backend: where a session's subscriptions are resolved and its item hosts publish.
// The embedded provider (items of this process) is one backend; a broker-backed one is another.
// Everything a client sees that does not depend on the backend (queues, order, coalescing,
// Release) lives in Subscription and Dispatcher, so every backend behaves the same.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ka/kor/FlexData.h"
#include "ka/kor/VestaURL.h"
#include "qbrealt/Dispatcher.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace vesta {

class Subscription;

// One published item of a host (the backend of ItemHost::Item).
class HostItemBackend {
  public:
    virtual ~HostItemBackend();
    virtual std::wstring path() const = 0;
    virtual ka::kor::FlexData value() const = 0;
    virtual std::uint32_t quality() const = 0;
    virtual FILETIME time() const = 0;
    // Converts to the item's type; InvalidArgument when that is not possible.
    virtual void update(const ka::kor::FlexData& value, std::uint32_t quality, FILETIME time) = 0;
    virtual void setQuality(std::uint32_t quality, FILETIME time) = 0;
    virtual void remove() = 0;
};

// One registered host process (the backend of ItemHost).
class HostBackend {
  public:
    virtual ~HostBackend();
    // \\machine\process.
    virtual const ka::kor::VestaURL& process() const noexcept = 0;
    // `path` is the item's full address (process and path); `pathText` the path as the host
    // wrote it.
    virtual std::shared_ptr<HostItemBackend> createItem(const ka::kor::VestaURL& path,
                                                        const std::wstring& pathText,
                                                        const ka::kor::FlexData& value,
                                                        std::uint32_t accessRights,
                                                        const std::wstring& description) = 0;
    // Null when there is none.
    virtual std::shared_ptr<HostItemBackend> findItem(const ka::kor::VestaURL& path) const = 0;
    virtual void setWriteHandler(ItemHost::WriteHandler handler) = 0;
    virtual void unregister() = 0;
    virtual void reregister() = 0;
    virtual bool registered() const = 0;
    // Unregisters and forgets every item; the backend is dead afterwards.
    virtual void close() noexcept = 0;
};

class Provider {
  public:
    virtual ~Provider();
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

    // Starts resolving a new subscription (its first status is already queued). Everything it
    // learns is posted to the subscription, never delivered from here.
    virtual void subscribe(const std::shared_ptr<Subscription>& subscription) = 0;
    // Stops posting to the subscription; called once, when it closes.
    virtual void unsubscribe(Subscription& subscription) noexcept = 0;
    // A client's write (see IVestaRealTimeItem::Write for the results).
    virtual HRESULT write(Subscription& subscription, const VarData& value) = 0;
    // Registers a host for the process address (machine and process); ObjectAlreadyExists when
    // the process has one.
    virtual std::shared_ptr<HostBackend> registerHost(const ka::kor::VestaURL& process) = 0;

    Dispatcher& dispatcher() noexcept { return dispatcher_; }

  protected:
    Provider() = default;

  private:
    Dispatcher dispatcher_;
};

}  // namespace vesta
