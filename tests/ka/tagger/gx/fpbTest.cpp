// The front-panel binding through its exported functions, on the stand-in provider and host: what
// the host hears about values, qualities and the connection state of each binding.
#include "ka/tagger/gx/ka_tagger_gx.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "FakePlatform.h"
#include "ka/kor/FlexData.h"
#include "vesta/VestaRealTime.h"

namespace {

typedef std::vector<std::string> Lines;

class fpbTest : public ::testing::Test {
  protected:
    void SetUp() override { fake::ResetLibrary(); }
    void TearDown() override { fake::ResetLibrary(); }

    // Binds context 9 with the given mask and access flags; the new item.
    fake::Item& bind(std::uint32_t mask, std::uint16_t flags) {
        ITEMSTATE state;
        std::memset(&state, 0, sizeof state);
        state.mask = mask;
        state.accessFlags = flags;
        LStrHandle url = fake::NewLStr("\\\\m1\\p\\x");
        EXPECT_EQ(0, ka_tagger_gx_fpb_Connect(url, 9, &state, &refnum_));
        DSDisposeHandle(reinterpret_cast<UHandle>(url));
        return *fake::vesta().items.back();
    }

    ka_tagger_gx_Refnum refnum_ = 0;
};

TEST_F(fpbTest, StatusFollowsTheSubscription) {
    fake::Item& item = bind(0x1, 0x01);
    fake::vesta().status(item, IASTATUS_REMOVED, 0);
    fake::vesta().status(item, IASTATUS_RESOLVING, 0);
    fake::vesta().status(item, IASTATUS_ACTIVE, 0);
    fake::vesta().attributes(item, VESTA_ACCESS_READ);
    fake::vesta().status(item, IASTATUS_ACTIVE, VESTA_E_REJECTED);
    fake::vesta().attributes(item, VESTA_ACCESS_READ);
    fake::vesta().status(item, IASTATUS_FAILED, VESTA_E_BADURL);
    fake::vesta().status(item, IASTATUS_ACTIVE, 0);
    const Lines expected = {
        "status 9 5 00000000 0",  "status 9 1 00000000 0",  "status 9 2 00000000 0",
        "status 9 2 00000000 0",  "status 9 4 80A50006 17", "status 9 4 80A50006 0",
        "status 9 4 80A50003 14", "status 9 2 00000000 0",
    };
    EXPECT_EQ(expected, fake::host().psp);
}

TEST_F(fpbTest, AccessRightsAgainstWhatTheBindingNeeds) {
    struct {
        std::uint32_t mask;
        std::uint16_t flags;
        std::uint32_t rights;
        const char* expected;
    } const rows[] = {
        {0x1, 0x09, 0x33, "status 9 2 00000000 0"},
        {0x1, 0x09, 0x11, "status 9 4 8ABC0066 0"},
        {0x1, 0x09, 0x22, "status 9 4 8ABC0065 1"},
        {0x1, 0x09, 0x00, "status 9 4 8ABC0064 1"},
        {0x1, 0x08, 0x01, "status 9 4 8ABC0066 0"},  // 0x01 alone is not the read right
        {0x1, 0x01, 0x10, "status 9 4 8ABC0065 1"},
        {0x0, 0x09, 0x11, "status 9 2 00000000 0"},  // no valid flags: read only
        {0x0, 0x09, 0x22, "status 9 4 8ABC0065 1"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.mask << " " << r.flags << " " << r.rights);
        fake::host().psp.clear();
        fake::Item& item = bind(r.mask, r.flags);
        fake::vesta().status(item, IASTATUS_ACTIVE, 0);
        fake::vesta().attributes(item, r.rights);
        ASSERT_EQ(2u, fake::host().psp.size());
        EXPECT_EQ(r.expected, fake::host().psp[1]);
        // A later status keeps reporting the access error with the result as detail.
        fake::vesta().status(item, IASTATUS_ACTIVE, 0);
        const std::string again = fake::host().psp.back();
        EXPECT_EQ(r.expected[9] == '2', again == "status 9 2 00000000 0") << again;
        EXPECT_EQ(0, ka_tagger_gx_fpb_Disconnect(refnum_));
    }
    // Attributes without access rights change nothing.
    fake::host().psp.clear();
    fake::Item& item = bind(0x1, 0x09);
    ITEMDETAILS details;
    std::memset(&details, 0, sizeof details);
    details.flags = ITEMDETAILS_HAS_TYPE;
    fake::vesta().receiver->OnAttributeChange(item.handle, &details);
    EXPECT_TRUE(fake::host().psp.empty());
}

TEST_F(fpbTest, ValuesAndQualitiesReachTheHostAsPackets) {
    fake::Item& item = bind(0x1, 0x01);
    fake::vesta().data(item, 0x3, VarData::FromR8(2.5), 0x41);
    fake::vesta().data(item, 0x1, VarData(ka::kor::FlexData(7)), 0);
    fake::vesta().data(item, 0x2, VarData(), 0);
    const Lines expected = {
        "quality 9 65",
        "data 9 " + fake::Hex(ka::kor::FlexData(2.5)),
        "data 9 " + fake::Hex(ka::kor::FlexData(7)),
        "quality 9 0",
    };
    EXPECT_EQ(expected, fake::host().psp);
}

TEST_F(fpbTest, WriteDisconnectAndFailures) {
    fake::Item& item = bind(0x1, 0x09);
    EXPECT_TRUE(fake::host().cleanups.empty());  // the host disconnects bindings itself
    const ka::kor::FlexData packet(std::int32_t{5});
    EXPECT_EQ(0, ka_tagger_gx_fpb_Write(refnum_, packet.begin(),
                                        packet.begin() + packet.getPacketSize()));
    ASSERT_EQ(1u, item.written.size());
    EXPECT_EQ(VT_I4, item.written[0].type());

    const std::int32_t kFailure = static_cast<std::int32_t>(0x80004005u);
    item.writeResult = VESTA_E_ACCESSDENIED;
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Write(refnum_, packet.begin(),
                                               packet.begin() + packet.getPacketSize()));
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Write(refnum_, packet.begin(), packet.begin() + 3));
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Write(0, packet.begin(), packet.end()));

    ka_tagger_gx_Refnum unchanged = 77;
    ITEMSTATE state;
    std::memset(&state, 0, sizeof state);
    LStrHandle bad = fake::NewLStr("\\\\m1");
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Connect(bad, 1, &state, &unchanged));
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Connect(nullptr, 1, &state, &unchanged));
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Connect(bad, 1, nullptr, &unchanged));
    DSDisposeHandle(reinterpret_cast<UHandle>(bad));
    EXPECT_EQ(77u, unchanged);

    EXPECT_EQ(0, ka_tagger_gx_fpb_Disconnect(refnum_));
    EXPECT_TRUE(fake::vesta().items.empty());
    EXPECT_EQ(kFailure, ka_tagger_gx_fpb_Disconnect(refnum_));
}

}  // namespace
