// The socket layer's start-up count. Sockets on this platform need no process-wide set-up, so
// the count is all there is: it lets a client pair its calls and tells an unmatched cleanup.
#include "vesta/VestaRealTime.h"

#include <atomic>

namespace {
std::atomic<std::int32_t> gStartups{0};
}  // namespace

extern "C" HRESULT VestaSocketStartup(void) {
    gStartups.fetch_add(1, std::memory_order_relaxed);
    return S_OK;
}

extern "C" HRESULT VestaSocketCleanup(void) {
    std::int32_t n = gStartups.load(std::memory_order_relaxed);
    while (n > 0) {
        if (gStartups.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
            return S_OK;
        }
    }
    return S_FALSE;
}
