#include "ProviderBehaviour.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <cwctype>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "RecordingReceiver.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace vesta_test {
namespace {

using ka::kor::FlexData;
using ka_test::WaitUntil;
using vesta::ItemHost;

constexpr std::uint32_t kReadWrite = VESTA_ACCESS_READ | VESTA_ACCESS_WRITE;
constexpr std::uint32_t kAllParts = VESTA_MASK_VALUE | VESTA_MASK_QUALITY | VESTA_MASK_TIME;

struct State {
    std::uint32_t mask = 0;
    VarData value;
    std::uint32_t quality = 0;
    FILETIME time{0};
};

State GetState(IVestaRealTimeItem* item) {
    State s;
    EXPECT_EQ(S_OK, item->GetState(&s.mask, &s.value, &s.quality, &s.time));
    return s;
}

FlexData I32(std::int32_t v) {
    return FlexData(v);
}

// The part of the description from the index'th event on.
std::string DescribeFrom(const std::vector<Event>& events, std::size_t first) {
    return Describe(
        std::vector<Event>(events.begin() + std::min(first, events.size()), events.end()));
}

// Whether the item's last data event with a value carries `v`.
bool LastValueIs(const std::vector<Event>& events, const VarData& v) {
    const std::vector<Event> values = Values(events);
    return !values.empty() && values.back().value == v;
}

// A host in this process: a vesta::ItemHost whose write handler records and decides.
class LocalHost : public TestHost {
  public:
    LocalHost(IUnknown* session, const std::wstring& process) : host_(session, process) {
        host_.setWriteHandler([this](const std::wstring& path, const FlexData& v) {
            std::lock_guard<std::mutex> lock(mutex_);
            writes_.emplace_back(path, v);
            return limit_ == HUGE_VAL || v.getF64() < limit_;
        });
    }
    void refuseWritesFrom(double limit) override {
        std::lock_guard<std::mutex> lock(mutex_);
        limit_ = limit;
    }
    std::vector<std::pair<std::wstring, FlexData>> writes() override {
        std::lock_guard<std::mutex> lock(mutex_);
        return writes_;
    }
    void unregister() override { host_.unregister(); }
    void reregister() override { host_.reregister(); }

  private:
    int create(const std::wstring& path, const FlexData& value, std::uint32_t rights,
               const std::wstring& description) override {
        std::lock_guard<std::mutex> lock(mutex_);
        items_.push_back(host_.createItem(path, value, rights, description));
        return static_cast<int>(items_.size()) - 1;
    }
    ItemHost::Item item(int id) {
        std::lock_guard<std::mutex> lock(mutex_);
        return items_.at(static_cast<std::size_t>(id));
    }
    void update(int id, const FlexData& value) override { item(id).update(value); }
    void setQuality(int id, std::uint32_t quality, FILETIME time) override {
        item(id).setQuality(quality, time);
    }
    void remove(int id) override { item(id).remove(); }
    FlexData value(int id) override { return item(id).value(); }

    std::mutex mutex_;
    std::vector<ItemHost::Item> items_;
    std::vector<std::pair<std::wstring, FlexData>> writes_;
    double limit_ = HUGE_VAL;
    // Last: its destruction waits for a running write handler, which uses the members above.
    ItemHost host_;
};

}  // namespace

HostItem TestHost::createItem(const std::wstring& path, const FlexData& value, std::uint32_t rights,
                              const std::wstring& description) {
    return HostItem(this, create(path, value, rights, description));
}

std::unique_ptr<TestHost> ProviderEnvironment::newHost(const std::wstring& process) {
    IUnknown* session = newSession();
    if (session == nullptr) {
        ADD_FAILURE() << VestaLastErrorText();
        return nullptr;
    }
    auto host = std::make_unique<LocalHost>(session, process);
    session->Release();  // the host keeps its own reference
    return host;
}

void ProviderBehaviour::SetUp() {
    env_ = GetParam().make();
    ASSERT_TRUE(env_);
    const ka::kor::String host = ka::kor::osdep::GetCachedHostName();
    machine_.assign(host.begin(), host.end());
    // A process name of its own per case and run, so that no case meets another's items.
    static std::atomic<int> counter{0};
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    const std::string name =
        std::string(info->name()).substr(0, std::string(info->name()).find('/'));
    process_ = std::wstring(name.begin(), name.end()) + L"_" + std::to_wstring(stamp % 1000000007) +
               L"_" + std::to_wstring(counter++);
    receiver_ = RecordingReceiver::Create();
    realTime_ = connect(receiver_);
    ASSERT_NE(nullptr, realTime_);
}

