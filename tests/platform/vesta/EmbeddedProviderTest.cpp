// The embedded provider: the common behaviour suite, and what only a provider inside this process
// can promise (a write's outcome is final when Write returns; local machine names are one).
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "ProviderBehaviour.h"
#include "RecordingReceiver.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace vesta_test {
namespace {

using ka::kor::FlexData;
using vesta::ItemHost;
namespace ex = ka::kor::exception;

class EmbeddedEnvironment : public ProviderEnvironment {
  public:
    EmbeddedEnvironment() { unsetenv("KA_VESTA_URL"); }
    IUnknown* newSession() override { return GetVestaSession(); }
};

INSTANTIATE_TEST_SUITE_P(Embedded, ProviderBehaviour,
                         testing::Values(EnvironmentFactory{
                             "Embedded", [] { return std::make_unique<EmbeddedEnvironment>(); }}),
                         ProviderName);

std::wstring HostName() {
    const ka::kor::String h = ka::kor::osdep::GetCachedHostName();
    return std::wstring(h.begin(), h.end());
}

// \\this computer\rest.
std::wstring Url(const std::wstring& rest) {
    return L"\\\\" + HostName() + L"\\" + rest;
}

// A session, a recording receiver and a connection, released at the end.
class EmbeddedProvider : public testing::Test {
  protected:
    void SetUp() override {
        unsetenv("KA_VESTA_URL");
        session_ = GetVestaSession();
        ASSERT_NE(nullptr, session_) << VestaLastErrorText();
        receiver_ = RecordingReceiver::Create();
        ASSERT_EQ(S_OK, NewVestaRealTime(session_, receiver_, &realTime_));
    }
    void TearDown() override {
        if (realTime_ != nullptr) {
            realTime_->Release();
        }
        receiver_->Release();
        session_->Release();
    }

    IUnknown* session_ = nullptr;
    RecordingReceiver* receiver_ = nullptr;
    IVestaRealTime* realTime_ = nullptr;
};

TEST_F(EmbeddedProvider, AWriteReturnsOnlyOnceTheHostHasDecidedOnItsOwnThread) {
    ItemHost host(session_, L"decider");
    ItemHost::Item it =
        host.createItem(L"x", FlexData(1.0), VESTA_ACCESS_READ | VESTA_ACCESS_WRITE);
    std::thread::id handlerThread;
    host.setWriteHandler([&](const std::wstring&, const FlexData& v) {
        handlerThread = std::this_thread::get_id();
        return v.getF64() > 0;
    });
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(Url(L"decider\\x").c_str(), &item, nullptr, 1));
    const VarData good = VarData::FromR8(2.0);
    EXPECT_EQ(S_OK, item->Write(&good));
    EXPECT_EQ(FlexData(2.0), it.value());  // applied before Write returned
    EXPECT_EQ(std::this_thread::get_id(), handlerThread);
    const VarData bad = VarData::FromR8(-1.0);
    EXPECT_EQ(VESTA_E_REJECTED, item->Write(&bad));
    EXPECT_EQ(FlexData(2.0), it.value());
    item->Release();
}

TEST_F(EmbeddedProvider, DestroyingAHostWaitsForItsRunningWriteHandler) {
    auto host = std::make_unique<ItemHost>(session_, L"waiting");
    host->createItem(L"x", FlexData(1.0), VESTA_ACCESS_READ | VESTA_ACCESS_WRITE);
    Gate gate;
    std::atomic<bool> inside{false};
    std::atomic<bool> finished{false};
    host->setWriteHandler([&](const std::wstring&, const FlexData&) {
        inside = true;
        gate.pass();
        finished = true;
        return true;
    });
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(Url(L"waiting\\x").c_str(), &item, nullptr, 1));
    HRESULT written = S_OK;
    std::thread writer([&] {
        const VarData v = VarData::FromR8(2.0);
        written = item->Write(&v);
    });
    ASSERT_TRUE(ka_test::WaitUntil([&] { return inside.load(); }));
    bool finishedWhenGone = false;
    std::thread closer([&] {
        host.reset();
        finishedWhenGone = finished.load();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // room to return too early
    gate.open();
    closer.join();
    writer.join();
    EXPECT_TRUE(finishedWhenGone);
    EXPECT_EQ(VESTA_E_NOTCONNECTED, written);  // accepted, but the host went before it applied
    item->Release();
}

TEST_F(EmbeddedProvider, AHostMayGoFromInsideItsOwnWriteHandler) {
    auto host = std::make_unique<ItemHost>(session_, L"selfclosing");
    host->createItem(L"x", FlexData(1.0), VESTA_ACCESS_READ | VESTA_ACCESS_WRITE);
    host->setWriteHandler([&](const std::wstring&, const FlexData&) {
        host.reset();
        return true;
    });
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(Url(L"selfclosing\\x").c_str(), &item, nullptr, 1));
    const VarData v = VarData::FromR8(2.0);
    EXPECT_EQ(VESTA_E_NOTCONNECTED, item->Write(&v));
    EXPECT_EQ(nullptr, host);
    item->Release();
}

