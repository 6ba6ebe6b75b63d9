// The MQTT provider across processes, beside bare libmosquitto doing the same through the same
// private broker (one started for this program):
// - a value sent in one process reaching the receiver in another, p50 and p99: an item host's
//   update to the client's OnDataChange, beside a bare publish of a payload of the same size to
//   a bare subscriber's message callback (QoS 1, retained, TCP_NODELAY, as the provider sends);
// - the sustained rate of bursts of values from one sender to one receiver, the same two ways;
// - a client whose receiver takes 1 ms per change under the same bursts: its memory must stay
//   flat (RSS growth is reported), since newer values replace queued older ones.
// The sender is MqttBenchPeer; both processes read the same steady clock, so the sender puts
// its send time in the value and the receiver subtracts it from the arrival time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestBroker.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "vesta/CountedReceiver.h"
#include "vesta/VestaRealTime.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kBurst = 2000;
constexpr std::chrono::seconds kPatience(10);

std::int64_t Nanos(Clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
}

// The broker for the whole program, stopped at its exit.
vesta_test::TestBroker& Broker() {
    static vesta_test::TestBroker broker;
    return broker;
}

long ResidentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0) {
            return std::atol(line.c_str() + 6);
        }
    }
    return 0;
}

void ReportPercentiles(benchmark::State& state, std::vector<double>& micros) {
    if (micros.empty()) {
        return;
    }
    std::sort(micros.begin(), micros.end());
    state.counters["p50_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
    state.counters["max_us"] = micros.back();
}

// What reached the receiving side: the last value, when, and how many.
class Arrivals {
  public:
    void arrive(std::int64_t v) {
        const Clock::time_point now = Clock::now();
        if (slowMicros > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(slowMicros));
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            last_ = v;
            at_ = now;
            ++count_;
        }
        cv_.notify_one();
    }
    // Waits for a value that `wanted` accepts; false after kPatience.
    bool waitFor(const std::function<bool(std::int64_t)>& wanted, std::int64_t& value,
                 Clock::time_point& at) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!cv_.wait_for(lock, kPatience, [&] { return count_ > 0 && wanted(last_); })) {
            return false;
        }
        value = last_;
        at = at_;
        return true;
    }
    long count() {
        std::lock_guard<std::mutex> lock(mutex_);
        return count_;
    }
    std::atomic<int> slowMicros{0};

  private:
    std::mutex mutex_;
    std::condition_variable cv_;
    std::int64_t last_ = 0;
    Clock::time_point at_;
    long count_ = 0;
};

// MqttBenchPeer in a child process, told what to send through a pipe.
class Peer {
  public:
    explicit Peer(const std::vector<std::string>& args) {
        int in[2];
        int out[2];
        if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) {
            return;
        }
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(in[0], 0);
            ::dup2(out[1], 1);
            std::vector<char*> argv{const_cast<char*>(MQTT_BENCH_PEER)};
            for (const std::string& a : args) {
                argv.push_back(const_cast<char*>(a.c_str()));
            }
            argv.push_back(nullptr);
            ::execv(MQTT_BENCH_PEER, argv.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        to_ = in[1];
        char ready[6] = {};
        ready_ = pid_ > 0 && ::read(out[0], ready, 5) == 5 && std::strcmp(ready, "ready") == 0;
        ::close(out[0]);
    }
    ~Peer() {
        ::close(to_);  // the peer ends with its input
        if (pid_ > 0) {
            ::waitpid(pid_, nullptr, 0);
        }
    }
    bool ready() const { return ready_; }
    void send(const std::string& line) {
        const std::string text = line + "\n";
        if (::write(to_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            ready_ = false;
        }
    }

  private:
    pid_t pid_ = -1;
    int to_ = -1;
    bool ready_ = false;
};

// The receiver of the provider's client side: counts arrivals.
class ArrivalSink final : public vesta::CountedReceiver {
  public:
    HRESULT OnDataChange(long, std::uint32_t mask, const VarData* value, std::uint32_t,
                         FILETIME) override {
        if ((mask & VESTA_MASK_VALUE) != 0) {
            arrivals.arrive(value->asInteger());
        }
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS*) override { return S_OK; }
    HRESULT OnStatusChange(long, IASTATUS, HRESULT, std::uint32_t) override { return S_OK; }

