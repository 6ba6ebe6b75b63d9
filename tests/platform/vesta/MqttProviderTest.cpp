// The MQTT provider against a real broker started for each test: the common behaviour suite with
// host and client in this process (each with its own broker connection), a host in another
// process, broker crashes and host crashes, and what the wire may carry.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <signal.h>

#include "ProviderBehaviour.h"
#include "RecordingReceiver.h"
#include "RemoteHost.h"
#include "TestBroker.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/ThreadTestSupport.h"
#include "qbrealt/mqtt/MqttConnection.h"

namespace vesta_test {
namespace {

using ka::kor::FlexData;
using vesta::ItemHost;

class MqttEnvironment : public ProviderEnvironment {
  public:
    MqttEnvironment() {
        if (broker_.available()) {
            setenv("KA_VESTA_URL", broker_.url().c_str(), 1);
            setenv("KA_VESTA_KEEPALIVE", "5", 1);
        }
    }
    IUnknown* newSession() override { return broker_.available() ? GetVestaSession() : nullptr; }
    TestBroker& broker() { return broker_; }

  private:
    TestBroker broker_;
};

#define SKIP_WITHOUT_BROKER()                                                       \
    if (TestBroker::Program().empty()) {                                            \
        GTEST_SKIP() << "mosquitto is not installed (scripts/deps.sh installs it)"; \
    }

// Hosts in a process of their own: what a client sees must not depend on where the host is.
class MqttRemoteEnvironment : public MqttEnvironment {
  public:
    std::unique_ptr<TestHost> newHost(const std::wstring& process) override {
        return RemoteHost::Start(MQTT_TEST_HOST, process);
    }
};

INSTANTIATE_TEST_SUITE_P(
    Mqtt, ProviderBehaviour,
    testing::Values(EnvironmentFactory{"Mqtt", [] { return std::make_unique<MqttEnvironment>(); }},
                    EnvironmentFactory{"MqttRemote",
                                       [] { return std::make_unique<MqttRemoteEnvironment>(); }}),
    ProviderName);

std::wstring HostName() {
    const ka::kor::String h = ka::kor::osdep::GetCachedHostName();
    return std::wstring(h.begin(), h.end());
}

std::string Uniq(const char* stem) {
    static int n = 0;
    return std::string(stem) + std::to_string(::getpid()) + "x" + std::to_string(n++);
}

// A client connection with one recording receiver, released at the end.
struct Client {
    explicit Client(IUnknown* session) : receiver(RecordingReceiver::Create()) {
        EXPECT_EQ(S_OK, NewVestaRealTime(session, receiver, &rt)) << VestaLastErrorText();
    }
    ~Client() {
        for (IVestaRealTimeItem* i : items) {
            i->Release();
        }
        if (rt != nullptr) {
            rt->Release();
        }
        receiver->Release();
    }
    IVestaRealTimeItem* add(const std::wstring& url, long handle) {
        IVestaRealTimeItem* item = nullptr;
        EXPECT_EQ(S_OK, rt->AddItem(url.c_str(), &item, nullptr, handle));
        if (item != nullptr) {
            items.push_back(item);
        }
        return item;
    }
    RecordingReceiver* receiver;
    IVestaRealTime* rt = nullptr;
    std::vector<IVestaRealTimeItem*> items;
};

struct Session {
    Session() : p(GetVestaSession()) {}
    ~Session() {
        if (p != nullptr) {
            p->Release();
        }
    }
    IUnknown* p;
};

int CycleCount() {
    const char* v = std::getenv("KA_MQTT_FAULT_CYCLES");
    return v != nullptr && std::atoi(v) > 0 ? std::atoi(v) : 3;
}

// For waitFor: the item's latest event is a change to `quality`.
auto LastQualityIs(std::uint32_t quality) {
    return [quality](const std::vector<Event>& es) {
        return !es.empty() && es.back().kind == Event::Data && es.back().quality == quality;
    };
}

double Seconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

TEST(MqttSettings, MalformedBrokerURLsGiveNoSessionAndSayWhy) {
    const char* bad[] = {"mqtt://",       "mqtt://host:0",          "mqtt://host:99999",
                         "mqtt://host:x", "mqtts://127.0.0.1:8883", "mqtt://a b:1883"};
    unsetenv("KA_VESTA_CAFILE");
    for (const char* url : bad) {
        SCOPED_TRACE(url);
        setenv("KA_VESTA_URL", url, 1);
        EXPECT_EQ(nullptr, GetVestaSession());
        EXPECT_STRNE("", VestaLastErrorText());
    }
    setenv("KA_VESTA_URL", "mqtt://127.0.0.1:1", 1);
    setenv("KA_VESTA_KEEPALIVE", "1", 1);
    EXPECT_EQ(nullptr, GetVestaSession());
    EXPECT_NE(nullptr, std::strstr(VestaLastErrorText(), "KA_VESTA_KEEPALIVE"));
    unsetenv("KA_VESTA_KEEPALIVE");
}

TEST(MqttSettings, AnUnreachableBrokerIsReportedThroughQualityWithoutBlocking) {
    // Port 1 on loopback: nothing listens there.
    setenv("KA_VESTA_URL", "mqtt://127.0.0.1:1", 1);
    Session session;
    ASSERT_NE(nullptr, session.p) << VestaLastErrorText();
    Client client(session.p);
    const auto start = std::chrono::steady_clock::now();
    client.add(L"\\\\" + HostName() + L"\\p\\x", 1);
    EXPECT_LT(Seconds(std::chrono::steady_clock::now() - start), 0.5);
    ASSERT_TRUE(client.receiver->waitForCount(1, 2));
    EXPECT_EQ("S15 D6:200000", Describe(client.receiver->events(1)));
}

// mqtts through a broker that listens for TLS only: with the broker's CA items flow; with another
// CA the connection is refused, which the client reports through quality without blocking.
TEST(MqttTls, ItemsFlowWithTheBrokersCAAndAnotherCAIsReportedWithoutBlocking) {
    SKIP_WITHOUT_BROKER();
    TestBroker broker(true);
    ASSERT_TRUE(broker.available()) << "no TLS broker (mosquitto and openssl needed)";
    const std::string otherCA = broker.caFile() + ".other";
    ASSERT_TRUE(MakeCA(otherCA));
    setenv("KA_VESTA_URL", broker.url().c_str(), 1);
    setenv("KA_VESTA_KEEPALIVE", "5", 1);
    const std::wstring process = L"tls" + std::to_wstring(::getpid());
    const std::wstring url = L"\\\\" + HostName() + L"\\" + process + L"\\t";
    {
        setenv("KA_VESTA_CAFILE", broker.caFile().c_str(), 1);
        Session session;
        ASSERT_NE(nullptr, session.p) << VestaLastErrorText();
        ItemHost host(session.p, process);
        host.createItem(L"t", FlexData(2.5), VESTA_ACCESS_READ);
        Client client(session.p);
        client.add(url, 1);
        EXPECT_TRUE(client.receiver->waitForValue(1, VarData::FromR8(2.5)))
            << Describe(client.receiver->events(1));
    }
    setenv("KA_VESTA_CAFILE", (otherCA + ".crt").c_str(), 1);
    const auto start = std::chrono::steady_clock::now();
    Session session;
    ASSERT_NE(nullptr, session.p) << VestaLastErrorText();
    Client client(session.p);
    client.add(url, 1);
    EXPECT_LT(Seconds(std::chrono::steady_clock::now() - start), 3.0);
    ASSERT_TRUE(client.receiver->waitForCount(1, 2));
    EXPECT_EQ("S15 D6:200000", Describe(client.receiver->events(1)));
    unsetenv("KA_VESTA_CAFILE");
}

// Each case gets a broker of its own, which the provider in this process uses.
class MqttProcesses : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_BROKER();
        ASSERT_TRUE(broker.available());
        setenv("KA_VESTA_URL", broker.url().c_str(), 1);
        setenv("KA_VESTA_KEEPALIVE", "5", 1);
    }
    TestBroker broker;
};
class MqttWire : public MqttProcesses {};

