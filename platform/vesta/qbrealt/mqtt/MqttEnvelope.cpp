#include "qbrealt/mqtt/MqttEnvelope.h"

#include <cstring>
#include <cwctype>
#include <memory>

#include "ka/kor/WideToUtf8.h"
#include "ka/kor/exception.h"
#include "qbrealt/ItemURL.h"
#include "vesta/VarData.h"

namespace vesta {
namespace mqtt {

namespace {

constexpr std::uint8_t kVersion = 1;

std::string Topic(const char* kind, const ka::kor::VestaURL& url) {
    std::string t = std::string("ka/v1/") + kind;
    for (const ka::kor::VestaURL::Component& c : url) {
        t += '/';
        t += EscapeComponent(ToWide(c.name()));
    }
    return t;
}

class Writer {
  public:
    explicit Writer(Kind kind) {
        out_ += static_cast<char>(kVersion);
        out_ += static_cast<char>(kind);
    }
    void u8(std::uint8_t v) { out_ += static_cast<char>(v); }
    void u16(std::uint16_t v) { le(v, 2); }
    void u32(std::uint32_t v) { le(v, 4); }
    void u64(std::uint64_t v) { le(v, 8); }
    void bytes(const std::string& s) {
        u16(static_cast<std::uint16_t>(s.size()));
        out_ += s;
    }
    void packet(const ka::kor::FlexData& v) {
        if (v.begin() == nullptr) {
            u32(0);
        } else {
            out_.append(reinterpret_cast<const char*>(v.begin()), v.getPacketSize());
        }
    }
    std::string take() { return std::move(out_); }

  private:
    void le(std::uint64_t v, int n) {
        for (int i = 0; i < n; ++i) {
            out_ += static_cast<char>((v >> (8 * i)) & 0xff);
        }
    }
    std::string out_;
};

class Reader {
  public:
    Reader(const void* data, std::size_t size)
        : p_(static_cast<const unsigned char*>(data)), end_(p_ + size) {}
    // Checks version and kind; false with `why` set otherwise.
    bool open(std::size_t size, Kind kind, std::string& why) {
        if (size > kMaxPayload) {
            why = "payload too large";
            return false;
        }
        std::uint8_t version = 0;
        std::uint8_t k = 0;
        if (!u8(version) || !u8(k)) {
            why = "truncated header";
            return false;
        }
        if (version != kVersion) {
            why = "unknown envelope version " + std::to_string(version);
            return false;
        }
        if (k != static_cast<std::uint8_t>(kind)) {
            why = "unexpected message kind " + std::to_string(k);
            return false;
        }
        return true;
    }
    bool u8(std::uint8_t& v) { return le(v, 1); }
    bool u16(std::uint16_t& v) { return le(v, 2); }
    bool u32(std::uint32_t& v) { return le(v, 4); }
    bool u64(std::uint64_t& v) { return le(v, 8); }
    bool bytes(std::string& s) {
        std::uint16_t n = 0;
        if (!u16(n) || static_cast<std::size_t>(end_ - p_) < n) {
            return false;
        }
        s.assign(reinterpret_cast<const char*>(p_), n);
        p_ += n;
        return true;
    }
    // The rest must be exactly one flex packet.
    bool packet(ka::kor::FlexData& v, std::string& why) {
        VarData d;
        try {
            d.flexData(p_, end_);
        } catch (const ka::kor::exception::Exception&) {
            why = "bad flex packet";
            return false;
        }
        v = d.packet();
        p_ = end_;
        return true;
    }
    bool atEnd() const { return p_ == end_; }

