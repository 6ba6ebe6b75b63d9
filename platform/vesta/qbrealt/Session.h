// A provider session as GetVestaSession hands it out: a reference-counted handle on one provider
// backend. Every session of the embedded provider in a process shares the same backend, so hosts
// and clients of one process find each other whichever session they came through.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "vesta/VestaRealTime.h"

namespace vesta {

class Provider;

class Session final : public IUnknown {
  public:
    // One reference for the caller.
    explicit Session(std::shared_ptr<Provider> provider) noexcept;

    // Answers IID_IUnknown and the library's private session identifier.
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

    const std::shared_ptr<Provider>& provider() const noexcept { return provider_; }

    // The provider behind `session` when it is one of ours, else null. Takes no reference.
    static std::shared_ptr<Provider> ProviderOf(IUnknown* session) noexcept;

  private:
    ~Session() = default;

    std::atomic<std::uint32_t> refs_{1};
    const std::shared_ptr<Provider> provider_;
};

}  // namespace vesta
