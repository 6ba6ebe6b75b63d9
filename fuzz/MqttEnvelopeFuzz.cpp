// The MQTT provider's payload decoder: any bytes, as any kind of message, either decode or are
// refused with a reason, never an exception or a crash; what decodes encodes to bytes that decode
// to the same message.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "qbrealt/mqtt/MqttEnvelope.h"

namespace mqtt = vesta::mqtt;

namespace {

template <class Message>
void Check(const std::string& input) {
    Message m;
    std::string why;
    if (!mqtt::Decode(input.data(), input.size(), m, why)) {
        KA_FUZZ_CHECK(!why.empty());
        return;
    }
    const std::string again = mqtt::Encode(m);
    Message m2;
    KA_FUZZ_CHECK(mqtt::Decode(again.data(), again.size(), m2, why));
    KA_FUZZ_CHECK(mqtt::Encode(m2) == again);
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    mqtt::ItemMessage item;
    item.quality = 0x400000;
    item.time = FILETIME{133000000000000000LL};
    item.generation = 42;
    item.rights = VESTA_ACCESS_READ | VESTA_ACCESS_WRITE;
    item.description = "level";
    item.value = ka::kor::FlexData(1.5);
    mqtt::HostMessage host;
    host.alive = true;
    host.generation = 42;
    mqtt::WriteMessage write{7, "ka/v1/reply/c", ka::kor::FlexData(L"text")};
    mqtt::ReplyMessage reply{7, VESTA_E_REJECTED};
    mqtt::RollCallMessage call{3, "ka/v1/reply/c"};
    mqtt::PresentMessage present{3, 42};
    return {mqtt::Encode(item),  mqtt::Encode(host), mqtt::Encode(write),
            mqtt::Encode(reply), mqtt::Encode(call), mqtt::Encode(present)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    try {
        Check<mqtt::ItemMessage>(input);
        Check<mqtt::HostMessage>(input);
        Check<mqtt::WriteMessage>(input);
        Check<mqtt::ReplyMessage>(input);
        Check<mqtt::RollCallMessage>(input);
        Check<mqtt::PresentMessage>(input);
    } catch (const std::bad_alloc&) {
    } catch (const ka::kor::exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