void ProviderBehaviour::TearDown() {
    for (IVestaRealTimeItem* item : items_) {
        item->Release();
    }
    for (IVestaRealTime* rt : connections_) {
        rt->Release();
    }
    for (IUnknown* s : sessions_) {
        s->Release();
    }
    if (receiver_ != nullptr) {
        receiver_->Release();
    }
}

IUnknown* ProviderBehaviour::newSession() {
    IUnknown* s = env_->newSession();
    EXPECT_NE(nullptr, s) << VestaLastErrorText();
    if (s != nullptr) {
        sessions_.push_back(s);
    }
    return s;
}

std::unique_ptr<TestHost> ProviderBehaviour::makeHost() {
    std::unique_ptr<TestHost> host = env_->newHost(process_);
    if (!host) {
        throw std::runtime_error("no host");  // ends the case, which has failed already
    }
    return host;
}

std::wstring ProviderBehaviour::itemURL(const std::wstring& path) const {
    return L"\\\\" + machine_ + L"\\" + process_ + L"\\" + path;
}

IVestaRealTimeItem* ProviderBehaviour::add(const std::wstring& path, long handle) {
    return add(realTime_, path, handle);
}

IVestaRealTimeItem* ProviderBehaviour::add(IVestaRealTime* rt, const std::wstring& path,
                                           long handle) {
    IVestaRealTimeItem* item = nullptr;
    ITEMSTATE state{};
    state.mask = 0x71;
    state.accessFlags = 0x45;
    EXPECT_EQ(S_OK, rt->AddItem(itemURL(path).c_str(), &item, &state, handle));
    if (item != nullptr) {
        items_.push_back(item);
    }
    return item;
}

IVestaRealTimeItem* ProviderBehaviour::addAlive(const std::wstring& path, long handle) {
    IVestaRealTimeItem* item = add(path, handle);
    EXPECT_TRUE(receiver_->waitForCount(handle, 4));
    return item;
}

void ProviderBehaviour::release(IVestaRealTimeItem* item) {
    items_.erase(std::remove(items_.begin(), items_.end(), item), items_.end());
    item->Release();
}

IVestaRealTime* ProviderBehaviour::connect(RecordingReceiver* receiver) {
    IUnknown* session = newSession();
    if (session == nullptr) {
        return nullptr;
    }
    IVestaRealTime* rt = nullptr;
    EXPECT_EQ(S_OK, NewVestaRealTime(session, receiver, &rt)) << VestaLastErrorText();
    if (rt != nullptr) {
        connections_.push_back(rt);
    }
    return rt;
}

// ---- Coming alive -----------------------------------------------------------------------------

TEST_P(ProviderBehaviour, AnItemThatExistsComesAliveWithStatusThenAttributesThenValue) {
    auto host = makeHost();
    const FILETIME before = vesta::CurrentFileTime();
    host->createItem(L"tank.level", FlexData(1.5), kReadWrite, L"Level in m");
    IVestaRealTimeItem* item = addAlive(L"tank.level", 1);
    const FILETIME after = vesta::CurrentFileTime();

    const std::vector<Event> es = receiver_->events(1);
    EXPECT_EQ("S15 S17 A D7:0", Describe(es));
    EXPECT_EQ(S_OK, es[1].result);
    const ITEMDETAILS& d = es[2].details;
    EXPECT_NE(0, d.flags & ITEMDETAILS_HAS_ACCESS);
    EXPECT_EQ(kReadWrite, d.accessRights);
    EXPECT_EQ(0x0402, d.flexType);
    EXPECT_STREQ("Level in m", d.description);
    EXPECT_EQ(VarData::FromR8(1.5), es[3].value);
    EXPECT_LE(before.ticks, es[3].time.ticks);
    EXPECT_GE(after.ticks, es[3].time.ticks);
    for (const Event& e : es) {
        EXPECT_NE(std::this_thread::get_id(), e.thread);
    }

    const State s = GetState(item);
    EXPECT_EQ(kAllParts, s.mask);
    EXPECT_EQ(VarData::FromR8(1.5), s.value);
    EXPECT_EQ(VESTA_QUALITY_GOOD, s.quality);
    EXPECT_EQ(es[3].time.ticks, s.time.ticks);
    ITEMDETAILS details{};
    EXPECT_EQ(S_OK, item->GetDetails(&details));
    EXPECT_EQ(0, std::memcmp(&details, &d, sizeof d));
}

