// The behaviour every provider shows its clients, as one suite that each provider's test program
// instantiates with its own environment: the suite speaks only the client interfaces and the
// item-host interface, so the same cases hold the embedded provider and a broker-backed one to
// the same promises.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace vesta_test {

// What the suite needs from a provider under test.
class ProviderEnvironment {
  public:
    virtual ~ProviderEnvironment() = default;
    // A new session of the provider (one reference for the caller), for clients and for hosts
    // alike; null when the provider cannot start, with VestaLastErrorText saying why.
    virtual IUnknown* newSession() = 0;
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
    // Registers a host of this case's process (through a session of its own).
    std::unique_ptr<vesta::ItemHost> makeHost();
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
