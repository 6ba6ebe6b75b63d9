// The MQTT provider's wire format: topics that keep different addresses apart and bring equal
// ones together, and payload decoding that refuses everything but a whole, current message.
#include <string>

#include <gtest/gtest.h>

#include "ka/kor/FlexData.h"
#include "ka/kor/VestaURL.h"
#include "qbrealt/mqtt/MqttEnvelope.h"

namespace {

using ka::kor::FlexData;
using ka::kor::VestaURL;
namespace mqtt = vesta::mqtt;

std::string Topic(const wchar_t* url) {
    return mqtt::ItemTopic(VestaURL(url));
}

TEST(MqttTopics, EqualAddressesMeetAndDifferentOnesStayApart) {
    EXPECT_EQ(Topic(L"\\\\M1\\p\\x"), Topic(L"\\\\m1\\P\\X"));
    EXPECT_EQ(Topic(L"\\\\m1\\p\\a.b"), Topic(L"\\\\m1\\p\\a\\b"));
    EXPECT_EQ("ka/v1/item/M1/PLANT/TANK%201/LEVEL", Topic(L"\\\\M1\\Plant\\'tank 1'.level"));
    const wchar_t* distinct[] = {
        L"\\\\m\\p\\a\\b",    L"\\\\m\\p\\'a/b'", L"\\\\m\\p\\'a+b'",     L"\\\\m\\p\\'a#b'",
        L"\\\\m\\p\\'a%2Fb'", L"\\\\m\\p\\'a b'", L"\\\\m\\p\\caf\u00e9", L"\\\\m\\p\\cafe",
    };
    for (const wchar_t* a : distinct) {
        const std::string ta = Topic(a);
        EXPECT_EQ(std::string::npos, ta.find_first_of("+# ")) << ta;
        for (const wchar_t* b : distinct) {
            if (a != b) {
                EXPECT_NE(ta, Topic(b));
            }
        }
    }
    EXPECT_EQ("ka/v1/host/M/P", mqtt::HostTopic(VestaURL(L"\\\\m\\p")));
    EXPECT_EQ("ka/v1/write/M/P/#", mqtt::WriteFilter(VestaURL(L"\\\\m\\p")));
}

TEST(MqttEnvelope, EveryMessageReadsBackAsWritten) {
    mqtt::ItemMessage item;
    item.valueChanged = false;
    item.quality = 0x400000;
    item.time = FILETIME{133000000000000001LL};
    item.generation = 0x0102030405060708ull;
    item.rights = VESTA_ACCESS_READ;
    item.description = "m\xc2\xb3";
    item.value = FlexData(1.5);
    mqtt::ItemMessage item2;
    std::string why;
    const std::string wire = mqtt::Encode(item);
    ASSERT_TRUE(mqtt::Decode(wire.data(), wire.size(), item2, why)) << why;
    EXPECT_EQ(item.valueChanged, item2.valueChanged);
    EXPECT_EQ(item.quality, item2.quality);
    EXPECT_EQ(item.time.ticks, item2.time.ticks);
    EXPECT_EQ(item.generation, item2.generation);
    EXPECT_EQ(item.rights, item2.rights);
    EXPECT_EQ(item.description, item2.description);
    EXPECT_EQ(item.value, item2.value);

    mqtt::WriteMessage w{7, "ka/v1/reply/c", FlexData(L"text")};
    mqtt::WriteMessage w2;
    const std::string ww = mqtt::Encode(w);
    ASSERT_TRUE(mqtt::Decode(ww.data(), ww.size(), w2, why)) << why;
    EXPECT_EQ(7u, w2.id);
    EXPECT_EQ("ka/v1/reply/c", w2.replyTopic);
    EXPECT_EQ(w.value, w2.value);

    mqtt::ReplyMessage r{9, VESTA_E_REJECTED};
    mqtt::ReplyMessage r2;
    const std::string rw = mqtt::Encode(r);
    ASSERT_TRUE(mqtt::Decode(rw.data(), rw.size(), r2, why)) << why;
    EXPECT_EQ(9u, r2.id);
    EXPECT_EQ(VESTA_E_REJECTED, r2.result);

    mqtt::RollCallMessage c{5, "ka/v1/reply/c"};
    mqtt::RollCallMessage c2;
    const std::string cw = mqtt::Encode(c);
    ASSERT_TRUE(mqtt::Decode(cw.data(), cw.size(), c2, why)) << why;
    EXPECT_EQ(5u, c2.id);
    EXPECT_EQ("ka/v1/reply/c", c2.replyTopic);

    mqtt::PresentMessage p{5, 0x0102030405060708ull};
    mqtt::PresentMessage p2;
    const std::string pw = mqtt::Encode(p);
    EXPECT_EQ(std::string("\x01\x06\0\0\x05\0\0\0\x08\x07\x06\x05\x04\x03\x02\x01", 16), pw);
    ASSERT_TRUE(mqtt::Decode(pw.data(), pw.size(), p2, why)) << why;
    EXPECT_EQ(5u, p2.id);
    EXPECT_EQ(p.generation, p2.generation);
    EXPECT_EQ("ka/v1/rollcall/M1/P", mqtt::RollCallTopic("ka/v1/host/M1/P"));
}

TEST(MqttEnvelope, MalformedPayloadsAreRefusedWithAReason) {
    mqtt::ItemMessage good;
    good.value = FlexData(42);
    const std::string wire = mqtt::Encode(good);
    mqtt::HostMessage host;
    host.alive = true;
    const std::string hostWire = mqtt::Encode(host);

    std::string wrongVersion = wire;
    wrongVersion[0] = 2;
    std::string wrongKind = wire;
    wrongKind[1] = 2;
    std::string longDescription = wire;
    longDescription[28] = '\x7f';  // description length beyond the payload
    std::string badPacket = wire;
    badPacket[30] = '\x7f';  // the packet's size field (at 30) no longer spans it
    std::string emptyValue = wire.substr(0, 30) + std::string(4, '\0');
    std::string hostState = hostWire;
    hostState[2] = 5;
    const struct {
        const char* name;
        std::string payload;
        bool host;
    } cases[] = {
        {"empty", std::string(), false},
        {"version only", std::string(1, '\x01'), false},
        {"truncated header", wire.substr(0, 10), false},
        {"truncated packet", wire.substr(0, wire.size() - 1), false},
        {"trailing byte", wire + "x", false},
        {"wrong version", wrongVersion, false},
        {"wrong kind", wrongKind, false},
        {"description past the end", longDescription, false},
        {"bad packet", badPacket, false},
        {"no value", emptyValue, false},
        {"garbage", std::string("\xff\xfe\x00\x01garbage", 11), false},
        {"oversize", std::string(mqtt::kMaxPayload + 1, '\x01'), false},
        {"host truncated", hostWire.substr(0, 5), true},
        {"host trailing", hostWire + "x", true},
        {"host bad state", hostState, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string why;
        if (c.host) {
            mqtt::HostMessage out;
            EXPECT_FALSE(mqtt::Decode(c.payload.data(), c.payload.size(), out, why));
        } else {
            mqtt::ItemMessage out;
            EXPECT_FALSE(mqtt::Decode(c.payload.data(), c.payload.size(), out, why));
        }
        EXPECT_FALSE(why.empty());
    }
}

}  // namespace