TEST_P(ProviderBehaviour, AnItemCreatedAfterSubscribingIsNonexistentUntilItComes) {
    auto host = makeHost();
    IVestaRealTimeItem* item = add(L"later", 1);
    ASSERT_TRUE(receiver_->waitForCount(1, 2));
    EXPECT_EQ("S15 D6:20", Describe(receiver_->events(1)));
    const State missing = GetState(item);
    EXPECT_EQ(0u, missing.mask & VESTA_MASK_VALUE);
    EXPECT_EQ(VESTA_QUALITY_NONEXISTENT, missing.quality);

    host->createItem(L"later", I32(7), VESTA_ACCESS_READ);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromI4(7)));
    EXPECT_EQ("S15 D6:20 S17 A D7:0", Describe(receiver_->events(1)));
    EXPECT_EQ(VESTA_QUALITY_GOOD, GetState(item).quality);
}

TEST_P(ProviderBehaviour, AnItemOfAnAbsentHostIsProcessFailureUntilTheHostComes) {
    add(L"x", 1);
    ASSERT_TRUE(receiver_->waitForCount(1, 2));
    EXPECT_EQ("S15 D6:400000", Describe(receiver_->events(1)));

    auto host = makeHost();
    ASSERT_TRUE(receiver_->waitForCount(1, 3));
    EXPECT_EQ("S15 D6:400000 D6:20", Describe(receiver_->events(1)));

    host->createItem(L"x", FlexData(true), VESTA_ACCESS_READ);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromBool(true)));
    EXPECT_EQ("S15 D6:400000 D6:20 S17 A D7:0", Describe(receiver_->events(1)));
}

TEST_P(ProviderBehaviour, AddressesCompareWithoutCaseOrSeparatorKind) {
    auto host = makeHost();
    host->createItem(L"Plant.Tank1", FlexData(3.0), VESTA_ACCESS_READ);
    std::wstring upper = L"\\\\" + machine_ + L"\\" + process_ + L"\\PLANT\\tank1";
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towupper(c)); });
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(upper.c_str(), &item, nullptr, 1));
    EXPECT_TRUE(receiver_->waitForValue(1, VarData::FromR8(3.0)));
    item->Release();
}

TEST_P(ProviderBehaviour, AddressesThatAreNotAbsoluteItemsAreRefused) {
    const std::wstring bad[] = {
        L"",
        L"relative.item",
        L"\\process\\item",
        L"\\\\" + machine_,
        L"\\\\" + machine_ + L"\\" + process_,
        L"\\\\" + machine_ + L"\\" + process_ + L"\\..\\x",
        L"\\\\\\three",
    };
    for (const std::wstring& url : bad) {
        SCOPED_TRACE(std::string(url.begin(), url.end()));
        IVestaRealTimeItem* item = reinterpret_cast<IVestaRealTimeItem*>(&machine_);
        EXPECT_EQ(VESTA_E_BADURL, realTime_->AddItem(url.c_str(), &item, nullptr, 1));
        EXPECT_EQ(nullptr, item);
    }
    IVestaRealTimeItem* item = nullptr;
    EXPECT_EQ(E_POINTER, realTime_->AddItem(nullptr, &item, nullptr, 1));
    EXPECT_EQ(E_POINTER, realTime_->AddItem(itemURL(L"x").c_str(), nullptr, nullptr, 1));
}

// ---- Changes of the item and its host ---------------------------------------------------------

TEST_P(ProviderBehaviour, UpdatesArriveInOrderAndTheStateFollowsThem) {
    auto host = makeHost();
    HostItem counter = host->createItem(L"counter", I32(0), VESTA_ACCESS_READ);
    IVestaRealTimeItem* item = add(L"counter", 1);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromI4(0)));
    for (int i = 1; i <= 200; ++i) {
        counter.update(I32(i));
    }
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromI4(200)));
    std::int64_t last = -1;
    for (const Event& e : Values(receiver_->events(1))) {
        EXPECT_LT(last, e.value.asInteger());  // newer values may replace older, never reorder
        last = e.value.asInteger();
    }
    EXPECT_EQ(VarData::FromI4(200), GetState(item).value);

    const FILETIME stamp{130000000000000000LL};
    counter.setQuality(0x1, stamp);  // stale
    ASSERT_TRUE(receiver_->waitFor(1, [](const std::vector<Event>& es) {
        return es.back().kind == Event::Data &&
               es.back().mask == (VESTA_MASK_QUALITY | VESTA_MASK_TIME);
    }));
    const State s = GetState(item);
    EXPECT_EQ(kAllParts, s.mask);
    EXPECT_EQ(VarData::FromI4(200), s.value);
    EXPECT_EQ(0x1u, s.quality);
    EXPECT_EQ(stamp.ticks, s.time.ticks);
}

