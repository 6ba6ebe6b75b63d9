#include "vesta/ItemHost.h"

#include <chrono>
#include <utility>

#include "ka/kor/exception.h"
#include "qbrealt/ItemURL.h"
#include "qbrealt/Provider.h"
#include "qbrealt/Session.h"

namespace vesta {

namespace ex = ka::kor::exception;

namespace {

const char kFile[] = "vesta/ItemHost";

// 100-nanosecond ticks from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kUnixEpochTicks = 116444736000000000LL;

}  // namespace

FILETIME CurrentFileTime() noexcept {
    const auto sinceUnix = std::chrono::system_clock::now().time_since_epoch();
    const auto ticks =
        std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>>(
            sinceUnix);
    return FILETIME{kUnixEpochTicks + ticks.count()};
}

ItemHost::Item::Item() noexcept = default;
ItemHost::Item::~Item() = default;
ItemHost::Item::Item(const Item& other) = default;
ItemHost::Item& ItemHost::Item::operator=(const Item& other) = default;
ItemHost::Item::Item(std::shared_ptr<HostItemBackend> impl) noexcept : impl_(std::move(impl)) {}

namespace {
HostItemBackend& Checked(const std::shared_ptr<HostItemBackend>& impl) {
    if (!impl) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    return *impl;
}
}  // namespace

std::wstring ItemHost::Item::path() const {
    return Checked(impl_).path();
}

ka::kor::FlexData ItemHost::Item::value() const {
    return Checked(impl_).value();
}

std::uint32_t ItemHost::Item::quality() const {
    return Checked(impl_).quality();
}

FILETIME ItemHost::Item::time() const {
    return Checked(impl_).time();
}

void ItemHost::Item::update(const ka::kor::FlexData& value, std::uint32_t quality) {
    Checked(impl_).update(value, quality, CurrentFileTime());
}

void ItemHost::Item::update(const ka::kor::FlexData& value, std::uint32_t quality, FILETIME time) {
    Checked(impl_).update(value, quality, time);
}

void ItemHost::Item::setQuality(std::uint32_t quality) {
    Checked(impl_).setQuality(quality, CurrentFileTime());
}

void ItemHost::Item::setQuality(std::uint32_t quality, FILETIME time) {
    Checked(impl_).setQuality(quality, time);
}

void ItemHost::Item::remove() {
    Checked(impl_).remove();
}

ItemHost::ItemHost(IUnknown* session, const std::wstring& process, const std::wstring& machine) {
    const std::shared_ptr<Provider> provider = Session::ProviderOf(session);
    if (!provider) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    backend_ = provider->registerHost(MakeProcessURL(machine, process));
}

ItemHost::~ItemHost() {
    backend_->close();
}

std::wstring ItemHost::url() const {
    return ToWide(backend_->process().str());
}

ItemHost::Item ItemHost::createItem(const std::wstring& path, const ka::kor::FlexData& value,
                                    std::uint32_t accessRights, const std::wstring& description) {
    return Item(backend_->createItem(MakeItemURL(backend_->process(), path), path, value,
                                     accessRights, description));
}

ItemHost::Item ItemHost::item(const std::wstring& path) const {
    std::shared_ptr<HostItemBackend> found =
        backend_->findItem(MakeItemURL(backend_->process(), path));
    if (!found) {
        throw ex::NotFound(__LINE__, kFile);
    }
    return Item(std::move(found));
}

void ItemHost::removeItem(const std::wstring& path) {
    item(path).remove();
}

void ItemHost::setWriteHandler(WriteHandler handler) {
    backend_->setWriteHandler(std::move(handler));
}

void ItemHost::unregister() {
    backend_->unregister();
}

void ItemHost::reregister() {
    backend_->reregister();
}

bool ItemHost::registered() const {
    return backend_->registered();
}

}  // namespace vesta