// A host in another process: the client sees it, and sees it die at once when it is killed.
TEST_F(MqttProcesses, AKilledHostsItemsTurnProcessFailureWithinAKeepalive) {
    Session session;
    Client client(session.p);
    double worst = 0;
    for (int cycle = 0; cycle < CycleCount(); ++cycle) {
        SCOPED_TRACE(cycle);
        const std::string process = Uniq("remote");
        const pid_t host = Spawn(MQTT_TEST_HOST, process, "");
        ASSERT_GT(host, 0);
        const long h = cycle + 1;
        client.add(L"\\\\" + HostName() + L"\\" + std::wstring(process.begin(), process.end()) +
                       L"\\counter",
                   h);
        EXPECT_TRUE(client.receiver->waitFor(h, [](const std::vector<Event>& es) {
            return !Values(es).empty() && Values(es).back().value.asInteger() > 5;
        })) << Describe(client.receiver->events(h));
        const auto killed = std::chrono::steady_clock::now();
        Kill9(host);
        EXPECT_TRUE(client.receiver->waitFor(h, LastQualityIs(VESTA_QUALITY_PROCESS_FAILURE)));
        const double took = Seconds(std::chrono::steady_clock::now() - killed);
        worst = std::max(worst, took);
        EXPECT_LT(took, 1.5 * 5);
    }
    std::printf("host kill cycles: %d, worst time to process failure: %.3f s\n", CycleCount(),
                worst);
}