TEST_P(ProviderBehaviour, AnItemTheHostRemovesTurnsNonexistentAndMayComeBack) {
    auto host = makeHost();
    HostItem it = host->createItem(L"gone", FlexData(1.0), kReadWrite);
    IVestaRealTimeItem* item = addAlive(L"gone", 1);

    it.remove();
    ASSERT_TRUE(receiver_->waitForCount(1, 6));
    const std::vector<Event> es = receiver_->events(1);
    EXPECT_EQ("S16 D6:20", DescribeFrom(es, 4));
    EXPECT_EQ(VESTA_QUALITY_NONEXISTENT, GetState(item).quality);
    const VarData v = VarData::FromR8(2.0);
    EXPECT_GT(0, item->Write(&v));

    host->createItem(L"gone", FlexData(2.0), VESTA_ACCESS_READ);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromR8(2.0)));
    EXPECT_EQ("S17 A D7:0", DescribeFrom(receiver_->events(1), 6));
}

TEST_P(ProviderBehaviour, AHostThatLeavesIsProcessFailureAndReturnsWithFreshValues) {
    auto host = makeHost();
    HostItem it = host->createItem(L"v", FlexData(1.0), VESTA_ACCESS_READ);
    IVestaRealTimeItem* item = addAlive(L"v", 1);

    host->unregister();
    ASSERT_TRUE(receiver_->waitForCount(1, 6));
    EXPECT_EQ("S16 D6:400000", DescribeFrom(receiver_->events(1), 4));
    EXPECT_EQ(VESTA_QUALITY_PROCESS_FAILURE, GetState(item).quality);

    it.update(FlexData(5.0));  // kept by the host while it is away
    host->reregister();
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromR8(5.0)));
    EXPECT_EQ("S17 A D7:0", DescribeFrom(receiver_->events(1), 6));

    host.reset();  // destroying the host is leaving for good
    ASSERT_TRUE(receiver_->waitForCount(1, 11));
    EXPECT_EQ("S16 D6:400000", DescribeFrom(receiver_->events(1), 9));
}

// ---- Writes -----------------------------------------------------------------------------------

TEST_P(ProviderBehaviour, AnAcceptedWriteIsConvertedToTheItemsTypeAndEverySubscriberSeesIt) {
    auto host = makeHost();
    HostItem it = host->createItem(L"setpoint", FlexData(0.0), kReadWrite);
    RecordingReceiver* other = RecordingReceiver::Create();
    IVestaRealTime* otherRt = connect(other);
    IVestaRealTimeItem* writer = add(L"setpoint", 1);
    add(otherRt, L"setpoint", 2);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromR8(0.0)));

    const VarData seven = VarData::FromI4(7);
    EXPECT_EQ(S_OK, writer->Write(&seven));
    EXPECT_TRUE(receiver_->waitForValue(1, VarData::FromR8(7.0)));
    EXPECT_TRUE(other->waitForValue(2, VarData::FromR8(7.0)));
    EXPECT_TRUE(WaitUntil([&] { return it.value() == FlexData(7.0); }));
    const auto seen = host->writes();
    ASSERT_EQ(1u, seen.size());
    EXPECT_EQ(L"setpoint", seen[0].first);
    EXPECT_EQ(FlexData(7.0), seen[0].second);
    other->Release();
}

