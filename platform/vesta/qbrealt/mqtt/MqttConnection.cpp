#include "qbrealt/mqtt/MqttConnection.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <unistd.h>

namespace vesta {
namespace mqtt {

namespace {

// Runs what a libmosquitto callback does for its connection: no exception may cross into
// libmosquitto's C code. The one to expect is std::bad_alloc; what it cut short is set right by
// the next connect or message (or the client's asking again).
template <class F>
void Guarded(F&& f) noexcept {
    try {
        f();
    } catch (...) {
    }
}

std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v == nullptr ? std::string() : std::string(v);
}

void InitLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}

}  // namespace

bool ReadSettings(const std::string& url, Settings& out, std::string& why) {
    std::string rest;
    const auto scheme = url.find("://");
    std::string s = scheme == std::string::npos ? std::string() : url.substr(0, scheme);
    for (char& c : s) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (s == "mqtt") {
        out.tls = false;
        out.port = 1883;
    } else if (s == "mqtts") {
        out.tls = true;
        out.port = 8883;
    } else {
        why = "\"" + url + "\" is not an MQTT broker URL (mqtt://host:port or mqtts://host:port)";
        return false;
    }
    rest = url.substr(scheme + 3);
    if (!rest.empty() && rest.back() == '/') {
        rest.pop_back();
    }
    const auto colon = rest.rfind(':');
    std::string host = colon == std::string::npos ? rest : rest.substr(0, colon);
    if (colon != std::string::npos) {
        const std::string port = rest.substr(colon + 1);
        char* end = nullptr;
        const long p = std::strtol(port.c_str(), &end, 10);
        if (port.empty() || *end != '\0' || p < 1 || p > 65535) {
            why = "\"" + url + "\": the port must be a number from 1 to 65535";
            return false;
        }
        out.port = static_cast<int>(p);
    }
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (host.empty() || host.find_first_of("/@?# ") != std::string::npos) {
        why = "\"" + url + "\": no valid broker host name";
        return false;
    }
    out.host = host;
    out.caFile = Env("KA_VESTA_CAFILE");
    if (out.tls && out.caFile.empty()) {
        why = "\"" + url + "\": mqtts needs KA_VESTA_CAFILE naming the CA certificate file";
        return false;
    }
    out.user = Env("KA_VESTA_USER");
    out.password = Env("KA_VESTA_PASSWORD");
    out.clientId = Env("KA_VESTA_CLIENT_ID");
    const std::string keepalive = Env("KA_VESTA_KEEPALIVE");
    if (!keepalive.empty()) {
        char* end = nullptr;
        const long k = std::strtol(keepalive.c_str(), &end, 10);
        // libmosquitto refuses keepalives below 5 s.
        if (*end != '\0' || k < 5 || k > 65535) {
            why = "KA_VESTA_KEEPALIVE=\"" + keepalive + "\" must be seconds from 5 to 65535";
            return false;
        }
        out.keepalive = static_cast<int>(k);
    }
    return true;
}

