#include "ka/tagger/gx/Item.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "FakePlatform.h"
#include "ka/kor/RefCountedImplementation.h"
#include "ka/kor/RefCountedThreadSafePolicy.h"
#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/tagger/gx/Receiver.h"
#include "ka/tagger/gx/VestaQualityException.h"

namespace {

using ka::kor::AbsTime;
using ka::kor::SmartPtr;
using ka::kor::VestaURL;
using ka::tagger::gx::Item;
using ka::tagger::gx::Receiver;

std::wstring Wide(const ka::kor::String& s) {
    return s.c_str();
}

// Records the order in which an item's handlers were reached.
class Recorder : public ka::kor::RefCountedImplementation<Item::Callback,
                                                          ka::kor::RefCountedThreadSafePolicy> {
  public:
    explicit Recorder(std::vector<std::string>& log) : log_(log) {}
    ~Recorder() override { log_.push_back("destroyed"); }
    void onDataChange(const VarData& v) override {
        log_.push_back("data " + std::to_string(v.asDouble()).substr(0, 3));
    }
    void onQualityChange(std::uint32_t q) override {
        log_.push_back("quality " + std::to_string(q));
    }
    void onStatusChange(IASTATUS s, HRESULT r) override {
        log_.push_back("status " + std::to_string(s) + " " + std::to_string(r));
    }
    void onAttributeChange(const ITEMDETAILS&) override { log_.push_back("attributes"); }

  private:
    std::vector<std::string>& log_;
};

// A receiver and a connection of the fake provider, as the client would have them.
class ItemTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fake::Reset();
        receiver_ = new Receiver();
        IUnknown* session = GetVestaSession();
        ASSERT_EQ(S_OK, NewVestaRealTime(session, receiver_, &realTime_));
        session->Release();
        std::memset(&state_, 0, sizeof state_);
    }
    void TearDown() override {
        realTime_->Release();
        receiver_->Release();
    }

    Item* connect(const wchar_t* url, SmartPtr<Item::Callback> callback = nullptr) {
        return new Item(realTime_, VestaURL(url), state_, callback);
    }

    Receiver* receiver_ = nullptr;
    IVestaRealTime* realTime_ = nullptr;
    ITEMSTATE state_;
};

TEST_F(ItemTest, FullURLDependsOnTheRenderType) {
    const std::wstring host = Wide(ka::kor::osdep::GetCachedHostName());
    struct {
        const wchar_t* given;
        std::wstring full;
    } const rows[] = {
        {L"\\\\m1\\p\\a.b", L"\\\\m1\\p\\a.b"},
        {L"\\\\.\\p\\a.b", L"\\\\" + host + L"\\p\\a.b"},
        {L"\\a.b", L"\\\\" + host + L"\\System\\a.b"},
        {L"a.b", L"\\\\" + host + L"\\System\\a.b"},
        {L"..\\a", L"\\\\" + host + L"\\a"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << std::string(r.given, r.given + wcslen(r.given)));
        const VestaURL full = Item::FullURL(VestaURL(r.given));
        EXPECT_EQ(ka::kor::RenderType::Absolute, full.type());
        EXPECT_EQ(r.full, Wide(full.str()));
    }
}

TEST_F(ItemTest, SubscribesWithTheFullURLStateAndItsOwnAddress) {
    state_.mask = 0x71;
    state_.bufferSize = -1;
    Item* item = connect(L"\\\\m1\\p\\x");
    ASSERT_EQ(1u, fake::vesta().items.size());
    const fake::Item& added = fake::vesta().item(0);
    EXPECT_EQ(L"\\\\m1\\p\\x", added.url);
    EXPECT_EQ(0, std::memcmp(&state_, &added.given, sizeof state_));
    EXPECT_EQ(reinterpret_cast<long>(item), added.handle);
    delete item;
    EXPECT_EQ(std::vector<std::wstring>{L"\\\\m1\\p\\x"}, fake::vesta().released);
}

TEST_F(ItemTest, RefusesShortAddressesAndFailedSubscriptions) {
    EXPECT_EQ(
        "ka/tagger/gx/Item:72: Invalid argument(s)",
        ka_test::ThrowSite<ka::kor::exception::InvalidArgument>([&] { connect(L"\\\\m1\\p"); }));
    EXPECT_TRUE(fake::vesta().items.empty());

    fake::vesta().addItemResult = VESTA_E_BADURL;
    try {
        connect(L"\\\\m1\\p\\x");
        FAIL() << "nothing thrown";
    } catch (const ka::kor::exception::COMError& e) {
        EXPECT_EQ(77u, e.line());
        EXPECT_STREQ("ka/tagger/gx/Item", e.file());
        EXPECT_EQ(static_cast<std::uint32_t>(VESTA_E_BADURL), e.getErrorCode());
    }
}