TEST_P(ProviderBehaviour, WritesConvertToTheItemsTypeOrAreTypeMismatches) {
    FlexData i32Array;
    i32Array.setScalarArray(ka::kor::Vector<std::int32_t>(2));
    const struct {
        const wchar_t* path;
        FlexData first;
        VarData written;
        HRESULT result;
        VarData seen;  // what subscribers see after an accepted write
    } cases[] = {
        {L"f64", FlexData(0.5), VarData::FromI4(-3), S_OK, VarData::FromR8(-3.0)},
        {L"i32", I32(0), VarData::FromR8(2.6), S_OK, VarData::FromI4(3)},
        {L"i32text", I32(0), VarData::FromString(L"42"), S_OK, VarData::FromI4(42)},
        {L"text", FlexData(L"x"), VarData::FromR8(1.5), S_OK, VarData::FromString(L"1.5")},
        {L"ui8", FlexData(static_cast<unsigned char>(1)), VarData::FromI4(300),
         VESTA_E_TYPEMISMATCH, VarData()},
        {L"f64abc", FlexData(0.5), VarData::FromString(L"abc"), VESTA_E_TYPEMISMATCH, VarData()},
        {L"f64empty", FlexData(0.5), VarData(), VESTA_E_TYPEMISMATCH, VarData()},
        {L"f64array", FlexData(0.5), VarData(i32Array), VESTA_E_TYPEMISMATCH, VarData()},
    };
    auto host = makeHost();
    long handle = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path, c.path + std::wcslen(c.path)));
        HostItem it = host->createItem(c.path, c.first, kReadWrite);
        IVestaRealTimeItem* item = add(c.path, handle);
        ASSERT_TRUE(receiver_->waitForCount(handle, 4));
        EXPECT_EQ(c.result, item->Write(&c.written));
        if (c.result == S_OK) {
            EXPECT_TRUE(receiver_->waitForValue(handle, c.seen));
        } else {
            EXPECT_EQ(c.first, it.value());
        }
        ++handle;
    }
}

TEST_P(ProviderBehaviour, AWriteWithoutTheWriteRightIsRefusedAtOnce) {
    auto host = makeHost();
    HostItem it = host->createItem(L"readonly", FlexData(1.0), VESTA_ACCESS_READ);
    IVestaRealTimeItem* item = addAlive(L"readonly", 1);
    const VarData v = VarData::FromR8(9.0);
    EXPECT_EQ(VESTA_E_ACCESSDENIED, item->Write(&v));
    EXPECT_TRUE(host->writes().empty());
    EXPECT_EQ(FlexData(1.0), it.value());
    EXPECT_EQ(E_POINTER, item->Write(nullptr));
}

TEST_P(ProviderBehaviour, AWriteTheHostRejectsLeavesTheValue) {
    auto host = makeHost();
    HostItem it = host->createItem(L"guarded", FlexData(1.0), kReadWrite);
    host->refuseWritesFrom(100);
    IVestaRealTimeItem* item = addAlive(L"guarded", 1);

    const VarData tooBig = VarData::FromR8(500.0);
    const HRESULT hr = item->Write(&tooBig);
    if (hr != VESTA_E_REJECTED) {
        // A provider that cannot wait for the host reports the refusal as a status change.
        EXPECT_EQ(S_OK, hr);
        EXPECT_TRUE(receiver_->waitFor(1, [](const std::vector<Event>& es) {
            return es.back().kind == Event::Status && es.back().result == VESTA_E_REJECTED;
        }));
    }
    EXPECT_EQ(FlexData(1.0), it.value());
    EXPECT_EQ(VarData::FromR8(1.0), GetState(item).value);

    const VarData fine = VarData::FromR8(50.0);
    EXPECT_EQ(S_OK, item->Write(&fine));
    EXPECT_TRUE(receiver_->waitForValue(1, fine));
}

// ---- Release ----------------------------------------------------------------------------------

TEST_P(ProviderBehaviour, ReleaseWaitsForTheItemsRunningNotification) {
    auto host = makeHost();
    host->createItem(L"slow", I32(1), VESTA_ACCESS_READ);
    struct Shared {
        Gate gate;
        std::atomic<bool> inside{false};
        std::atomic<bool> finished{false};
    };
    auto st = std::make_shared<Shared>();
    receiver_->setHook([st](const Event& e) {
        if (e.item == 1 && e.kind == Event::Data) {
            st->inside = true;
            st->gate.pass();
            st->finished = true;
        }
    });
    IVestaRealTimeItem* item = add(L"slow", 1);
    ASSERT_TRUE(WaitUntil([&] { return st->inside.load(); }));

    bool finishedWhenReleased = false;
    std::thread releaser([&] {
        release(item);
        finishedWhenReleased = st->finished.load();
    });
    // Time for a Release that does not wait to return; the gate is still closed meanwhile.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    st->gate.open();
    releaser.join();
    EXPECT_TRUE(finishedWhenReleased);
}

