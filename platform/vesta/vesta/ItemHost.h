// The item-host side of the real-time provider (libqbrealt.so): a process registers as the host
// of \\machine\process, publishes items below it, keeps their value, quality and time up to date
// and decides on clients' writes. Subscribers anywhere the provider reaches see every change;
// when the host unregisters (or is destroyed) their items turn "process failure" (0x400000) and
// come back with fresh values when it registers again.
//
// Every operation may be called from any thread, also from inside a provider notification or a
// write handler. Failures are exceptions of the ka::kor::exception tree (named per operation).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "ka/kor/FlexData.h"
#include "vesta/VestaRealTime.h"

namespace vesta {

class HostBackend;
class HostItemBackend;

// The current time as a FILETIME.
FILETIME CurrentFileTime() noexcept;

class ItemHost {
  public:
    // Decides on a client's write to the item at `path` (below the process, as given to
    // createItem). `value` is already converted to the item's type. Returning true accepts it:
    // the item takes the value with good quality and the current time, and every subscriber sees
    // it. Returning false (or throwing) refuses it and the item keeps its value. The handler runs
    // on the writing client's thread (possibly on several at once) and holds no provider lock,
    // so it may call this host's operations.
    typedef std::function<bool(const std::wstring& path, const ka::kor::FlexData& value)>
        WriteHandler;

    // A handle to one published item; copies refer to the same item. A default-constructed
    // handle refers to none and raises InvalidArgument on every operation.
    class Item {
      public:
        Item() noexcept;
        ~Item();
        Item(const Item& other);
        Item& operator=(const Item& other);

        explicit operator bool() const noexcept { return impl_ != nullptr; }

        // The item's path below its process, as written at creation.
        std::wstring path() const;
        // The current value (in the item's type), quality and time.
        ka::kor::FlexData value() const;
        std::uint32_t quality() const;
        FILETIME time() const;

        // Sets value, quality and time (the current time by default) and tells every subscriber
        // (mask value | quality | time). A value of another flex type is converted to the item's
        // type as a client's write would be; InvalidArgument when that is not possible (nothing
        // changes then). NotFound once the item has been removed.
        void update(const ka::kor::FlexData& value, std::uint32_t quality = VESTA_QUALITY_GOOD);
        void update(const ka::kor::FlexData& value, std::uint32_t quality, FILETIME time);
        // Sets quality and time only (mask quality | time); the value stays. NotFound once the
        // item has been removed.
        void setQuality(std::uint32_t quality);
        void setQuality(std::uint32_t quality, FILETIME time);
        // Removes the item from its host (as ItemHost::removeItem); subscribers see status
        // IASTATUS_REMOVED and quality "nonexistant" (0x20). Removing twice does nothing.
        void remove();

      private:
        friend class ItemHost;
        explicit Item(std::shared_ptr<HostItemBackend> impl) noexcept;
        std::shared_ptr<HostItemBackend> impl_;
    };

    // Registers this process as the host of \\machine\process with the provider of `session`
    // (from GetVestaSession; the host keeps its own reference). An empty machine means this
    // computer's host name; a name that denotes this computer ("localhost", its addresses) is
    // taken as that host name too. SyntaxError when the names do not form a valid address;
    // ObjectAlreadyExists when that process already has a host reachable through this
    // provider; InvalidArgument for a null session or one that is not the provider's.
    ItemHost(IUnknown* session, const std::wstring& process,
             const std::wstring& machine = std::wstring());
    // Unregisters (subscribers see process failure) and forgets every item. Returns once no
    // call of the write handler runs on another thread, so that what the handler uses may go
    // with the host. Never throws.
    ~ItemHost();
    ItemHost(const ItemHost&) = delete;
    ItemHost& operator=(const ItemHost&) = delete;

    // \\machine\process, as registered.
    std::wstring url() const;

    // Publishes an item at `path` below the process (for example L"plant.tank1.level"; names
    // compare without regard to letter case, "." and "\" separate alike) with its first value,
    // which fixes the item's type, its access rights (VESTA_ACCESS_READ and/or
    // VESTA_ACCESS_WRITE) and a description. Quality is good and the time the current one.
    // Subscribers waiting for it see IASTATUS_ACTIVE, the attributes and the value.
    // SyntaxError for a path that does not parse; InvalidArgument for an empty first value or a
    // path with ".." in it; ObjectAlreadyExists when the path is taken.
    Item createItem(const std::wstring& path, const ka::kor::FlexData& value,
                    std::uint32_t accessRights, const std::wstring& description = std::wstring());
    // The item at `path`; NotFound when there is none.
    Item item(const std::wstring& path) const;
    // Removes the item at `path`; NotFound when there is none.
    void removeItem(const std::wstring& path);

    // Installs the handler for clients' writes, replacing any earlier one; an empty handler
    // accepts every write (to items that have the write right).
    void setWriteHandler(WriteHandler handler);

    // Leaves the provider without forgetting the items: subscribers see IASTATUS_REMOVED and
    // process failure. Updates made meanwhile are kept. Does nothing when not registered.
    void unregister();
    // Registers again: subscribers see IASTATUS_ACTIVE, the attributes and the current values.
    // ObjectAlreadyExists when another host took the process meanwhile; nothing when already
    // registered.
    void reregister();
    bool registered() const;

  private:
    std::shared_ptr<HostBackend> backend_;
};

}  // namespace vesta
