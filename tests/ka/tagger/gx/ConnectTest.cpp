// The exported frame, connecting and disconnecting, and the life of the process-wide client, on
// the stand-in provider and host.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "FakePlatform.h"
#include "ka/tagger/gx/Initializer.h"
#include "vesta/VestaRealTime.h"

namespace {

using ka::tagger::gx::Initializer;

class ConnectTest : public ::testing::Test {
  protected:
    void SetUp() override { fake::ResetLibrary(); }
    void TearDown() override { fake::ResetLibrary(); }

    ka_tagger_gx_Refnum connect(const char* url, GxRefnum occurrence = 0) {
        fake::Cluster error;
        GxBoolean no = 0;
        const ka_tagger_gx_Refnum refnum =
            ka_tagger_gx_Connect(url, &no, &no, &occurrence, error.ptr());
        EXPECT_EQ("0 00000000 ", error.str());
        return refnum;
    }
};

TEST_F(ConnectTest, ConnectFillsTheItemStateByteForByte) {
    struct {
        GxBoolean first, write;
        std::int32_t bufferSize, updateRate;
        GxBoolean buffered;
        std::uint16_t flags;
    } const rows[] = {
        {0, 0, -1, 1, 1, 0x45},
        {1, 0, 16, 250, 0, 0x47},
        {0, 1, 0, 0, 1, 0x4D},
        {1, 1, 7, -3, 2, 0x4F},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.flags);
        fake::Cluster error;
        GxBoolean first = r.first, write = r.write, buffered = r.buffered;
        GxRefnum none = 0;
        const ka_tagger_gx_Refnum refnum =
            ka_tagger_gx_ConnectBuffered("\\\\m1\\p\\x", &first, &write, r.bufferSize, r.updateRate,
                                         &buffered, &none, error.ptr());
        ASSERT_NE(0u, refnum);
        unsigned char given[sizeof(ITEMSTATE)];
        std::memcpy(given, &fake::vesta().items.back()->given, sizeof given);
        std::uint32_t mask;
        std::uint16_t flags;
        std::int32_t at16, at20;
        std::memcpy(&mask, given, 4);
        std::memcpy(&flags, given + 4, 2);
        std::memcpy(&at16, given + 16, 4);
        std::memcpy(&at20, given + 20, 4);
        EXPECT_EQ(0x71u, mask);
        EXPECT_EQ(r.flags, flags);
        EXPECT_EQ(r.updateRate, at16);
        EXPECT_EQ(r.bufferSize, at20);
        EXPECT_EQ(r.buffered, given[24]);
        ka_tagger_gx_Disconnect(refnum, error.ptr());
    }
    connect("\\\\m1\\p\\x");
    const ITEMSTATE& plain = fake::vesta().items.back()->given;
    EXPECT_EQ(0x45, plain.accessFlags);
    EXPECT_EQ(1, plain.updateRate);
    EXPECT_EQ(-1, plain.bufferSize);
    EXPECT_EQ(1, plain.buffered);
}

TEST_F(ConnectTest, FailedConnectionsReportConnectAndLeaveNothing) {
    GxBoolean no = 0;
    GxRefnum none = 0;
    struct {
        const char* what;
        std::function<ka_tagger_gx_Refnum(ErrorCluster*)> call;
    } const rows[] = {
        {"bad URL",
         [&](ErrorCluster* e) { return ka_tagger_gx_Connect("\\\\\\x", &no, &no, &none, e); }},
        {"short URL",
         [&](ErrorCluster* e) { return ka_tagger_gx_Connect("\\\\m1\\p", &no, &no, &none, e); }},
        {"ConnectBuffered",
         [&](ErrorCluster* e) {
             return ka_tagger_gx_ConnectBuffered("\\\\m1", &no, &no, 1, 1, &no, &none, e);
         }},
        {"provider refuses",
         [&](ErrorCluster* e) {
             fake::vesta().addItemResult = VESTA_E_BADURL;
             return ka_tagger_gx_Connect("\\\\m1\\p\\x", &no, &no, &none, e);
         }},
        // The item was added; refusing its idle clean-up must remove it again.
        {"host refuses the clean-up",
         [&](ErrorCluster* e) {
             fake::vesta().addItemResult = S_OK;
             fake::host().cleanupResult = mFullErr;
             return ka_tagger_gx_Connect("\\\\m1\\p\\x", &no, &no, &none, e);
         }},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        fake::Cluster error(false, 0, "earlier");
        EXPECT_EQ(0u, r.call(error.ptr()));
        EXPECT_EQ("1 80004005 ka_tagger_gx_Connect", error.str());
        EXPECT_TRUE(fake::vesta().items.empty());
        EXPECT_TRUE(fake::host().cleanups.empty());
    }
}

