// libka_tagger_gx.so as a host program uses it: through its exported functions only, with the host
// runtime stand-in in the process and items published on the embedded provider.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ProductTestSupport.h"

namespace {

using namespace product_test;
using ka::kor::FlexData;

constexpr const char* kF64 = "\\\\.\\e2e\\plant.f64";
constexpr const char* kReadOnly = "\\\\.\\e2e\\plant.readonly";
constexpr const char* kMissing = "\\\\.\\e2e\\plant.missing";
constexpr const char* kNoHost = "\\\\.\\nobody\\plant.x";

class ka_tagger_gx : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        publisher_ = new Publisher(L"e2e");
        f64_ = publisher_->host().createItem(L"plant.f64", FlexData(1.5),
                                             VESTA_ACCESS_READ | VESTA_ACCESS_WRITE, L"a number");
        readOnly_ = publisher_->host().createItem(L"plant.readonly", FlexData(std::int32_t{7}),
                                                  VESTA_ACCESS_READ);
    }
    static void TearDownTestSuite() {
        f64_ = vesta::ItemHost::Item();
        readOnly_ = vesta::ItemHost::Item();
        delete publisher_;
        publisher_ = nullptr;
        GxHostShutdown();
        // Destroys the client (the count is back at 0 after every test).
        ka_tagger_gx_Startup();
        ka_tagger_gx_Cleanup();
    }
    void SetUp() override { f64_.update(FlexData(1.5)); }

    // Connects and waits until the item's first value can be read.
    static ka_tagger_gx_Refnum ConnectAndWait(const char* url) {
        const GxRefnum occ = GxHostNewOccurrence();
        const ka_tagger_gx_Refnum refnum = Connect(url, occ);
        EXPECT_NE(0u, refnum);
        EXPECT_EQ(GX_WAIT_FIRED, GxHostWaitOccurrence(occ, 10000));
        GxHostDisposeOccurrence(occ);
        EXPECT_TRUE(WaitUntil([&] { return Read(refnum).compare(0, 11, "0 00000000 ") == 0; }))
            << Read(refnum);
        return refnum;
    }

    static Publisher* publisher_;
    static vesta::ItemHost::Item f64_;
    static vesta::ItemHost::Item readOnly_;
};

Publisher* ka_tagger_gx::publisher_ = nullptr;
vesta::ItemHost::Item ka_tagger_gx::f64_;
vesta::ItemHost::Item ka_tagger_gx::readOnly_;

TEST_F(ka_tagger_gx, ConnectReadWriteSecondSubscriberDisconnect) {
    const GxRefnum occ = GxHostNewOccurrence();
    const ka_tagger_gx_Refnum first = Connect(kF64, occ, true);
    ASSERT_NE(0u, first);
    ASSERT_EQ(GX_WAIT_FIRED, GxHostWaitOccurrence(occ, 10000));
    Cluster error;
    // The attribute record's notification fires the occurrence first and marks the subscription
    // good right after, on its own thread.
    EXPECT_TRUE(
        WaitUntil([&] { return ka_tagger_gx_IsSubscriptionGood(first, error.ptr()) == 1; }));
    ASSERT_TRUE(WaitUntil([&] { return Read(first) == "0 00000000  | 1.5 q=0"; })) << Read(first);

    // The time is the item's own, in the host's epoch.
    ka_tagger_gx_TimeStamp time;
    Read(first, &time);
    const std::int64_t seconds =
        static_cast<std::int64_t>((std::uint64_t{time.words[3]} << 32) | time.words[2]);
    const std::int64_t expected = f64_.time().ticks / 10000000 - 9561628800LL;
    EXPECT_EQ(expected, seconds);

    EXPECT_EQ("0 00000000 ", Write(first, 42.25));
    EXPECT_TRUE(WaitUntil([&] { return f64_.value().getF64() == 42.25; }));
    const ka_tagger_gx_Refnum second = ConnectAndWait(kF64);
    EXPECT_NE(first, second);
    EXPECT_EQ("0 00000000  | 42.25 q=0", Read(second));

    // The host's updates reach both; the occurrence fired once per attribute record only.
    f64_.update(FlexData(-3.0));
    EXPECT_TRUE(WaitUntil([&] { return Read(first) == "0 00000000  | -3 q=0"; }));
    EXPECT_TRUE(WaitUntil([&] { return Read(second) == "0 00000000  | -3 q=0"; }));
    EXPECT_EQ(1u, GxHostOccurrenceFireCount(occ));
    GxHostDisposeOccurrence(occ);

    EXPECT_EQ("0 00000000 ", Disconnect(first));
    EXPECT_EQ("1 8ABC701C ka_tagger_gx_Read | (none) q=4294967295", Read(first));
    EXPECT_EQ("0 00000000  | -3 q=0", Read(second));
    EXPECT_EQ("0 00000000 ", Disconnect(second));
}

