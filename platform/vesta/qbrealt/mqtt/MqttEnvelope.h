// How the MQTT provider lays items out on a broker: topic names and the binary payloads. Every
// host and client of the provider, in any process on any machine, must agree on this, so the
// layout is versioned (the "v1" in every topic and the first byte of every payload).
//
// Topics (each name is upper-cased with towupper, the mapping address comparison uses, then
// encoded as UTF-8 with '%XX' for '/', '+', '#', '%', space, control bytes and every byte of a
// non-ASCII character, so equal addresses meet and different ones never share a topic):
//   ka/v1/item/<machine>/<process>/<name>...   retained item state (empty payload: removed)
//   ka/v1/write/<machine>/<process>/<name>...  write requests to the host (QoS 1)
//   ka/v1/host/<machine>/<process>             retained host state: birth, or death (the will)
//   ka/v1/reply/<client id>                    the host's refusals of that client's writes, and
//                                              its answers to that client's roll calls
//   ka/v1/rollcall/<machine>/<process>         a client asking the host whether it is there
//   ka/v1/probe/<client id>                    a client's own ordering marker (see below)
// Example: \\M1\Plant\tank 1.level  ->  ka/v1/item/M1/PLANT/TANK%201/LEVEL
//
// Payloads, little-endian, every one starting with version (1) and kind bytes:
//   item  (kind 1): u8 flags (1: the value changed), u8 0, u32 quality, i64 FILETIME,
//                   u64 host generation, u32 access rights, u16 n, n bytes of UTF-8
//                   description, then the item's flex packet (its type is the item's type).
//   host  (kind 2): u8 alive (1) or dead (0), u8 0, u64 generation.
//   write (kind 3): u16 0, u32 write id, u16 n, n bytes of reply topic, then the flex packet.
//   reply (kind 4): u16 0, u32 write id, i32 result (VESTA_E_*).
//   roll call (kind 5): u16 0, u32 call id, u16 n, n bytes of reply topic.
//   present (kind 6): u16 0, u32 call id, u64 the host's current generation.
// Example item payload for an F64 1.5 with good quality and description "m":
//   01 01 01 00 | 00000000 | <8 bytes time> | <8 bytes generation> | 03000000 | 0100 6d | packet
//
// A host gives itself a new generation each time it registers, publishes its items with it and
// then its birth: a client takes an item's value as current only when its generation is the one
// of its host's latest birth, so a value retained from a host's earlier life is never reported
// good. An item that has no message of the current generation once the client has seen
// everything the broker retains (its probe came back: the broker answers a client's messages
// in order) does not exist.
//
// A client that has lost its connection cannot tell from a retained birth alone whether it is
// current (only the client's connection went) or a leftover (the broker went and came back from
// saved state; its host will be born again). It trusts the birth again once the host answers a
// roll call it sent on this connection with that same generation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ka/kor/FlexData.h"
#include "ka/kor/VestaURL.h"
#include "vesta/VestaRealTime.h"

namespace vesta {
namespace mqtt {

// Payloads larger than this are refused (a flex packet of a real item stays far below it).
constexpr std::size_t kMaxPayload = 16u << 20;

enum class Kind : std::uint8_t {
    Item = 1,
    Host = 2,
    Write = 3,
    Reply = 4,
    RollCall = 5,
    Present = 6
};

struct ItemMessage {
    bool valueChanged = true;
    std::uint32_t quality = 0;
    FILETIME time{0};
    std::uint64_t generation = 0;
    std::uint32_t rights = 0;
    std::string description;  // UTF-8
    ka::kor::FlexData value;
};

struct HostMessage {
    bool alive = false;
    std::uint64_t generation = 0;
};

struct WriteMessage {
    std::uint32_t id = 0;
    std::string replyTopic;
    ka::kor::FlexData value;
};

struct ReplyMessage {
    std::uint32_t id = 0;
    HRESULT result = 0;
};

struct RollCallMessage {
    std::uint32_t id = 0;
    std::string replyTopic;
};

struct PresentMessage {
    std::uint32_t id = 0;
    std::uint64_t generation = 0;
};

// One address component as it appears in a topic.
std::string EscapeComponent(const std::wstring& name);

// Topics of an item address (\\machine\process\path...) or of a process (\\machine\process).
std::string ItemTopic(const ka::kor::VestaURL& item);
std::string WriteTopic(const ka::kor::VestaURL& item);
std::string HostTopic(const ka::kor::VestaURL& process);
// Every write topic of a process's items.
std::string WriteFilter(const ka::kor::VestaURL& process);
std::string ReplyTopic(const std::string& clientId);
std::string ProbeTopic(const std::string& clientId);
// The roll-call topic of the host whose state topic is `hostTopic`.
std::string RollCallTopic(const std::string& hostTopic);

std::string Encode(const ItemMessage& m);
std::string Encode(const HostMessage& m);
std::string Encode(const WriteMessage& m);
std::string Encode(const ReplyMessage& m);
std::string Encode(const RollCallMessage& m);
std::string Encode(const PresentMessage& m);

// Each decodes a whole payload of its kind; false with `why` set (and `out` unspecified) for
// anything else: wrong version or kind, truncated, trailing bytes, oversize, a bad flex packet.
bool Decode(const void* data, std::size_t size, ItemMessage& out, std::string& why);
bool Decode(const void* data, std::size_t size, HostMessage& out, std::string& why);
bool Decode(const void* data, std::size_t size, WriteMessage& out, std::string& why);
bool Decode(const void* data, std::size_t size, ReplyMessage& out, std::string& why);
bool Decode(const void* data, std::size_t size, RollCallMessage& out, std::string& why);
bool Decode(const void* data, std::size_t size, PresentMessage& out, std::string& why);

}  // namespace mqtt
}  // namespace vesta