Connection::Connection(const Settings& settings, const std::string& role, Handler& handler,
                       const std::string& willTopic, const std::string& willPayload)
    : handler_(handler) {
    InitLibrary();
    static std::atomic<unsigned> counter{0};
    clientId_ = (settings.clientId.empty() ? std::string("ka") : settings.clientId) + "-" + role +
                "-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    if (clientId_.size() > 200) {
        clientId_ = clientId_.substr(clientId_.size() - 200);
    }
    mosq_ = mosquitto_new(clientId_.c_str(), true, this);
    if (mosq_ == nullptr) {
        throw std::runtime_error("mosquitto_new failed");
    }
    mosquitto_int_option(mosq_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(mosq_, MOSQ_OPT_TCP_NODELAY, 1);
    // Back-off from 1 s, doubling, to at most 2 s: a returning broker is found again within 2 s.
    mosquitto_reconnect_delay_set(mosq_, 1, 2, true);
    mosquitto_connect_callback_set(mosq_, &Connection::OnConnect);
    mosquitto_disconnect_callback_set(mosq_, &Connection::OnDisconnect);
    mosquitto_message_callback_set(mosq_, &Connection::OnMessage);
    mosquitto_publish_callback_set(mosq_, &Connection::OnPublish);
    mosquitto_log_callback_set(mosq_, &Connection::OnLog);
    int rc = MOSQ_ERR_SUCCESS;
    if (!settings.user.empty()) {
        rc = mosquitto_username_pw_set(
            mosq_, settings.user.c_str(),
            settings.password.empty() ? nullptr : settings.password.c_str());
    }
    if (rc == MOSQ_ERR_SUCCESS && settings.tls) {
        rc = mosquitto_tls_set(mosq_, settings.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    }
    if (rc == MOSQ_ERR_SUCCESS && !willTopic.empty()) {
        rc = mosquitto_will_set(mosq_, willTopic.c_str(), static_cast<int>(willPayload.size()),
                                willPayload.data(), 1, true);
    }
    if (rc != MOSQ_ERR_SUCCESS) {
        mosquitto_destroy(mosq_);
        throw std::runtime_error(std::string("broker settings refused: ") + mosquitto_strerror(rc));
    }
    host_ = settings.host;
    port_ = settings.port;
    keepalive_ = settings.keepalive;
}

Connection::~Connection() {
    stopping_ = true;
    if (started_) {
        mosquitto_disconnect(mosq_);
        mosquitto_loop_stop(mosq_, false);
    }
    mosquitto_destroy(mosq_);
}

void Connection::start() {
    // A failure here (broker not reachable yet) is retried by the network thread.
    if (mosquitto_connect_bind_async(mosq_, host_.c_str(), port_, keepalive_, nullptr) !=
        MOSQ_ERR_SUCCESS) {
        std::lock_guard<std::mutex> lock(mutex_);
        failedOnce_ = true;
    }
    if (mosquitto_loop_start(mosq_) != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error("could not start the MQTT network thread");
    }
    started_ = true;
}

void Connection::publish(const std::string& topic, const std::string& payload, int qos,
                         bool retain) {
    std::lock_guard<std::mutex> lock(mutex_);
    int mid = 0;
    const int rc = mosquitto_publish(mosq_, &mid, topic.c_str(), static_cast<int>(payload.size()),
                                     payload.data(), qos, retain);
    if (rc == MOSQ_ERR_SUCCESS) {
        ++sent_;
    }
    // A message with an id is queued even when sending it failed (the connection was just
    // lost), and goes out again after the next connect.
    if (retain && qos > 0 && mid != 0) {
        retainedInFlight_[mid] = topic;
    }
}

void Connection::subscribe(const std::string& filter, int qos) {
    mosquitto_subscribe(mosq_, nullptr, filter.c_str(), qos);
}

void Connection::unsubscribe(const std::string& filter) {
    mosquitto_unsubscribe(mosq_, nullptr, filter.c_str());
}

bool Connection::waitAcknowledged(int ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t target = sent_;
    return changed_.wait_for(lock, std::chrono::milliseconds(ms), [&] { return acked_ >= target; });
}

bool Connection::waitConnected(int ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(ms), [&] { return up_; });
}

void Connection::waitFirstOutcome(int ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(ms), [&] { return up_ || failedOnce_; });
}

void Connection::disconnect() {
    stopping_ = true;
    mosquitto_disconnect(mosq_);
}

bool Connection::onNetworkThread() const noexcept {
    return networkThread_.load() == std::this_thread::get_id();
}

