#include "Memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "gxhost/GxHost.h"

namespace gxhost {

namespace {

// A handle is the address of its master pointer, which stands first in a cell of its own, so the
// handle stays the same while its bytes move. The marker catches handles this runtime did not
// make (and, under AddressSanitizer, handles already disposed of are reported on the read).
struct Cell {
    void* data;
    std::int32_t size;
    std::uint32_t marker;
};
constexpr std::uint32_t kCellMarker = 0x47784831;  // "GxH1"

struct FailureSchedule {
    std::mutex lock;
    std::int32_t failNext = 0;  // this many further allocations fail
    std::int32_t failAt = 0;    // the allocation that brings this to 0 fails
    // Whether either count is set, read without the lock: every host allocation asks, and
    // nearly always nothing is scheduled, so the common path takes no lock.
    std::atomic<bool> armed{false};

    // Called under lock after a count changed.
    void rearm() { armed.store(failNext > 0 || failAt > 0, std::memory_order_release); }
};

// Never destroyed: procedures that run while the library unloads may still allocate.
FailureSchedule& Schedule() {
    static FailureSchedule* s = new FailureSchedule;
    return *s;
}

std::atomic<std::uint32_t> g_allocations{0};
std::atomic<std::uint32_t> g_injected{0};
std::atomic<std::int32_t> g_liveBlocks{0};
std::atomic<std::int32_t> g_liveVariants{0};

Cell* CellOf(UHandle h) {
    Cell* cell = reinterpret_cast<Cell*>(h);
    return cell->marker == kCellMarker ? cell : nullptr;
}

// Resizes the cell's bytes, zero-filling growth; false (cell unchanged) when memory is short.
bool Resize(Cell* cell, std::int32_t size) {
    // realloc(p, 0) may free p; a one-byte block keeps every handle pointing somewhere.
    void* data = std::realloc(cell->data, size > 0 ? static_cast<std::size_t>(size) : 1);
    if (data == nullptr) {
        return false;
    }
    if (size > cell->size) {
        std::memset(static_cast<char*>(data) + cell->size, 0,
                    static_cast<std::size_t>(size - cell->size));
    }
    cell->data = data;
    cell->size = size;
    return true;
}

}  // namespace

bool AllocationMayProceed() {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    FailureSchedule& s = Schedule();
    if (!s.armed.load(std::memory_order_acquire)) {
        return true;
    }
    std::lock_guard<std::mutex> hold(s.lock);
    bool fail = false;
    if (s.failNext > 0) {
        --s.failNext;
        fail = true;
    }
    // Every allocation moves the countdown on, also one that already fails for failNext.
    if (s.failAt > 0 && --s.failAt == 0) {
        fail = true;
    }
    s.rearm();
    if (fail) {
        g_injected.fetch_add(1, std::memory_order_relaxed);
    }
    return !fail;
}

UHandle NewHandle(std::int32_t size) {
    if (size < 0) {
        return nullptr;
    }
    Cell* cell = static_cast<Cell*>(std::malloc(sizeof(Cell)));
    if (cell == nullptr) {
        return nullptr;
    }
    cell->data = std::calloc(size > 0 ? static_cast<std::size_t>(size) : 1, 1);
    if (cell->data == nullptr) {
        std::free(cell);
        return nullptr;
    }
    cell->size = size;
    cell->marker = kCellMarker;
    g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    return reinterpret_cast<UHandle>(cell);
}

void* NewPtr(std::size_t size) {
    void* p = std::calloc(size > 0 ? size : 1, 1);
    if (p != nullptr) {
        g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return p;
}

void NoteVariantCreated() {
    g_liveVariants.fetch_add(1, std::memory_order_relaxed);
}

void NoteVariantDisposed() {
    g_liveVariants.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace gxhost

using gxhost::AllocationMayProceed;

extern "C" {

UHandle DSNewHandle(int32_t size) {
    if (size < 0 || !AllocationMayProceed()) {
        return nullptr;
    }
    return gxhost::NewHandle(size);
}

MgErr DSSetHandleSize(UHandle h, int32_t size) {
    if (h == nullptr || size < 0) {
        return mgArgErr;
    }
    gxhost::Cell* cell = gxhost::CellOf(h);
    if (cell == nullptr) {
        return mgArgErr;
    }
    if (!AllocationMayProceed() || !gxhost::Resize(cell, size)) {
        return mFullErr;
    }
    return mgNoErr;
}

MgErr DSDisposeHandle(UHandle h) {
    if (h == nullptr) {
        return mgNoErr;
    }
    gxhost::Cell* cell = gxhost::CellOf(h);
    if (cell == nullptr) {
        return mgArgErr;
    }
    cell->marker = 0;
    std::free(cell->data);
    std::free(cell);
    gxhost::g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    return mgNoErr;
}

void* DSNewPtr(int32_t size) {
    if (size < 0 || !AllocationMayProceed()) {
        return nullptr;
    }
    return gxhost::NewPtr(static_cast<std::size_t>(size));
}

MgErr DSDisposePtr(void* p) {
    if (p != nullptr) {
        std::free(p);
        gxhost::g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    }
    return mgNoErr;
}

MgErr NumericArrayResize(int32_t typeCode, int32_t numDims, UHandle* h, int32_t count) {
    // Only what the product asks for: one dimension of unsigned bytes after the 32-bit count.
    constexpr int32_t kUnsignedBytes = 5;
    if (typeCode != kUnsignedBytes || numDims != 1 || h == nullptr || count < 0 ||
        count > INT32_MAX - 4) {
        return mgArgErr;
    }
    const int32_t size = 4 + count;
    if (*h == nullptr) {
        if (!AllocationMayProceed()) {
            return mFullErr;
        }
        UHandle made = gxhost::NewHandle(size);
        if (made == nullptr) {
            return mFullErr;
        }
        *h = made;
        return mgNoErr;
    }
    return DSSetHandleSize(*h, size);
}

void GxHostFailNextAllocations(int32_t count) {
    gxhost::FailureSchedule& s = gxhost::Schedule();
    std::lock_guard<std::mutex> hold(s.lock);
    s.failNext = count > 0 ? count : 0;
    s.rearm();
}

void GxHostFailAllocationAt(int32_t nth) {
    gxhost::FailureSchedule& s = gxhost::Schedule();
    std::lock_guard<std::mutex> hold(s.lock);
    s.failAt = nth > 0 ? nth : 0;
    s.rearm();
}

void GxHostClearAllocationFailures(void) {
    gxhost::FailureSchedule& s = gxhost::Schedule();
    std::lock_guard<std::mutex> hold(s.lock);
    s.failNext = 0;
    s.failAt = 0;
    s.rearm();
}

uint32_t GxHostAllocationCount(void) {
    return gxhost::g_allocations.load(std::memory_order_relaxed);
}

uint32_t GxHostInjectedFailureCount(void) {
    return gxhost::g_injected.load(std::memory_order_relaxed);
}

int32_t GxHostLiveBlocks(void) {
    return gxhost::g_liveBlocks.load(std::memory_order_relaxed);
}

int32_t GxHostLiveVariants(void) {
    return gxhost::g_liveVariants.load(std::memory_order_relaxed);
}

LStrHandle GxHostNewLStr(const char* bytes, int32_t length) {
    if (length < 0) {
        const std::size_t n = bytes != nullptr ? std::strlen(bytes) : 0;
        if (n > static_cast<std::size_t>(INT32_MAX - 4)) {
            return nullptr;
        }
        length = static_cast<int32_t>(n);
    }
    if (length > INT32_MAX - 4 || (bytes == nullptr && length > 0)) {
        return nullptr;
    }
    LStrHandle h = reinterpret_cast<LStrHandle>(gxhost::NewHandle(4 + length));
    if (h != nullptr) {
        (*h)->cnt = length;
        if (length > 0) {
            std::memcpy((*h)->str, bytes, static_cast<std::size_t>(length));
        }
    }
    return h;
}

}  // extern "C"
