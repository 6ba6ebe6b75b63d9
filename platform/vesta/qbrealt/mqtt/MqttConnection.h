// One connection to the broker with its own network thread (libmosquitto's loop thread): MQTT 5,
// TCP_NODELAY, reconnect with back-off, and callbacks on that thread. Connecting never blocks the
// caller: an unreachable broker only means the connect callback has not come yet.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

struct mosquitto;
struct mosquitto_message;

namespace vesta {
namespace mqtt {

// The broker settings: KA_VESTA_URL (mqtt://host:port or mqtts://host:port), KA_VESTA_CAFILE,
// KA_VESTA_USER, KA_VESTA_PASSWORD, KA_VESTA_CLIENT_ID, KA_VESTA_KEEPALIVE (seconds).
struct Settings {
    std::string host;
    int port = 1883;
    bool tls = false;
    std::string caFile;
    std::string user;
    std::string password;
    std::string clientId;  // a prefix; each connection adds its own suffix
    int keepalive = 5;
};

// Parses the URL and reads the other settings from the environment; false with `why` set when
// they are not usable.
bool ReadSettings(const std::string& url, Settings& out, std::string& why);

class Connection {
  public:
    class Handler {
      public:
        virtual ~Handler() = default;
        virtual void onConnect() = 0;
        virtual void onDisconnect() = 0;
        virtual void onMessage(const mosquitto_message& message) = 0;
        // The broker took a message; called on the network thread.
        virtual void onAcknowledged() {}
        // The broker took a retained message on `topic` that was published before the connection
        // was lost and sent again after it. libmosquitto sends such messages after what
        // onConnect publishes, so this one may have replaced a newer state: the handler puts the
        // current one back. Called on the network thread.
        virtual void onResentRetained(const std::string& topic) { (void)topic; }
    };

    // Does not connect yet (start does). `will*` empty: no will. std::runtime_error when
    // libmosquitto refuses the settings.
    Connection(const Settings& settings, const std::string& role, Handler& handler,
               const std::string& willTopic = std::string(),
               const std::string& willPayload = std::string());
    // Stops the network thread and disconnects (without the will). Must not run on the
    // network thread.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start();
    // Each fails quietly while disconnected: whoever uses them restores state on connect.
    void publish(const std::string& topic, const std::string& payload, int qos, bool retain);
    void subscribe(const std::string& filter, int qos);
    void unsubscribe(const std::string& filter);
    // Messages published and not yet acknowledged.
    std::uint64_t inFlight();
    // Waits up to `ms` until every message published so far has been acknowledged; false on
    // time-out (a lost connection keeps them waiting).
    bool waitAcknowledged(int ms);
    // Waits up to `ms` for the connection to be up.
    bool waitConnected(int ms);
    // Waits up to `ms` for the first attempt's outcome (up, or failed).
    void waitFirstOutcome(int ms);
    // Sends a normal disconnect (no will) and waits briefly for it to leave.
    void disconnect();

    const std::string& clientId() const noexcept { return clientId_; }
    bool onNetworkThread() const noexcept;

  private:
    static void OnConnect(mosquitto*, void* self, int rc);
    static void OnDisconnect(mosquitto*, void* self, int rc);
    static void OnPublish(mosquitto*, void* self, int mid);
    static void OnMessage(mosquitto*, void* self, const mosquitto_message* m);
    static void OnLog(mosquitto*, void* self, int level, const char* text);
    // Logs a reason the connection failed on stderr when it differs from the last one; an
    // empty text (connected) forgets the last.
    void noteError(const std::string& text);

    Handler& handler_;
    std::string clientId_;
    std::string host_;
    int port_ = 0;
    int keepalive_ = 5;
    mosquitto* mosq_ = nullptr;
    bool started_ = false;
    std::atomic<bool> stopping_{false};
    std::atomic<std::thread::id> networkThread_{};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool up_ = false;
    bool failedOnce_ = false;
    std::uint64_t sent_ = 0;
    std::uint64_t acked_ = 0;
    // Retained messages waiting for their acknowledgement, by message id: those of the current
    // connection, and those published before it, which libmosquitto sends again. (Ids are reused
    // only after 65535 more messages, long after a resent one has been acknowledged.)
    std::map<int, std::string> retainedInFlight_;
    std::map<int, std::string> retainedResent_;
    std::string lastError_;  // the last error libmosquitto reported, logged once per change
};

// A log line on stderr about bad input from the network, at most a few per second.
void LogRejected(const std::string& what);

}  // namespace mqtt
}  // namespace vesta
