// Memory exhaustion at every allocation of a Connect, Read, Write, Disconnect sequence: the Nth
// allocation made on the test's thread fails, for N = 1, 2, ... until the sequence runs through
// without reaching N. Allocations are those of the library heap and of operator new (replaced
// below: this program's definitions stand before the library's in the process) and, in a second
// pass, those of the host runtime. No exception may escape (the exported functions would end the
// process), nothing may leak (AddressSanitizer checks at exit), and everything works afterwards.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "ProductTestSupport.h"
#include "ka/kor/DLLAlloc.h"

// The replacements below pair operator new with free on purpose (both are this program's own);
// the compiler cannot see that they belong together.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {

// Only allocations made on this thread while a library call runs are counted, so neither the
// provider's own threads nor the test's bookkeeping are disturbed.
thread_local bool tArmed = false;
thread_local long tFailAt = 0;
thread_local long tFailures = 0;

bool FailNow() noexcept {
    if (tArmed && tFailAt > 0 && --tFailAt == 0) {
        ++tFailures;
        return true;
    }
    return false;
}

// Runs one call of the library with the countdown running.
template <class Call>
void Armed(Call call) {
    tArmed = true;
    call();
    tArmed = false;
}

void* Allocate(std::size_t n) noexcept {
    return FailNow() ? nullptr : std::malloc(n == 0 ? 1 : n);
}

}  // namespace