    Arrivals arrivals;
};

// The provider's client side in this process: one item of a host in the peer.
class ProviderReceiver {
  public:
    explicit ProviderReceiver(const std::string& process) : peer_({"provider", process}) {
        session_ = GetVestaSession();
        if (!peer_.ready() || session_ == nullptr ||
            NewVestaRealTime(session_, &sink_, &rt_) != S_OK) {
            return;
        }
        const ka::kor::String machine = ka::kor::osdep::GetCachedHostName();
        const std::wstring url = L"\\\\" + std::wstring(machine.begin(), machine.end()) + L"\\" +
                                 std::wstring(process.begin(), process.end()) + L"\\value";
        rt_->AddItem(url.c_str(), &item_, nullptr, 1);
        std::int64_t v = 0;
        Clock::time_point at;
        ready_ = arrivals.waitFor([](std::int64_t) { return true; }, v, at);
    }
    ~ProviderReceiver() {
        if (item_ != nullptr) {
            item_->Release();
        }
        if (rt_ != nullptr) {
            rt_->Release();
        }
        if (session_ != nullptr) {
            session_->Release();
        }
        sink_.Release();
    }
    ProviderReceiver(const ProviderReceiver&) = delete;
    ProviderReceiver& operator=(const ProviderReceiver&) = delete;
    bool ready() const { return ready_; }
    Peer& peer() { return peer_; }

  private:
    ArrivalSink& sink_ = *new ArrivalSink;  // this side's reference

  public:
    Arrivals& arrivals = sink_.arrivals;

