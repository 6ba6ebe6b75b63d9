// Helpers for tests that drive libka_tagger_gx.so as a host program does: through its exported
// functions only, with the host runtime stand-in (libgxhost.so) in the process and items
// published on the embedded provider by an item host of the test's own.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "gxhost/GxHost.h"
#include "gxhost/GxVariant.h"
#include "gxhost/gxhost.h"
#include "ka/kor/FlexData.h"
#include "ka/tagger/gx/ka_tagger_gx.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace product_test {

// A host error cluster with a source handle of its own.
class Cluster {
  public:
    explicit Cluster(bool status = false, std::int32_t code = 0, const char* source = "")
        : cluster_{static_cast<GxBoolean>(status ? 1 : 0), code, GxHostNewLStr(source, -1)} {}
    ~Cluster() { DSDisposeHandle(reinterpret_cast<UHandle>(cluster_.source)); }
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;

    ErrorCluster* ptr() noexcept { return &cluster_; }
    bool failed() const noexcept { return cluster_.status != 0; }
    std::int32_t code() const noexcept { return cluster_.code; }
    // "status code(hex) source"
    std::string str() const {
        char head[32];
        std::snprintf(head, sizeof head, "%d %08X ", cluster_.status,
                      static_cast<unsigned>(cluster_.code));
        std::string text = head;
        if (cluster_.source != nullptr && *cluster_.source != nullptr) {
            text.append(reinterpret_cast<const char*>((*cluster_.source)->str),
                        static_cast<std::size_t>((*cluster_.source)->cnt));
        }
        return text;
    }

  private:
    ErrorCluster cluster_;
};

// A host variant, disposed of at the end of its scope.
class Variant {
  public:
    Variant() : var_(nullptr) {}
    explicit Variant(double v) : var_(GxVarNew()) { GxVarSetDouble(var_, GX_TYPE_F64, v); }
    ~Variant() { GxVarDispose(var_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    GxVariant** handle() noexcept { return &var_; }
    GxVariant* get() const noexcept { return var_; }
    std::string text() const {
        if (var_ == nullptr) {
            return "(none)";
        }
        char buffer[256];
        GxVarRender(var_, GX_RENDER_TEXT, buffer, sizeof buffer);
        return buffer;
    }

  private:
    GxVariant* var_;
};

// Polls condition every millisecond until it holds or timeout passes; whether it held.
template <class Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// An item host of this process on the embedded provider, publishing under \\<this computer>\name.
class Publisher {
  public:
    explicit Publisher(const wchar_t* process) {
        IUnknown* session = GetVestaSession();
        host_.reset(new vesta::ItemHost(session, process));
        session->Release();
    }
    vesta::ItemHost& host() { return *host_; }

  private:
    std::unique_ptr<vesta::ItemHost> host_;
};

// What Read delivered: "<cluster> | <value text> q=<quality>".
inline std::string Read(ka_tagger_gx_Refnum refnum, ka_tagger_gx_TimeStamp* time = nullptr) {
    Cluster error;
    Variant value;
    std::uint32_t quality = 0xFFFFFFFF;
    ka_tagger_gx_TimeStamp stamp;
    ka_tagger_gx_Read(refnum, value.handle(), &quality, time ? time : &stamp, error.ptr());
    return error.str() + " | " + value.text() + " q=" + std::to_string(quality);
}

// Connect with an occurrence that the caller owns; the refnum, 0 on failure.
inline ka_tagger_gx_Refnum Connect(const char* url, GxRefnum occurrence = 0, bool write = false,
                                   std::string* error = nullptr) {
    Cluster cluster;
    GxBoolean first = 0, writeFlag = write ? 1 : 0;
    GxRefnum occ = occurrence;
    const ka_tagger_gx_Refnum refnum =
        ka_tagger_gx_Connect(url, &first, &writeFlag, &occ, cluster.ptr());
    if (error != nullptr) {
        *error = cluster.str();
    }
    return refnum;
}

inline std::string Disconnect(ka_tagger_gx_Refnum refnum) {
    Cluster error;
    ka_tagger_gx_Disconnect(refnum, error.ptr());
    return error.str();
}

inline std::string Write(ka_tagger_gx_Refnum refnum, double value) {
    Cluster error;
    Variant v(value);
    ka_tagger_gx_Write(refnum, v.handle(), error.ptr());
    return error.str();
}

}  // namespace product_test