TEST_F(ka_tagger_gx, WarningsAndErrors) {
    const ka_tagger_gx_Refnum f64 = ConnectAndWait(kF64);
    f64_.setQuality(0x1);  // stale: a warning, value withheld
    EXPECT_TRUE(WaitUntil([&] { return Read(f64) == "0 8BBB0000 ka_tagger_gx_Read | (none) q=1"; }))
        << Read(f64);
    f64_.setQuality(0x20000100);  // in alarm and forced: good
    EXPECT_TRUE(WaitUntil([&] { return Read(f64) == "0 00000000  | 1.5 q=536871168"; }));
    f64_.setQuality(0x10);  // communication failure: an error
    EXPECT_TRUE(
        WaitUntil([&] { return Read(f64) == "1 8BBB0004 ka_tagger_gx_Read | (none) q=16"; }));
    f64_.update(FlexData(2.0));

    const ka_tagger_gx_Refnum missing = Connect(kMissing);
    EXPECT_TRUE(WaitUntil([&] {
        return Read(missing) == "1 8BBB0005 ka_tagger_gx_Read | (none) q=32";
    })) << Read(missing);
    const ka_tagger_gx_Refnum noHost = Connect(kNoHost);
    EXPECT_TRUE(WaitUntil([&] { return Read(noHost).compare(0, 2, "1 ") == 0; })) << Read(noHost);
    Cluster good;
    EXPECT_EQ(0, ka_tagger_gx_IsSubscriptionGood(missing, good.ptr()));

    // Writes the provider refuses at once are errors; a write to an item that never had a value
    // is no failure of the write.
    const ka_tagger_gx_Refnum readOnly = ConnectAndWait(kReadOnly);
    EXPECT_EQ("1 80004005 ka_tagger_gx_Write", Write(readOnly, 8.0));
    EXPECT_EQ(7, readOnly_.value().getI32());
    Variant text;
    *text.handle() = GxVarNew();
    GxVarSetString(text.get(), GX_TYPE_ASTRING, "not a number", -1);
    Cluster mismatch;
    ka_tagger_gx_Write(f64, text.handle(), mismatch.ptr());
    EXPECT_EQ("1 80004005 ka_tagger_gx_Write", mismatch.str());
    EXPECT_EQ("1 80004005 ka_tagger_gx_Write", Write(missing, 1.0));

    for (ka_tagger_gx_Refnum r : {f64, missing, noHost, readOnly}) {
        EXPECT_EQ("0 00000000 ", Disconnect(r));
    }
}

TEST_F(ka_tagger_gx, NullStaleAndUnknownRefnums) {
    const ka_tagger_gx_Refnum stale = Connect(kF64);
    EXPECT_EQ("0 00000000 ", Disconnect(stale));
    const ka_tagger_gx_Refnum unknown = 4000;
    const FlexData packet(1.0);
    for (ka_tagger_gx_Refnum r : {ka_tagger_gx_Refnum{0}, stale, unknown}) {
        SCOPED_TRACE(r);
        const std::string code = r == 0 ? "8ABC701D" : "8ABC701C";
        EXPECT_EQ("1 " + code + " ka_tagger_gx_Read | (none) q=4294967295", Read(r));
        EXPECT_EQ("1 80004005 ka_tagger_gx_Write", Write(r, 1.0));
        EXPECT_EQ("1 80004005 ka_tagger_gx_Disconnect", Disconnect(r));
        Cluster error;
        EXPECT_EQ(0, ka_tagger_gx_IsSubscriptionGood(r, error.ptr()));
        EXPECT_EQ("1 80004005 ka_tagger_gx_IsSubscriptionGood", error.str());
        const std::int32_t failure = static_cast<std::int32_t>(0x80004005u);
        EXPECT_EQ(failure, ka_tagger_gx_fpb_Write(r, packet.begin(), packet.end()));
        EXPECT_EQ(failure, ka_tagger_gx_fpb_Disconnect(r));
    }
}