TEST_P(ProviderBehaviour, NoNotificationForAnItemFollowsItsRelease) {
    auto host = makeHost();
    HostItem busy = host->createItem(L"busy", I32(0), VESTA_ACCESS_READ);
    constexpr int kRounds = 30;
    struct Shared {
        std::atomic<bool> released[kRounds] = {};
        std::atomic<int> late{0};
    };
    auto st = std::make_shared<Shared>();
    receiver_->setHook([st](const Event& e) {
        if (e.item >= 100 && e.item < 100 + kRounds && st->released[e.item - 100]) {
            ++st->late;
        }
    });
    std::atomic<bool> stop{false};
    std::thread updater([&] {
        for (int i = 1; !stop; ++i) {
            busy.update(I32(i));
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        IVestaRealTimeItem* item = add(L"busy", 100 + round);
        EXPECT_TRUE(receiver_->waitFor(
            100 + round, [](const std::vector<Event>& es) { return Values(es).size() >= 2; }));
        release(item);
        st->released[round] = true;
    }
    stop = true;
    updater.join();
    // One more subscription's value has gone through the provider after every release.
    add(L"busy", 1);
    EXPECT_TRUE(
        receiver_->waitFor(1, [](const std::vector<Event>& es) { return !Values(es).empty(); }));
    EXPECT_EQ(0, st->late.load());
}

TEST_P(ProviderBehaviour, AnItemReleasedFromInsideItsOwnNotificationHearsNoMore) {
    auto host = makeHost();
    struct Shared {
        // Atomic: with the host in another process, what orders its store before the first
        // value is the host's round trip, which no race detector sees.
        std::atomic<IVestaRealTimeItem*> item{nullptr};
        std::atomic<bool> released{false};
        std::atomic<int> after{0};
    };
    auto st = std::make_shared<Shared>();
    receiver_->setHook([st](const Event& e) {
        if (e.item != 1) {
            return;
        }
        if (st->released) {
            ++st->after;
        } else if (e.kind == Event::Data && (e.mask & VESTA_MASK_VALUE) != 0) {
            st->item.load()->Release();  // returns at once: the running notification is its own
            st->released = true;
        }
    });
    IVestaRealTimeItem* item = nullptr;
    ASSERT_EQ(S_OK, realTime_->AddItem(itemURL(L"self").c_str(), &item, nullptr, 1));
    st->item = item;  // the first value comes only once the item exists
    HostItem it = host->createItem(L"self", I32(0), VESTA_ACCESS_READ);
    ASSERT_TRUE(WaitUntil([&] { return st->released.load(); }));
    for (int i = 1; i <= 50; ++i) {
        it.update(I32(i));
    }
    add(L"self", 2);
    EXPECT_TRUE(receiver_->waitForValue(2, VarData::FromI4(50)));
    EXPECT_EQ(0, st->after.load());
}

TEST_P(ProviderBehaviour, ReleasingEverythingFromInsideANotificationLetsTheReceiverGoAfterwards) {
    auto host = makeHost();
    struct Shared {
        std::atomic<bool> destroyed{false};
        IVestaRealTime* rt = nullptr;
        IVestaRealTimeItem* item = nullptr;
        RecordingReceiver* receiver = nullptr;
        std::atomic<bool> done{false};
        std::atomic<bool> destroyedInside{false};
    };
    auto st = std::make_shared<Shared>();
    st->receiver = RecordingReceiver::Create(&st->destroyed);
    IUnknown* session = newSession();
    ASSERT_EQ(S_OK, NewVestaRealTime(session, st->receiver, &st->rt));
    Shared* raw = st.get();  // the hook lives in the receiver: it must not own what owns it
    st->receiver->setHook([raw](const Event& e) {
        if (e.kind != Event::Data || (e.mask & VESTA_MASK_VALUE) == 0 || raw->done) {
            return;
        }
        raw->item->Release();
        raw->rt->Release();
        raw->receiver->Release();  // the test's own reference: the provider's goes afterwards
        raw->destroyedInside = raw->destroyed.load();
        raw->done = true;
    });
    ASSERT_EQ(S_OK, st->rt->AddItem(itemURL(L"last").c_str(), &st->item, nullptr, 7));
    host->createItem(L"last", I32(1), VESTA_ACCESS_READ);
    ASSERT_TRUE(WaitUntil([&] { return st->done.load() && st->destroyed.load(); }));
    EXPECT_FALSE(st->destroyedInside.load());
}

// ---- Load -------------------------------------------------------------------------------------

TEST_P(ProviderBehaviour, ASlowReceiverGetsTheNewestValueAndEveryStatusAndAttributeChange) {
    auto host = makeHost();
    HostItem fast = host->createItem(L"fast", I32(0), VESTA_ACCESS_READ);
    struct Shared {
        Gate gate;
        std::atomic<bool> blocked{false};
    };
    auto st = std::make_shared<Shared>();
    receiver_->setHook([st](const Event& e) {
        if (e.item == 1 && e.kind == Event::Data && e.value == VarData::FromI4(1)) {
            st->blocked = true;
            st->gate.pass();
        }
    });
    IVestaRealTimeItem* item = add(L"fast", 1);
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromI4(0)));
    fast.update(I32(1));
    ASSERT_TRUE(WaitUntil([&] { return st->blocked.load(); }));

    for (int i = 2; i <= 1000; ++i) {
        fast.update(I32(i));
    }
    fast.remove();
    HostItem again = host->createItem(L"fast", I32(5000), VESTA_ACCESS_READ);
    for (int i = 5001; i <= 5100; ++i) {
        again.update(I32(i));
    }
    // Everything has reached the subscription (its state is the newest) before it drains.
    ASSERT_TRUE(WaitUntil([&] { return GetState(item).value == VarData::FromI4(5100); }));
    st->gate.open();
    ASSERT_TRUE(receiver_->waitForValue(1, VarData::FromI4(5100)));

    const std::vector<Event> es = receiver_->events(1);
    EXPECT_EQ("S15 S17 A D7:0 D7:0 D7:0 S16 D6:20 S17 A D7:0", Describe(es));
    const std::vector<Event> values = Values(es);
    ASSERT_EQ(4u, values.size());
    EXPECT_EQ(VarData::FromI4(1000), values[2].value);
}