TEST_F(EmbeddedProvider, NamesOfThisComputerAllReachTheSameHost) {
    ItemHost host(session_, L"aliases", L"localhost");
    EXPECT_EQ(L"\\\\" + HostName() + L"\\aliases", host.url());
    host.createItem(L"x", FlexData(4.0), VESTA_ACCESS_READ);
    const std::wstring urls[] = {L"\\\\localhost\\aliases\\x", L"\\\\127.0.0.1\\aliases\\x",
                                 L"\\\\.\\aliases\\x", L"\\\\" + HostName() + L"\\ALIASES\\X"};
    long handle = 1;
    for (const std::wstring& url : urls) {
        SCOPED_TRACE(std::string(url.begin(), url.end()));
        IVestaRealTimeItem* item = nullptr;
        ASSERT_EQ(S_OK, realTime_->AddItem(url.c_str(), &item, nullptr, handle));
        EXPECT_TRUE(receiver_->waitForValue(handle, VarData::FromR8(4.0)));
        item->Release();
        ++handle;
    }
}

TEST_F(EmbeddedProvider, AProcessHasOneHostAtATime) {
    auto first = std::make_unique<ItemHost>(session_, L"single");
    EXPECT_THROW({ ItemHost h(session_, L"SINGLE"); }, ex::ObjectAlreadyExists);
    first->unregister();
    EXPECT_FALSE(first->registered());
    {
        ItemHost second(session_, L"single");
        EXPECT_THROW(first->reregister(), ex::ObjectAlreadyExists);
    }
    first->reregister();
    EXPECT_TRUE(first->registered());
    first.reset();
    ItemHost third(session_, L"single");  // destroying a host frees its process
}

TEST_F(EmbeddedProvider, TheHostRefusesWhatItCannotPublish) {
    EXPECT_THROW({ ItemHost h(nullptr, L"p"); }, ex::InvalidArgument);
    EXPECT_THROW({ ItemHost h(receiver_, L"p"); }, ex::InvalidArgument);  // not a session
    EXPECT_THROW({ ItemHost h(session_, L""); }, ex::SyntaxError);

    ItemHost host(session_, L"refusals");
    host.createItem(L"a.b", FlexData(1), VESTA_ACCESS_READ);
    EXPECT_THROW(host.createItem(L"A\\B", FlexData(2), VESTA_ACCESS_READ), ex::ObjectAlreadyExists);
    EXPECT_THROW(host.createItem(L"empty", FlexData(), VESTA_ACCESS_READ), ex::InvalidArgument);
    EXPECT_THROW(host.createItem(L"a..b", FlexData(1), VESTA_ACCESS_READ), ex::Exception);
    EXPECT_THROW(host.createItem(L"..\\up", FlexData(1), VESTA_ACCESS_READ), ex::InvalidArgument);
    EXPECT_THROW(host.createItem(L"\\\\m\\p\\x", FlexData(1), VESTA_ACCESS_READ),
                 ex::InvalidArgument);
    EXPECT_THROW(host.item(L"missing"), ex::NotFound);
    EXPECT_THROW(host.removeItem(L"missing"), ex::NotFound);
    EXPECT_THROW(ItemHost::Item().update(FlexData(1)), ex::InvalidArgument);

    ItemHost::Item it = host.item(L"A.B");
    EXPECT_EQ(L"a.b", it.path());
    EXPECT_THROW(it.update(FlexData(L"not a number")), ex::InvalidArgument);
    EXPECT_EQ(FlexData(1), it.value());
    it.update(FlexData(2.0));  // converted to the item's type
    EXPECT_EQ(FlexData(2), it.value());
    it.remove();
    it.remove();  // twice does nothing
    EXPECT_THROW(it.update(FlexData(3)), ex::NotFound);
}

TEST_F(EmbeddedProvider, ItemsOfADestroyedHostAreGoneForTheirHandles) {
    ItemHost::Item kept;
    {
        ItemHost host(session_, L"shortlived");
        kept = host.createItem(L"x", FlexData(1), VESTA_ACCESS_READ);
    }
    EXPECT_THROW(kept.update(FlexData(2)), ex::NotFound);
    EXPECT_THROW(kept.setQuality(1), ex::NotFound);
    EXPECT_EQ(FlexData(1), kept.value());
}

TEST_F(EmbeddedProvider, DescriptionsAreCutAtACharacterBoundary) {
    ItemHost host(session_, L"descriptions");
    // 254 ASCII characters, then a character of two UTF-8 bytes that no longer fits.
    const std::wstring text = std::wstring(254, L'a') + L"\u00e9tail";
    host.createItem(L"long", FlexData(1), VESTA_ACCESS_READ, text);
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(Url(L"descriptions\\long").c_str(), &item, nullptr, 1));
    ASSERT_TRUE(receiver_->waitForCount(1, 3));
    ITEMDETAILS d{};
    EXPECT_EQ(S_OK, item->GetDetails(&d));
    EXPECT_EQ(std::string(254, 'a'), std::string(d.description));
    item->Release();
}

}  // namespace
}  // namespace vesta_test