TEST_F(ka_tagger_gx, TheFrame) {
    const ka_tagger_gx_Refnum refnum = ConnectAndWait(kF64);
    Variant value(5.0);
    std::uint32_t quality = 99;
    ka_tagger_gx_TimeStamp time = {{1, 2, 3, 4}};
    GxBoolean no = 0;
    GxRefnum none = 0;
    {
        // An error on entry: nothing happens, except that Disconnect runs.
        Cluster error(true, 12, "earlier");
        EXPECT_EQ(0u, ka_tagger_gx_Connect(kF64, &no, &no, &none, error.ptr()));
        EXPECT_EQ(0u, ka_tagger_gx_ConnectBuffered(kF64, &no, &no, -1, 1, &no, &none, error.ptr()));
        Variant out;
        ka_tagger_gx_Read(refnum, out.handle(), &quality, &time, error.ptr());
        EXPECT_EQ(nullptr, out.get());
        EXPECT_EQ(99u, quality);
        ka_tagger_gx_Write(refnum, value.handle(), error.ptr());
        EXPECT_EQ(0, ka_tagger_gx_IsSubscriptionGood(refnum, error.ptr()));
        EXPECT_EQ("1 0000000C earlier", error.str());
        EXPECT_EQ(1.5, f64_.value().getF64());
        ka_tagger_gx_Disconnect(refnum, error.ptr());
        EXPECT_EQ("1 0000000C earlier", error.str());
        EXPECT_EQ("1 8ABC701C ka_tagger_gx_Read | (none) q=4294967295", Read(refnum));
    }
    {
        Cluster error;
        EXPECT_EQ(0u, ka_tagger_gx_ConnectBuffered("\\\\.\\e2e", &no, &no, -1, 1, &no, &none,
                                                   error.ptr()));
        EXPECT_EQ("1 80004005 ka_tagger_gx_Connect", error.str());
    }
    {
        // The host cannot make room for the source text: status and code still arrive.
        Cluster error(false, 0, "earlier");
        GxHostFailNextAllocations(1);
        ka_tagger_gx_Disconnect(0, error.ptr());
        GxHostClearAllocationFailures();
        EXPECT_EQ("1 80004005 earlier", error.str());
    }
}

TEST_F(ka_tagger_gx, IdleCleanUpEndsConnectionsButNotBindings) {
    const ka_tagger_gx_Refnum a = Connect(kF64);
    const ka_tagger_gx_Refnum b = Connect(kReadOnly);
    ITEMSTATE state;
    std::memset(&state, 0, sizeof state);
    state.mask = 0x1;
    state.accessFlags = 0x09;
    ka_tagger_gx_Refnum bound = 0;
    LStrHandle url = GxHostNewLStr(kF64, -1);
    ASSERT_EQ(0, ka_tagger_gx_fpb_Connect(url, 501, &state, &bound));
    DSDisposeHandle(reinterpret_cast<UHandle>(url));

    EXPECT_EQ(2, GxHostPendingCleanups(GX_ALL_PROGRAMS));
    EXPECT_EQ(2, GxHostProgramIdle(GX_PROGRAM_DEFAULT));
    EXPECT_EQ("1 80004005 ka_tagger_gx_Disconnect", Disconnect(a));
    EXPECT_EQ("1 80004005 ka_tagger_gx_Disconnect", Disconnect(b));
    const FlexData packet(9.5);
    EXPECT_EQ(0, ka_tagger_gx_fpb_Write(bound, packet.begin(), packet.end()));
    EXPECT_TRUE(WaitUntil([&] { return f64_.value().getF64() == 9.5; }));
    EXPECT_EQ(0, ka_tagger_gx_fpb_Disconnect(bound));

    // An explicit Disconnect withdraws the clean-up.
    const ka_tagger_gx_Refnum c = Connect(kF64);
    EXPECT_EQ(1, GxHostPendingCleanups(GX_ALL_PROGRAMS));
    EXPECT_EQ("0 00000000 ", Disconnect(c));
    EXPECT_EQ(0, GxHostPendingCleanups(GX_ALL_PROGRAMS));
}

// A front panel of several controls, each bound to an item, with what the host heard per binding.
class Panel {
  public:
    Panel() {
        GxPSPListener listener = {&Panel::OnData, &Panel::OnQuality, &Panel::OnStatus, this};
        GxHostSetPSPCatchAllListener(&listener);
    }
    ~Panel() { GxHostSetPSPCatchAllListener(nullptr); }

    std::vector<std::string> heard(std::uint32_t context) {
        std::lock_guard<std::mutex> lock(mutex_);
        return heard_[context];
    }
    bool heardLine(std::uint32_t context, const std::string& line) {
        for (const std::string& l : heard(context)) {
            if (l == line) {
                return true;
            }
        }
        return false;
    }

  private:
    static void OnData(void* user, std::uint32_t context, const unsigned char* begin,
                       const unsigned char* end) {
        FlexData value;
        value.copyFrom(begin, end);
        char line[64];
        std::snprintf(line, sizeof line, "data %g", value.getF64());
        static_cast<Panel*>(user)->add(context, line);
    }
    static void OnQuality(void* user, std::uint32_t context, std::uint32_t quality) {
        static_cast<Panel*>(user)->add(context, "quality " + std::to_string(quality));
    }
    static void OnStatus(void* user, std::uint32_t context, std::int32_t state, std::int32_t code,
                         std::int32_t detail) {
        char line[64];
        std::snprintf(line, sizeof line, "status %d %08X %d", state, static_cast<unsigned>(code),
                      detail);
        static_cast<Panel*>(user)->add(context, line);
    }
    void add(std::uint32_t context, const std::string& line) {
        std::lock_guard<std::mutex> lock(mutex_);
        heard_[context].push_back(line);
    }