// The broker crashes while a host counts, and one update goes into the dead connection before the
// host notices (libmosquitto sends it again after the reconnect, behind the new life's states);
// after the broker returns the client has the latest value within 2 s, and between the crash and
// that fresh value nothing is reported good.
TEST_F(MqttProcesses, AfterABrokerCrashTheClientGetsTheLatestValueAndNeverAStaleGoodOne) {
    Session session;
    const std::wstring process = L"crash" + std::to_wstring(::getpid());
    ItemHost host(session.p, process);
    ItemHost::Item counter = host.createItem(L"n", FlexData(0), VESTA_ACCESS_READ);
    Client client(session.p);
    client.add(L"\\\\" + HostName() + L"\\" + process + L"\\n", 1);
    ASSERT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(0)));
    int value = 0;
    double worst = 0;
    for (int cycle = 0; cycle < CycleCount(); ++cycle) {
        SCOPED_TRACE(cycle);
        for (int i = 0; i < 20; ++i) {
            counter.update(FlexData(++value));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        broker.kill9();
        counter.update(FlexData(++value));  // before the host has noticed
        const std::size_t before = client.receiver->events(1).size();
        EXPECT_TRUE(client.receiver->waitFor(1, LastQualityIs(VESTA_QUALITY_DISCONNECTED)));
        counter.update(FlexData(++value));  // while the broker is away
        ASSERT_TRUE(broker.start());
        const auto back = std::chrono::steady_clock::now();
        EXPECT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(value)))
            << "latest " << value << ": " << Describe(client.receiver->events(1));
        const double took = Seconds(std::chrono::steady_clock::now() - back);
        worst = std::max(worst, took);
        EXPECT_LT(took, 2.0 + 0.5);  // the reconnect delay, and the run-up of a loaded machine
        const std::vector<Event> es = client.receiver->events(1);
        std::int64_t last = -1;
        for (std::size_t i = before; i < es.size(); ++i) {
            if (es[i].kind == Event::Data && es[i].quality == VESTA_QUALITY_GOOD &&
                (es[i].mask & VESTA_MASK_VALUE) != 0) {
                EXPECT_EQ(value, es[i].value.asInteger()) << "a stale value reported good";
                EXPECT_LE(last, es[i].value.asInteger());
                last = es[i].value.asInteger();
            }
        }
    }
    std::printf("broker crash cycles: %d, worst recovery: %.3f s\n", CycleCount(), worst);
}