TEST_F(ItemTest, ReadTakesOnlyTheValidPartsOfTheState) {
    Item* item = connect(L"\\\\m1\\p\\x");
    fake::Item& state = fake::vesta().item(0);
    state.value = VarData::FromR8(2.5);
    state.quality = 0x41;
    // 1904-01-01 00:00:00 UTC in 100-nanosecond ticks since 1601, then one and a half seconds on.
    const std::int64_t k1904 = 95616288000000000LL;
    struct {
        std::uint32_t mask;
        std::int64_t ticks;
        std::uint32_t quality;
        AbsTime time;
    } const rows[] = {
        {0x7, k1904, 0x41, AbsTime()},
        {0x7, k1904 + 15000000, 0x41, AbsTime(0, 1, 0x80000000u, 0)},
        {0x7, 0, 0x41, AbsTime(-9561628800.0, 0.0)},  // 1601-01-01
        {0x5, k1904, 0, AbsTime()},
        {0x3, k1904, 0x41, AbsTime::min},
        {0x1, k1904, 0, AbsTime::min},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.mask);
        state.mask = r.mask;
        state.time.ticks = r.ticks;
        std::uint32_t quality = 12345;
        AbsTime time(1.0, 0.0);
        const VarData value = item->read(quality, time);
        EXPECT_EQ(state.value, value);
        EXPECT_EQ(r.quality, quality);
        EXPECT_EQ(r.time, time);
        EXPECT_EQ(r.quality, item->quality());
    }
    delete item;
}

TEST_F(ItemTest, FailingStateQueryMeansNonexistent) {
    Item* item = connect(L"\\\\m1\\p\\x");
    fake::vesta().item(0).stateResult = VESTA_E_NOTCONNECTED;
    EXPECT_EQ(0x20u, item->quality());
    std::uint32_t quality = 7;
    AbsTime time;
    try {
        item->read(quality, time);
        FAIL() << "nothing thrown";
    } catch (const ka::tagger::gx::VestaQualityException& e) {
        EXPECT_EQ(0x20u, e.quality());
        EXPECT_EQ(99u, e.line());
        EXPECT_STREQ("ka/tagger/gx/Item", e.file());
    }
    EXPECT_EQ(7u, quality);
    delete item;
}

TEST_F(ItemTest, WriteFailureCarriesTheProviderResult) {
    Item* item = connect(L"\\\\m1\\p\\x");
    item->write(VarData::FromR8(1.0));
    fake::vesta().item(0).writeResult = VESTA_E_ACCESSDENIED;
    try {
        item->write(VarData::FromR8(2.0));
        FAIL() << "nothing thrown";
    } catch (const ka::kor::exception::COMError& e) {
        EXPECT_EQ("121 ka/tagger/gx/Item", std::to_string(e.line()) + " " + e.file());
        EXPECT_EQ(static_cast<std::uint32_t>(VESTA_E_ACCESSDENIED), e.getErrorCode());
    }
    EXPECT_EQ(2u, fake::vesta().item(0).written.size());
    delete item;
}

TEST_F(ItemTest, ReceiverRoutesQualityBeforeData) {
    std::vector<std::string> log;
    Item* item = connect(L"\\\\m1\\p\\x", SmartPtr<Item::Callback>(new Recorder(log)));
    fake::Item& added = fake::vesta().item(0);
    const VarData value = VarData::FromR8(1.5);
    for (std::uint32_t mask : {0x0u, 0x1u, 0x2u, 0x3u, 0x7u}) {
        fake::vesta().data(added, mask, value, 0x40);
    }
    fake::vesta().status(added, IASTATUS_ACTIVE, 0);
    EXPECT_FALSE(item->receivedAttributeChange());
    fake::vesta().attributes(added, VESTA_ACCESS_READ);
    EXPECT_TRUE(item->receivedAttributeChange());
    const std::vector<std::string> expected = {
        "data 1.5",   "quality 64", "quality 64",  "data 1.5",
        "quality 64", "data 1.5",   "status 17 0", "attributes",
    };
    EXPECT_EQ(expected, log);
    delete item;
    EXPECT_EQ("destroyed", log.back());
}

TEST(Receiver, AnswersForItsTwoInterfacesOnly) {
    Receiver* receiver = new Receiver();
    struct {
        const GUID* iid;
        HRESULT result;
    } const rows[] = {
        {&IID_IUnknown, S_OK},
        {&IID_IVESTAREALTIMERECEIVER, S_OK},
        {&IID_IVESTAREALTIME, E_NOINTERFACE},
        {&IID_IVESTAREALTIMEITEM, E_NOINTERFACE},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.iid->Data1);
        void* out = &out;
        EXPECT_EQ(r.result, receiver->QueryInterface(*r.iid, &out));
        EXPECT_EQ(r.result == S_OK ? static_cast<IVestaRealTimeReceiver*>(receiver) : nullptr, out);
    }
    // Two references taken by the successful queries, plus the creator's.
    EXPECT_EQ(2u, receiver->Release());
    EXPECT_EQ(1u, receiver->Release());
    EXPECT_EQ(2u, receiver->AddRef());
    receiver->Release();
    receiver->Release();
}

}  // namespace