  private:
    template <typename T>
    bool le(T& v, int n) {
        if (end_ - p_ < n) {
            return false;
        }
        std::uint64_t r = 0;
        for (int i = 0; i < n; ++i) {
            r |= static_cast<std::uint64_t>(p_[i]) << (8 * i);
        }
        v = static_cast<T>(r);
        p_ += n;
        return true;
    }
    const unsigned char* p_;
    const unsigned char* end_;
};

bool Truncated(std::string& why) {
    why = "truncated payload";
    return false;
}

bool Trailing(const Reader& r, std::string& why) {
    if (!r.atEnd()) {
        why = "trailing bytes";
        return false;
    }
    return true;
}

}  // namespace

std::string EscapeComponent(const std::wstring& name) {
    std::wstring upper(name);
    for (wchar_t& c : upper) {
        c = static_cast<wchar_t>(std::towupper(c));
    }
    const std::unique_ptr<char[]> utf8(
        ka::kor::WideToUtf8(upper.data(), upper.data() + upper.size()));
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char* p = utf8.get(); *p != '\0'; ++p) {
        const unsigned char b = static_cast<unsigned char>(*p);
        if (b <= 0x20 || b >= 0x7f || b == '/' || b == '+' || b == '#' || b == '%') {
            out += '%';
            out += kHex[b >> 4];
            out += kHex[b & 0xf];
        } else {
            out += static_cast<char>(b);
        }
    }
    return out;
}

std::string ItemTopic(const ka::kor::VestaURL& item) {
    return Topic("item", item);
}

std::string WriteTopic(const ka::kor::VestaURL& item) {
    return Topic("write", item);
}

std::string HostTopic(const ka::kor::VestaURL& process) {
    return Topic("host", process);
}

std::string WriteFilter(const ka::kor::VestaURL& process) {
    return Topic("write", process) + "/#";
}

std::string ReplyTopic(const std::string& clientId) {
    return "ka/v1/reply/" + EscapeComponent(std::wstring(clientId.begin(), clientId.end()));
}

std::string ProbeTopic(const std::string& clientId) {
    return "ka/v1/probe/" + EscapeComponent(std::wstring(clientId.begin(), clientId.end()));
}

std::string RollCallTopic(const std::string& hostTopic) {
    static const std::string kHost = "ka/v1/host/";
    return "ka/v1/rollcall/" + (hostTopic.compare(0, kHost.size(), kHost) == 0
                                    ? hostTopic.substr(kHost.size())
                                    : hostTopic);
}

std::string Encode(const ItemMessage& m) {
    Writer w(Kind::Item);
    w.u8(m.valueChanged ? 1 : 0);
    w.u8(0);
    w.u32(m.quality);
    w.u64(static_cast<std::uint64_t>(m.time.ticks));
    w.u64(m.generation);
    w.u32(m.rights);
    w.bytes(m.description.substr(0, 0xffff));
    w.packet(m.value);
    return w.take();
}

std::string Encode(const HostMessage& m) {
    Writer w(Kind::Host);
    w.u8(m.alive ? 1 : 0);
    w.u8(0);
    w.u64(m.generation);
    return w.take();
}

std::string Encode(const WriteMessage& m) {
    Writer w(Kind::Write);
    w.u16(0);
    w.u32(m.id);
    w.bytes(m.replyTopic);
    w.packet(m.value);
    return w.take();
}

std::string Encode(const ReplyMessage& m) {
    Writer w(Kind::Reply);
    w.u16(0);
    w.u32(m.id);
    w.u32(static_cast<std::uint32_t>(m.result));
    return w.take();
}

std::string Encode(const RollCallMessage& m) {
    Writer w(Kind::RollCall);
    w.u16(0);
    w.u32(m.id);
    w.bytes(m.replyTopic);
    return w.take();
}

std::string Encode(const PresentMessage& m) {
    Writer w(Kind::Present);
    w.u16(0);
    w.u32(m.id);
    w.u64(m.generation);
    return w.take();
}

bool Decode(const void* data, std::size_t size, ItemMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::Item, why)) {
        return false;
    }
    std::uint8_t flags = 0;
    std::uint8_t reserved = 0;
    std::uint64_t time = 0;
    if (!r.u8(flags) || !r.u8(reserved) || !r.u32(out.quality) || !r.u64(time) ||
        !r.u64(out.generation) || !r.u32(out.rights) || !r.bytes(out.description)) {
        return Truncated(why);
    }
    out.valueChanged = (flags & 1) != 0;
    out.time.ticks = static_cast<std::int64_t>(time);
    if (!r.packet(out.value, why)) {
        return false;
    }
    if (out.value.getType() == ka::kor::fd::FlexType::Empty) {
        why = "item without a value";
        return false;
    }
    return true;
}

bool Decode(const void* data, std::size_t size, HostMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::Host, why)) {
        return false;
    }
    std::uint8_t alive = 0;
    std::uint8_t reserved = 0;
    if (!r.u8(alive) || !r.u8(reserved) || !r.u64(out.generation)) {
        return Truncated(why);
    }
    if (alive > 1) {
        why = "bad host state";
        return false;
    }
    out.alive = alive == 1;
    return Trailing(r, why);
}

bool Decode(const void* data, std::size_t size, WriteMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::Write, why)) {
        return false;
    }
    std::uint16_t reserved = 0;
    if (!r.u16(reserved) || !r.u32(out.id) || !r.bytes(out.replyTopic)) {
        return Truncated(why);
    }
    return r.packet(out.value, why);
}

bool Decode(const void* data, std::size_t size, ReplyMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::Reply, why)) {
        return false;
    }
    std::uint16_t reserved = 0;
    std::uint32_t result = 0;
    if (!r.u16(reserved) || !r.u32(out.id) || !r.u32(result)) {
        return Truncated(why);
    }
    out.result = static_cast<HRESULT>(result);
    return Trailing(r, why);
}

bool Decode(const void* data, std::size_t size, RollCallMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::RollCall, why)) {
        return false;
    }
    std::uint16_t reserved = 0;
    if (!r.u16(reserved) || !r.u32(out.id) || !r.bytes(out.replyTopic)) {
        return Truncated(why);
    }
    return Trailing(r, why);
}

bool Decode(const void* data, std::size_t size, PresentMessage& out, std::string& why) {
    Reader r(data, size);
    if (!r.open(size, Kind::Present, why)) {
        return false;
    }
    std::uint16_t reserved = 0;
    if (!r.u16(reserved) || !r.u32(out.id) || !r.u64(out.generation)) {
        return Truncated(why);
    }
    return Trailing(r, why);
}

}  // namespace mqtt
}  // namespace vesta