// A broker killed with -9 comes back with what it last saved, which can be a host's earlier
// life; the client has seen that life end and must not report its value good again. The host
// (in a process of its own) is held stopped until the client is back, so that the client meets
// the broker's old state before the host's new birth replaces it.
TEST_F(MqttProcesses, ABrokerBackWithAnOlderSavedStateNeverRevivesAnEndedLife) {
    const std::wstring process = L"saved" + std::to_wstring(::getpid());
    std::unique_ptr<RemoteHost> host = RemoteHost::Start(MQTT_TEST_HOST, process);
    ASSERT_TRUE(host);
    HostItem item = host->createItem(L"n", FlexData(1), VESTA_ACCESS_READ);
    Session session;
    Client client(session.p);
    client.add(L"\\\\" + HostName() + L"\\" + process + L"\\n", 1);
    ASSERT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(1)));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // saved (every second)
    host->unregister();  // a new life, with a new value, that the broker has not saved yet
    item.update(FlexData(2));
    host->reregister();
    ASSERT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(2)));
    const std::size_t before = client.receiver->events(1).size();
    broker.kill9();
    ::kill(host->pid(), SIGSTOP);
    ASSERT_TRUE(broker.start());
    // The client's second attempt (1 s, then 2 s later) is in, should the first have been early.
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    ::kill(host->pid(), SIGCONT);
    const auto isGood = [](const Event& e) {
        return e.kind == Event::Data && e.quality == VESTA_QUALITY_GOOD &&
               (e.mask & VESTA_MASK_VALUE) != 0;
    };
    EXPECT_TRUE(client.receiver->waitFor(
        1, [&](const std::vector<Event>& es) { return es.size() > before && isGood(es.back()); }));
    const std::vector<Event> es = client.receiver->events(1);
    for (std::size_t i = before; i < es.size(); ++i) {
        if (isGood(es[i])) {
            EXPECT_EQ(VarData::FromI4(2), es[i].value) << "an ended life's value reported good";
        }
    }
}

class Silent : public vesta::mqtt::Connection::Handler {
  public:
    void onConnect() override {}
    void onDisconnect() override {}
    void onMessage(const mosquitto_message&) override {}
};

// Only the client's connection goes (another connection takes its client id): broker and host
// stay, so no new birth comes. The host answers the client's roll call, and its items are good
// again with its next value.
TEST_F(MqttProcesses, AClientThatAloneLostItsConnectionTrustsTheHostThatIsStillThere) {
    // The client's id is in the topic of the probe it publishes on connecting.
    struct ProbeWatch : Silent {
        void onMessage(const mosquitto_message& m) override {
            std::lock_guard<std::mutex> lock(mutex);
            topics.push_back(m.topic);
        }
        std::mutex mutex;
        std::vector<std::string> topics;
    } watch;
    vesta::mqtt::Settings settings;
    std::string why;
    ASSERT_TRUE(vesta::mqtt::ReadSettings(broker.url(), settings, why)) << why;
    vesta::mqtt::Connection watcher(settings, "watch", watch);
    watcher.start();
    ASSERT_TRUE(watcher.waitConnected(5000));
    watcher.subscribe("ka/v1/probe/#", 1);
    auto seen = [&](std::size_t n) {
        return ka_test::WaitUntil([&] {
            std::lock_guard<std::mutex> lock(watch.mutex);
            return watch.topics.size() >= n;
        });
    };
    watcher.publish("ka/v1/probe/watch", "0", 1, false);  // back once the subscription is in
    ASSERT_TRUE(seen(1));

    Session session;
    const std::wstring process = L"alone" + std::to_wstring(::getpid());
    ItemHost host(session.p, process);
    ItemHost::Item item = host.createItem(L"n", FlexData(1), VESTA_ACCESS_READ);
    Client client(session.p);
    client.add(L"\\\\" + HostName() + L"\\" + process + L"\\n", 1);
    ASSERT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(1)));
    ASSERT_TRUE(seen(2));
    std::string id = watch.topics[1].substr(std::strlen("ka/v1/probe/"));
    std::transform(id.begin(), id.end(), id.begin(), ::tolower);  // ids here are lower case

    mosquitto* usurper = mosquitto_new(id.c_str(), true, nullptr);
    mosquitto_int_option(usurper, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    ASSERT_EQ(MOSQ_ERR_SUCCESS, mosquitto_connect(usurper, "127.0.0.1", broker.port(), 60));
    mosquitto_loop(usurper, 200, 1);
    mosquitto_disconnect(usurper);
    mosquitto_destroy(usurper);
    EXPECT_TRUE(client.receiver->waitFor(1, LastQualityIs(VESTA_QUALITY_DISCONNECTED)));
    item.update(FlexData(2));
    EXPECT_TRUE(client.receiver->waitFor(1, [](const std::vector<Event>& es) {
        return es.back().kind == Event::Data && es.back().quality == VESTA_QUALITY_GOOD &&
               es.back().value == VarData::FromI4(2);
    })) << Describe(client.receiver->events(1));
}

std::string Upper(const std::wstring& s) {
    std::string out;
    for (wchar_t c : s) {
        out += static_cast<char>(std::towupper(c));
    }
    return out;
}