    std::mutex mutex_;
    std::map<std::uint32_t, std::vector<std::string>> heard_;
};

TEST_F(ka_tagger_gx, WholeFrontPanel) {
    Panel panel;
    EXPECT_EQ(0, ka_tagger_gx_fpb_Initialize());
    struct Control {
        std::uint32_t context;
        const char* url;
        std::uint32_t mask;
        std::uint16_t flags;
        const char* settled;  // the status the control ends in
        ka_tagger_gx_Refnum refnum;
    } controls[] = {
        {1, kF64, 0x1, 0x09, "status 2 00000000 0", 0},
        {2, kF64, 0x0, 0x09, "status 2 00000000 0", 0},  // read only
        {3, kReadOnly, 0x1, 0x01, "status 2 00000000 0", 0},
        {4, kReadOnly, 0x1, 0x09, "status 4 8ABC0066 0", 0},
        {5, kMissing, 0x1, 0x01, "", 0},
    };
    for (Control& c : controls) {
        ITEMSTATE state;
        std::memset(&state, 0, sizeof state);
        state.mask = c.mask;
        state.accessFlags = c.flags;
        LStrHandle url = GxHostNewLStr(c.url, -1);
        ASSERT_EQ(0, ka_tagger_gx_fpb_Connect(url, c.context, &state, &c.refnum));
        DSDisposeHandle(reinterpret_cast<UHandle>(url));
    }
    EXPECT_EQ(0, GxHostPendingCleanups(GX_ALL_PROGRAMS));
    for (const Control& c : controls) {
        SCOPED_TRACE(c.context);
        if (*c.settled != '\0') {
            EXPECT_TRUE(WaitUntil([&] { return panel.heardLine(c.context, c.settled); }));
        }
    }
    EXPECT_TRUE(WaitUntil([&] { return panel.heardLine(1, "data 1.5"); }));
    EXPECT_TRUE(panel.heardLine(1, "quality 0"));
    EXPECT_TRUE(WaitUntil([&] { return panel.heardLine(5, "quality 32"); }));
    EXPECT_FALSE(panel.heardLine(5, "data 1.5"));

    // A write through one control reaches the item and every control bound to it.
    const FlexData packet(6.5);
    EXPECT_EQ(0, ka_tagger_gx_fpb_Write(controls[0].refnum, packet.begin(), packet.end()));
    EXPECT_TRUE(WaitUntil([&] { return panel.heardLine(2, "data 6.5"); }));
    EXPECT_EQ(6.5, f64_.value().getF64());

    // The item's host goes away and comes back.
    publisher_->host().unregister();
    EXPECT_TRUE(WaitUntil([&] { return panel.heardLine(1, "quality 4194304"); }));
    publisher_->host().reregister();
    EXPECT_TRUE(WaitUntil([&] { return panel.heard(1).back() == "data 6.5"; }));

    for (const Control& c : controls) {
        EXPECT_EQ(0, ka_tagger_gx_fpb_Disconnect(c.refnum));
    }
    const std::size_t heard = panel.heard(1).size();
    f64_.update(FlexData(7.5));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(heard, panel.heard(1).size());  // nothing after Disconnect returned
    EXPECT_EQ(0, ka_tagger_gx_fpb_Finalize());
}

TEST_F(ka_tagger_gx, StartupAndCleanupCount) {
    const ka_tagger_gx_Refnum before = Connect(kF64);  // no start-up: the client comes anyway
    ASSERT_NE(0u, before);
    ka_tagger_gx_Startup();
    ka_tagger_gx_Startup();
    ka_tagger_gx_Cleanup();
    EXPECT_EQ("0 00000000 ", Disconnect(Connect(kF64)));
    EXPECT_EQ("0 00000000 ", Disconnect(Connect(kF64)));
    ka_tagger_gx_Cleanup();  // the last: the client and its items are gone
    EXPECT_EQ("1 8ABC701C ka_tagger_gx_Read | (none) q=4294967295", Read(before));
    // The first item's idle clean-up stays with the host; when it runs it finds no such refnum.
    EXPECT_EQ(1, GxHostPendingCleanups(GX_ALL_PROGRAMS));
    EXPECT_EQ(1, GxHostProgramIdle(GX_ALL_PROGRAMS));

    const ka_tagger_gx_Refnum kept = Connect(kF64);
    ka_tagger_gx_Cleanup();  // below zero: destroys nothing
    ka_tagger_gx_Startup();  // back to zero: destroys nothing either
    EXPECT_EQ("0 00000000 ", Disconnect(kept));
}

}  // namespace