// Each attribute record fires the occurrence, and the first makes the subscription good, whatever
// rights it grants; a status or a value alone does neither.
TEST_F(ConnectTest, AttributesFireTheOccurrenceAndMakeTheSubscriptionGood) {
    const ka_tagger_gx_Refnum with = connect("\\\\m1\\p\\with", 7);
    connect("\\\\m1\\p\\without", 0);
    fake::Cluster error;
    for (fake::Item* item : fake::vesta().items) {
        fake::vesta().status(*item, IASTATUS_ACTIVE, 0);
        fake::vesta().data(*item, 0x7, VarData::FromR8(1.0), 0);
    }
    EXPECT_EQ(0, ka_tagger_gx_IsSubscriptionGood(with, error.ptr()));
    for (fake::Item* item : fake::vesta().items) {
        fake::vesta().attributes(*item, 0);
    }
    EXPECT_EQ(1, ka_tagger_gx_IsSubscriptionGood(with, error.ptr()));  // even granting nothing
    EXPECT_EQ("0 00000000 ", error.str());
    fake::vesta().attributes(fake::vesta().item(0), VESTA_ACCESS_READ | VESTA_ACCESS_WRITE);
    EXPECT_EQ((std::vector<GxRefnum>{7, 7}), fake::host().occurred);
}

TEST_F(ConnectTest, ClientComesWithTheFirstCallAndGoesWithTheLastCleanup) {
    EXPECT_EQ(0, fake::vesta().realTimesCreated);
    connect("\\\\m1\\p\\x");  // no start-up before
    EXPECT_EQ(1, fake::vesta().realTimesLive);
    EXPECT_EQ(1, fake::vesta().socketStartups);

    ka_tagger_gx_Startup();
    ka_tagger_gx_Startup();
    ka_tagger_gx_Cleanup();
    EXPECT_EQ(1, fake::vesta().realTimesLive);
    EXPECT_NE(nullptr, Initializer::getConfigCacheRef());
    ka_tagger_gx_Cleanup();
    EXPECT_EQ(0, fake::vesta().realTimesLive);
    EXPECT_EQ(0, fake::vesta().sessionsLive);
    EXPECT_EQ(1, fake::vesta().socketCleanups);
    EXPECT_EQ(std::vector<std::wstring>{L"\\\\m1\\p\\x"}, fake::vesta().released);
    EXPECT_EQ(nullptr, Initializer::getConfigCacheRef());

    // A fresh client hands out refnums anew; the old one names its new item.
    const ka_tagger_gx_Refnum again = connect("\\\\m1\\p\\y");
    EXPECT_EQ(1u, again);
    EXPECT_EQ(2, fake::vesta().realTimesCreated);

    // The front-panel pair counts like a start-up and a clean-up.
    EXPECT_EQ(0, ka_tagger_gx_fpb_Initialize());
    EXPECT_EQ(0, ka_tagger_gx_fpb_Finalize());
    EXPECT_EQ(0, fake::vesta().realTimesLive);
}

TEST_F(ConnectTest, FailedClientCreationUndoesEveryStep) {
    struct {
        const char* what;
        std::function<void()> arrange;
    } const rows[] = {
        {"socket layer", [] { fake::vesta().startupResult = VESTA_E_CONFIG; }},
        {"no session", [] { fake::vesta().sessionAvailable = false; }},
        {"connection", [] { fake::vesta().newRealTimeResult = E_OUTOFMEMORY; }},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        fake::Reset();
        r.arrange();
        fake::Cluster error;
        GxBoolean no = 0;
        GxRefnum none = 0;
        EXPECT_EQ(0u, ka_tagger_gx_Connect("\\\\m1\\p\\x", &no, &no, &none, error.ptr()));
        EXPECT_EQ("1 80004005 ka_tagger_gx_Connect", error.str());
        EXPECT_EQ(fake::vesta().socketStartups, fake::vesta().socketCleanups);
        EXPECT_EQ(0, fake::vesta().sessionsLive);
        EXPECT_EQ(0, fake::vesta().realTimesLive);
    }
    // Once the provider is back, the next call creates the client.
    fake::Reset();
    connect("\\\\m1\\p\\x");
    EXPECT_EQ(1, fake::vesta().realTimesLive);
}

}  // namespace