TEST_P(ProviderBehaviour, ManySubscribersOfOneItemEachSeeItComeAliveAndChange) {
    auto host = makeHost();
    HostItem shared = host->createItem(L"shared", FlexData(0.0), VESTA_ACCESS_READ);
    RecordingReceiver* other = RecordingReceiver::Create();
    IVestaRealTime* otherRt = connect(other);
    constexpr long kSubscribers = 40;
    for (long k = 0; k < kSubscribers; ++k) {
        add(k % 2 == 0 ? realTime_ : otherRt, L"shared", 1000 + k);
    }
    shared.update(FlexData(42.0));
    for (long k = 0; k < kSubscribers; ++k) {
        SCOPED_TRACE(k);
        RecordingReceiver* r = k % 2 == 0 ? receiver_ : other;
        ASSERT_TRUE(r->waitForValue(1000 + k, VarData::FromR8(42.0)));
        EXPECT_EQ(0u, Describe(r->events(1000 + k)).find("S15 S17 A D7:0"));
        EXPECT_TRUE(LastValueIs(r->events(1000 + k), VarData::FromR8(42.0)));
    }
    other->Release();
}

// ---- Interfaces -------------------------------------------------------------------------------

TEST_P(ProviderBehaviour, ObjectsAnswerTheirOwnInterfacesOnly) {
    IVestaRealTimeItem* item = add(L"any", 1);
    const struct {
        IUnknown* object;
        const GUID* iid;
        bool answers;
    } cases[] = {
        {item, &IID_IUnknown, true},
        {item, &IID_IVESTAREALTIMEITEM, true},
        {item, &IID_IVESTAREALTIME, false},
        {item, &IID_IVESTAREALTIMERECEIVER, false},
        {realTime_, &IID_IUnknown, true},
        {realTime_, &IID_IVESTAREALTIME, true},
        {realTime_, &IID_IVESTAREALTIMEITEM, false},
    };
    for (const auto& c : cases) {
        void* out = &out;
        const HRESULT hr = c.object->QueryInterface(*c.iid, &out);
        if (c.answers) {
            EXPECT_EQ(S_OK, hr);
            EXPECT_EQ(static_cast<void*>(c.object), out);
            static_cast<IUnknown*>(out)->Release();
        } else {
            EXPECT_EQ(E_NOINTERFACE, hr);
            EXPECT_EQ(nullptr, out);
        }
    }
}

}  // namespace vesta_test
