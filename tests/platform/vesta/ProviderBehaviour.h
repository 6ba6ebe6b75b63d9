// The behaviour every provider shows its clients, as one suite that each provider's test program
// instantiates with its own environment: the suite speaks only the client interfaces and the
// item-host interface, so the same cases hold the embedded provider and a broker-backed one to
// the same promises.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ka/kor/FlexData.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace vesta_test {

class HostItem;

// An item host as the suite drives it, in this process or in another one: the operations of
// vesta::ItemHost, with writes decided by a fixed policy instead of arbitrary code, so that a
// host behind a pipe can do the same. Destroying it is the host leaving for good. Failures are
// test failures (ADD_FAILURE), never exceptions.
class TestHost {
  public:
    virtual ~TestHost() = default;
    HostItem createItem(const std::wstring& path, const ka::kor::FlexData& value,
                        std::uint32_t rights, const std::wstring& description = std::wstring());
    // From now on a write whose value is `limit` or more is refused; every other is accepted.
    virtual void refuseWritesFrom(double limit) = 0;
    // Every write the host was asked to decide on (path and value converted to the item's
    // type), in order.
    virtual std::vector<std::pair<std::wstring, ka::kor::FlexData>> writes() = 0;
    virtual void unregister() = 0;
    virtual void reregister() = 0;

  private:
    friend class HostItem;
    virtual int create(const std::wstring& path, const ka::kor::FlexData& value,
                       std::uint32_t rights, const std::wstring& description) = 0;
    virtual void update(int item, const ka::kor::FlexData& value) = 0;
    virtual void setQuality(int item, std::uint32_t quality, FILETIME time) = 0;
    virtual void remove(int item) = 0;
    virtual ka::kor::FlexData value(int item) = 0;
};

// One item of a TestHost (valid while the host lives), with ItemHost::Item's operations.
class HostItem {
  public:
    HostItem(TestHost* host, int id) : host_(host), id_(id) {}
    void update(const ka::kor::FlexData& value) { host_->update(id_, value); }
    void setQuality(std::uint32_t quality, FILETIME time) { host_->setQuality(id_, quality, time); }
    void remove() { host_->remove(id_); }
    ka::kor::FlexData value() const { return host_->value(id_); }

  private:
    TestHost* host_;
    int id_;
};

// What the suite needs from a provider under test.
class ProviderEnvironment {
  public:
    virtual ~ProviderEnvironment() = default;
    // A new session of the provider (one reference for the caller), for clients and for hosts
    // alike; null when the provider cannot start, with VestaLastErrorText saying why.
    virtual IUnknown* newSession() = 0;
    // A host of `process` on this computer; by default in this process, through a session of
    // its own. Null (after a test failure) when it cannot be had.
    virtual std::unique_ptr<TestHost> newHost(const std::wstring& process);
};

struct EnvironmentFactory {
    std::string name;
    std::function<std::unique_ptr<ProviderEnvironment>()> make;
};

inline void PrintTo(const EnvironmentFactory& f, std::ostream* os) {
    *os << f.name;
}

class RecordingReceiver;

// Instantiate with INSTANTIATE_TEST_SUITE_P(Name, ProviderBehaviour, testing::Values(factory),
// ProviderName). Each case gets its own process name, a client connection with a recording
// receiver, and releases whatever it subscribed to at the end.
class ProviderBehaviour : public testing::TestWithParam<EnvironmentFactory> {
  protected:
    void SetUp() override;
    void TearDown() override;

    // A session of the provider; released at the end.
    IUnknown* newSession();
    // A host of this case's process, from the environment.
    std::unique_ptr<TestHost> makeHost();
    // \\machine\process\path of this case's process.
    std::wstring itemURL(const std::wstring& path) const;
    // Subscribes through the case's connection (or `rt`); the item is released at the end
    // unless the case releases it through release().
    IVestaRealTimeItem* add(const std::wstring& path, long handle);
    IVestaRealTimeItem* add(IVestaRealTime* rt, const std::wstring& path, long handle);
    void release(IVestaRealTimeItem* item);
    // add(), then waits until the subscription is alive (status, status, attributes, value).
    IVestaRealTimeItem* addAlive(const std::wstring& path, long handle);
    // A further connection with its own receiver (one reference each for the case, released at
    // the end).
    IVestaRealTime* connect(RecordingReceiver* receiver);

    std::unique_ptr<ProviderEnvironment> env_;
    RecordingReceiver* receiver_ = nullptr;
    IVestaRealTime* realTime_ = nullptr;
    std::wstring machine_;
    std::wstring process_;

  private:
    std::vector<IUnknown*> sessions_;
    std::vector<IVestaRealTime*> connections_;
    std::vector<IVestaRealTimeItem*> items_;
};

inline std::string ProviderName(const testing::TestParamInfo<EnvironmentFactory>& info) {
    return info.param.name;
}

}  // namespace vesta_test