void Connection::OnConnect(mosquitto*, void* self, int rc) {
    auto* c = static_cast<Connection*>(self);
    c->networkThread_ = std::this_thread::get_id();
    // Cleared on success, so that the same failure after a recovery is reported again.
    Guarded([&] {
        c->noteError(rc == 0 ? std::string()
                             : std::string("connection refused: ") + mosquitto_connack_string(rc));
    });
    if (rc == 0) {
        // Whatever is still unacknowledged was published before this connection and goes out
        // again after what onConnect publishes now. (Taken here rather than at the loss, which
        // the handler learns only after libmosquitto: it may publish in between.)
        std::lock_guard<std::mutex> lock(c->mutex_);
        c->retainedResent_.merge(c->retainedInFlight_);  // moves the nodes: allocates nothing
        c->retainedInFlight_.clear();
    }
    if (rc == 0 && !c->stopping_) {
        Guarded([c] { c->handler_.onConnect(); });
    }
    std::lock_guard<std::mutex> lock(c->mutex_);
    (rc == 0 ? c->up_ : c->failedOnce_) = true;
    c->changed_.notify_all();
}

void Connection::OnDisconnect(mosquitto*, void* self, int) {
    auto* c = static_cast<Connection*>(self);
    c->networkThread_ = std::this_thread::get_id();
    {
        std::lock_guard<std::mutex> lock(c->mutex_);
        c->up_ = false;
        c->failedOnce_ = true;
        // What was in flight is resent or lost; nobody waits for it any longer.
        c->acked_ = c->sent_;
        c->changed_.notify_all();
    }
    if (!c->stopping_) {
        Guarded([c] { c->handler_.onDisconnect(); });
    }
}

void Connection::OnPublish(mosquitto*, void* self, int mid) {
    auto* c = static_cast<Connection*>(self);
    std::string resent;
    {
        std::lock_guard<std::mutex> lock(c->mutex_);
        // A message resent after a reconnect was counted off at the loss already; counting its
        // acknowledgement again would make the count in flight wrap around and hold every
        // further update back.
        if (c->acked_ < c->sent_) {
            ++c->acked_;
        }
        c->retainedInFlight_.erase(mid);
        const auto r = c->retainedResent_.find(mid);
        if (r != c->retainedResent_.end()) {
            resent.swap(r->second);
            c->retainedResent_.erase(r);
        }
        c->changed_.notify_all();
    }
    if (!c->stopping_) {
        Guarded([c] { c->handler_.onAcknowledged(); });
        if (!resent.empty()) {
            Guarded([&] { c->handler_.onResentRetained(resent); });
        }
    }
}

std::uint64_t Connection::inFlight() {
    std::lock_guard<std::mutex> lock(mutex_);
    return sent_ - acked_;
}

void Connection::OnMessage(mosquitto*, void* self, const mosquitto_message* m) {
    auto* c = static_cast<Connection*>(self);
    c->networkThread_ = std::this_thread::get_id();
    if (m != nullptr && !c->stopping_) {
        Guarded([c, m] { c->handler_.onMessage(*m); });
    }
}

void Connection::OnLog(mosquitto*, void* self, int level, const char* text) {
    // Why a connection fails (a certificate that does not verify, a refused login) is known
    // only here; the quality just says "disconnected". Each new reason gets one line, not one
    // per reconnect attempt.
    if ((level & MOSQ_LOG_ERR) == 0 || text == nullptr) {
        return;
    }
    Guarded([self, text] { static_cast<Connection*>(self)->noteError(text); });
}

void Connection::noteError(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (lastError_ != text) {
        lastError_ = text;
        if (!text.empty()) {
            std::fprintf(stderr, "ka vesta mqtt: %s: %s\n", clientId_.c_str(), text.c_str());
        }
    }
}

void LogRejected(const std::string& what) {
    static std::mutex mutex;
    static auto windowStart = std::chrono::steady_clock::now();
    static int inWindow = 0;
    std::lock_guard<std::mutex> lock(mutex);
    const auto now = std::chrono::steady_clock::now();
    if (now - windowStart > std::chrono::seconds(1)) {
        windowStart = now;
        inWindow = 0;
    }
    if (++inWindow <= 5) {
        std::fprintf(stderr, "ka vesta mqtt: rejected: %s\n", what.c_str());
    }
}

}  // namespace mqtt
}  // namespace vesta
