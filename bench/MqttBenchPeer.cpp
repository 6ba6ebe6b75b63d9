// The sending side of MqttBench, in a process of its own: either an item host of the MQTT
// provider (KA_VESTA_URL) or a bare libmosquitto client, told what to send by lines on its input:
//   stamp      sends one value: the steady clock in nanoseconds (the receiver's clock is the same)
//   burst N    sends N values counting on from the last burst, as fast as it can
// It answers "ready" once it can send, and ends with its input.
//   MqttBenchPeer provider PROCESS
//   MqttBenchPeer bare HOST PORT TOPIC PAYLOAD_SIZE
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include "ka/kor/FlexData.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace {

std::int64_t Stamp() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Reads commands and sends through `send` until the input ends.
void Serve(const std::function<void(std::int64_t)>& send) {
    std::cout << "ready" << std::endl;
    std::int64_t count = 0;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "stamp") {
            send(Stamp());
        } else if (line.compare(0, 6, "burst ") == 0) {
            for (long n = std::atol(line.c_str() + 6); n > 0; --n) {
                send(++count);
            }
        }
    }
}

int Provider(const std::string& process) {
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        std::fprintf(stderr, "MqttBenchPeer: %s\n", VestaLastErrorText());
        return 1;
    }
    {
        vesta::ItemHost host(session, std::wstring(process.begin(), process.end()));
        vesta::ItemHost::Item item =
            host.createItem(L"value", ka::kor::FlexData(0LL), VESTA_ACCESS_READ);
        Serve([&](std::int64_t v) { item.update(ka::kor::FlexData(static_cast<long long>(v))); });
    }
    session->Release();
    return 0;
}

// The same work without the provider: QoS 1, retained, TCP_NODELAY, MQTT 5, as the provider's
// item messages are sent.
int Bare(const std::string& host, int port, const std::string& topic, std::size_t size) {
    mosquitto_lib_init();
    mosquitto* m = mosquitto_new(nullptr, true, nullptr);
    mosquitto_int_option(m, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(m, MOSQ_OPT_TCP_NODELAY, 1);
    if (mosquitto_connect(m, host.c_str(), port, 60) != MOSQ_ERR_SUCCESS ||
        mosquitto_loop_start(m) != MOSQ_ERR_SUCCESS) {
        std::fprintf(stderr, "MqttBenchPeer: no broker at %s:%d\n", host.c_str(), port);
        return 1;
    }
    std::string payload(size, '\0');
    Serve([&](std::int64_t v) {
        std::memcpy(&payload[0], &v, sizeof v);  // the receiver reads it back the same way
        mosquitto_publish(m, nullptr, topic.c_str(), static_cast<int>(payload.size()),
                          payload.data(), 1, true);
    });
    mosquitto_disconnect(m);
    mosquitto_loop_stop(m, false);
    mosquitto_destroy(m);
    mosquitto_lib_cleanup();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "provider") == 0) {
        return Provider(argv[2]);
    }
    if (argc == 6 && std::strcmp(argv[1], "bare") == 0) {
        return Bare(argv[2], std::atoi(argv[3]), argv[4],
                    static_cast<std::size_t>(std::atol(argv[5])));
    }
    std::fprintf(stderr, "usage: %s provider PROCESS | bare HOST PORT TOPIC SIZE\n", argv[0]);
    return 2;
}