void* operator new(std::size_t n) {
    if (void* p = Allocate(n)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
    if (void* p = Allocate(n)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return Allocate(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return Allocate(n);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

namespace ka {
namespace kor {

void* DLLMallocNoThrow(unsigned int n) noexcept {
    return FailNow() ? nullptr : std::malloc(n);
}
void* DLLMalloc(unsigned int n) {
    if (void* p = DLLMallocNoThrow(n)) {
        return p;
    }
    throw std::bad_alloc();
}
void* DLLReallocNoThrow(void* p, unsigned int n) noexcept {
    return FailNow() ? nullptr : std::realloc(p, n);
}
void* DLLRealloc(void* p, unsigned int n) {
    void* q = DLLReallocNoThrow(p, n);
    if (q == nullptr && n != 0) {
        throw std::bad_alloc();
    }
    return q;
}

}  // namespace kor
}  // namespace ka

namespace {

using namespace product_test;

constexpr const char* kF64 = "\\\\.\\oom\\x";
constexpr long kMaxAllocations = 5000;

class ka_tagger_gxAllocation : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        publisher_ = new Publisher(L"oom");
        item_ = publisher_->host().createItem(L"x", ka::kor::FlexData(1.0),
                                              VESTA_ACCESS_READ | VESTA_ACCESS_WRITE);
    }
    static void TearDownTestSuite() {
        item_ = vesta::ItemHost::Item();
        delete publisher_;
        GxHostShutdown();
        ka_tagger_gx_Startup();
        ka_tagger_gx_Cleanup();
    }
    static void DestroyClient() {
        ka_tagger_gx_Startup();
        ka_tagger_gx_Cleanup();
    }
    static ka_tagger_gx_Refnum ConnectAndWait() {
        const ka_tagger_gx_Refnum refnum = Connect(kF64);
        EXPECT_TRUE(WaitUntil([&] { return Read(refnum).compare(0, 11, "0 00000000 ") == 0; }));
        return refnum;
    }
    // The sequence everything is tried on: a connection and the calls on an established one.
    // Every call of the library runs under Armed; the test's own allocations come before.
    static void Sequence(ka_tagger_gx_Refnum established, ka_tagger_gx_Refnum& fresh) {
        Cluster error;
        GxBoolean no = 0;
        GxRefnum none = 0;
        Variant value;
        Variant written(2.0);
        std::uint32_t quality;
        ka_tagger_gx_TimeStamp time;
        Armed([&] { fresh = ka_tagger_gx_Connect(kF64, &no, &no, &none, error.ptr()); });
        for (ka_tagger_gx_Refnum r : {established, fresh}) {
            *error.ptr() = ErrorCluster{0, 0, error.ptr()->source};
            Armed([&] { ka_tagger_gx_Read(r, value.handle(), &quality, &time, error.ptr()); });
            *error.ptr() = ErrorCluster{0, 0, error.ptr()->source};
            Armed([&] { ka_tagger_gx_Write(r, written.handle(), error.ptr()); });
            *error.ptr() = ErrorCluster{0, 0, error.ptr()->source};
            Armed([&] { ka_tagger_gx_IsSubscriptionGood(r, error.ptr()); });
        }
        Armed([&] { ka_tagger_gx_Disconnect(fresh, error.ptr()); });
        Armed([&] { ka_tagger_gx_Disconnect(established, error.ptr()); });
    }
    // Works as if nothing had happened, and keeps nothing.
    static void ExpectHealthy(int variants) {
        EXPECT_EQ(0, GxHostPendingCleanups(GX_ALL_PROGRAMS));
        EXPECT_EQ(variants, GxHostLiveVariants());
        const ka_tagger_gx_Refnum refnum = ConnectAndWait();
        EXPECT_EQ("0 00000000 ", Write(refnum, 3.0));
        EXPECT_EQ("0 00000000 ", Disconnect(refnum));
    }

    static Publisher* publisher_;
    static vesta::ItemHost::Item item_;
};

Publisher* ka_tagger_gxAllocation::publisher_ = nullptr;
vesta::ItemHost::Item ka_tagger_gxAllocation::item_;

TEST_F(ka_tagger_gxAllocation, EveryAllocationOfTheLibraryMayFail) {
    const int variants = GxHostLiveVariants();
    long n = 1;
    for (; n < kMaxAllocations; ++n) {
        SCOPED_TRACE(n);
        // Starting without a client: the first call creates it, and each of its steps can fail.
        DestroyClient();
        tFailures = 0;
        tFailAt = n;
        {
            Cluster error;
            GxBoolean no = 0;
            GxRefnum none = 0;
            ka_tagger_gx_Refnum first = 0;
            Armed([&] { first = ka_tagger_gx_Connect(kF64, &no, &no, &none, error.ptr()); });
            Armed([&] { ka_tagger_gx_Disconnect(first, error.ptr()); });
        }
        const bool reached = tFailures != 0;
        tFailAt = 0;
        // With a client and an established item, the rest of the sequence.
        const ka_tagger_gx_Refnum established = ConnectAndWait();
        ka_tagger_gx_Refnum fresh = 0;
        tFailures = 0;
        tFailAt = n;
        Sequence(established, fresh);
        const bool reachedAgain = tFailures != 0;
        tFailAt = 0;
        Disconnect(fresh);  // whatever a failure left connected
        Disconnect(established);
        ExpectHealthy(variants);
        if (!reached && !reachedAgain) {
            break;
        }
    }
    EXPECT_LT(n, kMaxAllocations);
    EXPECT_GT(n, 10);  // the sequence does allocate: the injection reached it
    RecordProperty("allocations", static_cast<int>(n - 1));
}

TEST_F(ka_tagger_gxAllocation, EveryHostAllocationMayFail) {
    const int variants = GxHostLiveVariants();
    long n = 1;
    for (; n < kMaxAllocations; ++n) {
        SCOPED_TRACE(n);
        const ka_tagger_gx_Refnum established = ConnectAndWait();
        const std::uint32_t injected = GxHostInjectedFailureCount();
        ka_tagger_gx_Refnum fresh = 0;
        GxHostFailAllocationAt(static_cast<std::int32_t>(n));
        Sequence(established, fresh);
        GxHostClearAllocationFailures();
        Disconnect(fresh);
        Disconnect(established);
        ExpectHealthy(variants);
        if (GxHostInjectedFailureCount() == injected) {
            break;
        }
    }
    EXPECT_LT(n, kMaxAllocations);
    EXPECT_GT(n, 3);
    RecordProperty("hostAllocations", static_cast<int>(n - 1));
}

}  // namespace
