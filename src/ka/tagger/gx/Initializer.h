// Owner of the process-wide Client and configuration cache: one static object, constructed when
// the library loads. It counts start-ups, creates the client on first use (so an exported call
// works without a start-up) and destroys client and cache when the last start-up is undone.
//
// Deliberately, the count may go below zero: a clean-up without a start-up destroys nothing, and
// the start-up that follows only brings the count back to zero, destroying nothing either. Hosts
// rely on unmatched calls being harmless.
//
// Lock order: the initializer's guard before the client's lock; the client's lock is never held
// while the guard is taken.
#pragma once

#include <atomic>
#include <cstdint>

#include "ka/kor/osdep/CriticalSection.h"
#include "ka/tagger/gx/Client.h"
#include "ka/tagger/gx/ConfigCache.h"

namespace ka {
namespace tagger {
namespace gx {

class Initializer {
  public:
    // Creates the configuration cache if there is none, then counts one start-up.
    static void startup();
    // Counts one start-up undone; when the count reaches exactly 0, destroys the client (if any)
    // and the cache (if any). A failure to dispose of the cache's owned object is raised after the
    // teardown is complete and the guard released.
    static void cleanup();
    // The client, created first if there is none (a failing creation propagates and leaves none).
    // After the library's static objects are gone (process exit, unload) it raises
    // InitializationFailure instead.
    static Client* getGlobalClient();
    // The cache, or null outside start-up; no lock is taken.
    static ConfigCache* getConfigCacheRef() noexcept;

    // The start-up count, for diagnostics.
    static std::int32_t startupCount();

    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;

  private:
    Initializer();
    // Destroys whatever is left, so that an unloaded library leaves no provider connection that
    // would call into code no longer there.
    ~Initializer();

    static Initializer instance_;

    kor::osdep::CriticalSection guard_;
    // Written only under the guard; read without it once set, since every exported call reads it
    // (a client is destroyed only by the last clean-up, which no host call may overlap).
    std::atomic<Client*> client_;
    ConfigCache* configCache_;
    std::int32_t startupCount_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