// A broker that holds only one message for a client that falls behind drops births, probes and
// retained values as readily as updates. While one host in this process floods an item the
// client watches, the client subscribes to an item of another host; once the flood ends, that
// subscription must settle: good, or the reason it is not.
TEST(MqttLossyBroker, EverySubscriptionSettlesThoughTheBrokerDropsMessages) {
    SKIP_WITHOUT_BROKER();
    TestBroker broker(false, 1);
    ASSERT_TRUE(broker.available());
    setenv("KA_VESTA_URL", broker.url().c_str(), 1);
    setenv("KA_VESTA_KEEPALIVE", "5", 1);
    Session session;
    const std::wstring pid = std::to_wstring(::getpid());
    const std::wstring base = L"\\\\" + HostName() + L"\\";
    ItemHost flooder(session.p, L"flood" + pid);
    ItemHost::Item busy = flooder.createItem(L"busy", FlexData(0), VESTA_ACCESS_READ);
    ItemHost quiet(session.p, L"quiet" + pid);
    quiet.createItem(L"x", FlexData(7), VESTA_ACCESS_READ);
    Client client(session.p);
    client.add(base + L"flood" + pid + L"\\busy", 1);
    int value = 0;
    for (long round = 0; round < 4; ++round) {
        // Long enough for the client to fall behind, and on past the subscription.
        std::atomic<bool> subscribed{false};
        std::thread flood([&] {
            const auto start = std::chrono::steady_clock::now();
            while (!subscribed ||
                   std::chrono::steady_clock::now() < start + std::chrono::milliseconds(1500)) {
                busy.update(FlexData(++value));
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
        IVestaRealTimeItem* item = nullptr;
        const HRESULT added = client.rt->AddItem((base + L"quiet" + pid + L"\\x").c_str(), &item,
                                                 nullptr, 100 + round);
        subscribed = true;
        flood.join();
        ASSERT_EQ(S_OK, added);
        EXPECT_TRUE(client.receiver->waitFor(100 + round, LastQualityIs(VESTA_QUALITY_GOOD)))
            << round << ": " << Describe(client.receiver->events(100 + round));
        item->Release();
    }
    client.add(base + L"quiet" + pid + L"\\none", 2);
    client.add(base + L"absent\\x", 3);
    EXPECT_TRUE(client.receiver->waitFor(2, LastQualityIs(VESTA_QUALITY_NONEXISTENT)))
        << Describe(client.receiver->events(2));
    EXPECT_TRUE(client.receiver->waitFor(3, LastQualityIs(VESTA_QUALITY_PROCESS_FAILURE)))
        << Describe(client.receiver->events(3));
}

// A peer that publishes nonsense on an item's topic: the client says so (a log line) and shows
// the item without a value, and the host's next update brings it back.
TEST_F(MqttWire, UnreadableItemMessagesGiveABadQualityUntilTheHostsNextValue) {
    Session session;
    const std::wstring process = L"wire" + std::to_wstring(::getpid());
    ItemHost host(session.p, process);
    ItemHost::Item item = host.createItem(L"g", FlexData(1), VESTA_ACCESS_READ);
    Client client(session.p);
    client.add(L"\\\\" + HostName() + L"\\" + process + L"\\g", 1);
    ASSERT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(1)));

    Silent silent;
    vesta::mqtt::Settings settings;
    std::string why;
    ASSERT_TRUE(vesta::mqtt::ReadSettings(broker.url(), settings, why)) << why;
    vesta::mqtt::Connection peer(settings, "peer", silent);
    peer.start();
    ASSERT_TRUE(peer.waitConnected(5000));
    const std::string topic = "ka/v1/item/" + Upper(HostName()) + "/" + Upper(process) + "/G";
    const struct {
        const char* name;
        std::string payload;
    } cases[] = {
        {"garbage", std::string("\xff\xfe\x00garbage", 10)},
        {"wrong version", std::string("\x07\x01\x01\x00", 4)},
        {"truncated", std::string("\x01\x01\x01\x00\x00", 5)},
    };
    int value = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        peer.publish(topic, c.payload, 1, false);
        EXPECT_TRUE(client.receiver->waitFor(1, LastQualityIs(VESTA_QUALITY_NO_VALUE)))
            << Describe(client.receiver->events(1));
        item.update(FlexData(++value));
        EXPECT_TRUE(client.receiver->waitForValue(1, VarData::FromI4(value)));
    }
}

}  // namespace
}  // namespace vesta_test