  private:
    Peer peer_;
    IUnknown* session_ = nullptr;
    IVestaRealTime* rt_ = nullptr;
    IVestaRealTimeItem* item_ = nullptr;
    bool ready_ = false;
};

// A bare libmosquitto subscriber in this process and a bare publisher in the peer, with the
// payload size of the provider's item message for an I64 value (30 bytes of envelope before the
// flex packet, see MqttEnvelope.h).
class BareReceiver {
  public:
    explicit BareReceiver(const std::string& topic)
        : peer_({"bare", "127.0.0.1", std::to_string(Broker().port()), topic,
                 std::to_string(30 + ka::kor::FlexData(0LL).getPacketSize())}) {
        mosquitto_lib_init();
        m_ = mosquitto_new(nullptr, true, this);
        mosquitto_int_option(m_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
        mosquitto_int_option(m_, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_message_callback_set(m_, [](mosquitto*, void* self, const mosquitto_message* m) {
            std::int64_t v = 0;
            if (m->payloadlen >= 8) {
                std::memcpy(&v, m->payload, sizeof v);
                static_cast<BareReceiver*>(self)->arrivals.arrive(v);
            }
        });
        ready_ = peer_.ready() &&
                 mosquitto_connect(m_, "127.0.0.1", Broker().port(), 60) == MOSQ_ERR_SUCCESS &&
                 mosquitto_subscribe(m_, nullptr, topic.c_str(), 1) == MOSQ_ERR_SUCCESS &&
                 mosquitto_loop_start(m_) == MOSQ_ERR_SUCCESS;
        // The subscription is in place once a first value has come through it.
        std::int64_t v = 0;
        Clock::time_point at;
        peer_.send("stamp");
        ready_ = ready_ && arrivals.waitFor([](std::int64_t) { return true; }, v, at);
    }
    ~BareReceiver() {
        mosquitto_disconnect(m_);
        mosquitto_loop_stop(m_, false);
        mosquitto_destroy(m_);
    }
    bool ready() const { return ready_; }
    Peer& peer() { return peer_; }

    Arrivals arrivals;

  private:
    Peer peer_;
    mosquitto* m_ = nullptr;
    bool ready_ = false;
};

std::string Unique(const char* stem) {
    static int n = 0;
    return std::string(stem) + std::to_string(::getpid()) + "_" + std::to_string(n++);
}

bool Setup(benchmark::State& state) {
    if (!Broker().available()) {
        state.SkipWithError("no broker (mosquitto is not installed)");
        return false;
    }
    setenv("KA_VESTA_URL", Broker().url().c_str(), 1);
    return true;
}

template <typename Receiver>
void Latency(benchmark::State& state, Receiver& r) {
    if (!r.ready()) {
        state.SkipWithError("the two processes did not connect");
        return;
    }
    std::vector<double> micros;
    micros.reserve(static_cast<std::size_t>(state.max_iterations));
    for (auto _ : state) {
        const std::int64_t asked = Nanos(Clock::now());
        r.peer().send("stamp");
        std::int64_t sent = 0;
        Clock::time_point at;
        if (!r.arrivals.waitFor([asked](std::int64_t v) { return v >= asked; }, sent, at)) {
            state.SkipWithError("a value did not arrive");
            return;
        }
        micros.push_back(static_cast<double>(Nanos(at) - sent) / 1000.0);
    }
    ReportPercentiles(state, micros);
}

// Bursts of kBurst values, each iteration until the burst's last value has arrived.
template <typename Receiver>
void Rate(benchmark::State& state, Receiver& r) {
    if (!r.ready()) {
        state.SkipWithError("the two processes did not connect");
        return;
    }
    const long before = r.arrivals.count();
    const long rssBefore = ResidentKiB();
    long peakGrowth = 0;
    std::int64_t last = 0;
    for (auto _ : state) {
        last += kBurst;
        r.peer().send("burst " + std::to_string(kBurst));
        std::int64_t v = 0;
        Clock::time_point at;
        if (!r.arrivals.waitFor([last](std::int64_t got) { return got == last; }, v, at)) {
            state.SkipWithError("a burst did not arrive");
            return;
        }
        peakGrowth = std::max(peakGrowth, ResidentKiB() - rssBefore);
    }
    state.SetItemsProcessed(last);
    // Values the receiver saw; fewer than were sent where newer values replaced older ones.
    state.counters["delivered_per_second"] = benchmark::Counter(
        static_cast<double>(r.arrivals.count() - before), benchmark::Counter::kIsRate);
    state.counters["rss_growth_KiB"] = static_cast<double>(peakGrowth);
}

void BM_ProviderUpdateToOnDataChange(benchmark::State& state) {
    if (Setup(state)) {
        ProviderReceiver r(Unique("bench_latency"));
        Latency(state, r);
    }
}
BENCHMARK(BM_ProviderUpdateToOnDataChange)->Iterations(5000)->UseRealTime();

void BM_BarePublishToMessage(benchmark::State& state) {
    if (Setup(state)) {
        BareReceiver r("ka/v1/bare/" + Unique("bench_latency") + "/VALUE");
        Latency(state, r);
    }
}
BENCHMARK(BM_BarePublishToMessage)->Iterations(5000)->UseRealTime();

void BM_ProviderSustainedRate(benchmark::State& state) {
    if (Setup(state)) {
        ProviderReceiver r(Unique("bench_rate"));
        Rate(state, r);
    }
}
BENCHMARK(BM_ProviderSustainedRate)->MinTime(3.0)->UseRealTime();

void BM_BareSustainedRate(benchmark::State& state) {
    if (Setup(state)) {
        BareReceiver r("ka/v1/bare/" + Unique("bench_rate") + "/VALUE");
        Rate(state, r);
    }
}
BENCHMARK(BM_BareSustainedRate)->MinTime(3.0)->UseRealTime();

// A receiver that takes 1 ms per change while bursts keep coming: the client keeps the newest
// value per item, so what it holds (RSS growth) stays flat however far behind it is.
void BM_ProviderSlowClientMemory(benchmark::State& state) {
    if (Setup(state)) {
        ProviderReceiver r(Unique("bench_slow"));
        r.arrivals.slowMicros = 1000;
        Rate(state, r);
    }
}
BENCHMARK(BM_ProviderSlowClientMemory)->MinTime(3.0)->UseRealTime();

}  // namespace
