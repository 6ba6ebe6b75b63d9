#include "ka/tagger/gx/Initializer.h"

#include <exception>

#include "ka/kor/exception.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

// True from the construction of the static initializer to its destruction. A plain flag in
// static storage stays readable after the initializer is gone, unlike its guard: the host's exit
// processing may still call an idle clean-up procedure of this library then.
bool gInitializerAlive = false;

}  // namespace

Initializer Initializer::instance_;

Initializer::Initializer() : client_(nullptr), configCache_(nullptr), startupCount_(0) {
    gInitializerAlive = true;
}

Initializer::~Initializer() {
    guard_.enter();
    gInitializerAlive = false;
    delete client_.exchange(nullptr);
    delete configCache_;
    configCache_ = nullptr;
    guard_.leave();
}

void Initializer::startup() {
    Initializer& self = instance_;
    kor::osdep::CriticalSection::Guard guard(self.guard_);
    if (self.configCache_ == nullptr) {
        self.configCache_ = new ConfigCache();
    }
    ++self.startupCount_;
}

void Initializer::cleanup() {
    Initializer& self = instance_;
    std::exception_ptr disposalFailure;
    {
        kor::osdep::CriticalSection::Guard guard(self.guard_);
        if (--self.startupCount_ != 0) {
            return;
        }
        delete self.client_.exchange(nullptr, std::memory_order_acq_rel);
        if (self.configCache_ != nullptr) {
            try {
                self.configCache_->disposeOwned();
            } catch (...) {
                disposalFailure = std::current_exception();
            }
            delete self.configCache_;
            self.configCache_ = nullptr;
        }
    }
    if (disposalFailure) {
        std::rethrow_exception(disposalFailure);
    }
}

Client* Initializer::getGlobalClient() {
    if (!gInitializerAlive) {
        throw kor::exception::InitializationFailure(__LINE__, "ka/tagger/gx/Initializer");
    }
    Initializer& self = instance_;
    if (Client* client = self.client_.load(std::memory_order_acquire)) {
        return client;
    }
    kor::osdep::CriticalSection::Guard guard(self.guard_);
    Client* client = self.client_.load(std::memory_order_relaxed);
    if (client == nullptr) {
        client = new Client();
        self.client_.store(client, std::memory_order_release);
    }
    return client;
}

ConfigCache* Initializer::getConfigCacheRef() noexcept {
    return instance_.configCache_;
}

std::int32_t Initializer::startupCount() {
    Initializer& self = instance_;
    kor::osdep::CriticalSection::Guard guard(self.guard_);
    return self.startupCount_;
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
