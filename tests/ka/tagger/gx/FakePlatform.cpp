#include "FakePlatform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ka/kor/exception.h"
#include "ka/tagger/gx/ka_tagger_gx.h"

// ---- The provider ----

namespace fake {

namespace {

Vesta gVesta;
Host gHost;

class Session final : public IUnknown {
  public:
    Session() { ++gVesta.sessionsLive; }
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return ++refs_; }
    std::uint32_t Release() override {
        if (--refs_ == 0) {
            --gVesta.sessionsLive;
            delete this;
            return 0;
        }
        return refs_;
    }

  private:
    ~Session() = default;
    std::uint32_t refs_ = 1;
};

class RealTime final : public IVestaRealTime {
  public:
    explicit RealTime(IVestaRealTimeReceiver* receiver) : receiver_(receiver) {
        receiver_->AddRef();
        ++gVesta.realTimesCreated;
        ++gVesta.realTimesLive;
    }
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return ++refs_; }
    std::uint32_t Release() override {
        if (--refs_ == 0) {
            receiver_->Release();
            --gVesta.realTimesLive;
            delete this;
            return 0;
        }
        return refs_;
    }
    HRESULT AddItem(const wchar_t* url, IVestaRealTimeItem** item, ITEMSTATE* state,
                    long clientHandle) override {
        if (gVesta.addItemResult < 0) {
            return gVesta.addItemResult;
        }
        Item* added = new Item(url, *state, clientHandle);
        gVesta.items.push_back(added);
        *item = added;
        return S_OK;
    }

  private:
    ~RealTime() = default;
    IVestaRealTimeReceiver* receiver_;
    std::uint32_t refs_ = 1;
};

}  // namespace

Item::Item(const wchar_t* u, const ITEMSTATE& state, long h) : url(u), given(state), handle(h) {}

HRESULT Item::QueryInterface(const GUID&, void** out) {
    *out = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t Item::AddRef() {
    return static_cast<std::uint32_t>(++refs_);
}

std::uint32_t Item::Release() {
    if (--refs_ > 0) {
        return static_cast<std::uint32_t>(refs_);
    }
    gVesta.released.push_back(url);
    for (auto it = gVesta.items.begin(); it != gVesta.items.end(); ++it) {
        if (*it == this) {
            gVesta.items.erase(it);
            break;
        }
    }
    delete this;
    return 0;
}

HRESULT Item::Write(const VarData* v) {
    written.push_back(*v);
    return writeResult;
}

HRESULT Item::GetDetails(ITEMDETAILS* details) {
    std::memset(details, 0, sizeof *details);
    return S_OK;
}

HRESULT Item::GetState(std::uint32_t* m, VarData* v, std::uint32_t* q, FILETIME* t) {
    if (stateResult < 0) {
        return stateResult;
    }
    *m = mask;
    *v = value;
    *q = quality;
    *t = time;
    return S_OK;
}

void Vesta::data(Item& i, std::uint32_t mask, const VarData& value, std::uint32_t quality) {
    receiver->OnDataChange(i.handle, mask, &value, quality, FILETIME{0});
}

void Vesta::attributes(Item& i, std::uint32_t rights) {
    ITEMDETAILS details;
    std::memset(&details, 0, sizeof details);
    details.flags = ITEMDETAILS_HAS_ACCESS;
    details.accessRights = rights;
    receiver->OnAttributeChange(i.handle, &details);
}

void Vesta::status(Item& i, IASTATUS s, HRESULT result) {
    receiver->OnStatusChange(i.handle, s, result, 0);
}

Vesta& vesta() {
    return gVesta;
}

Host& host() {
    return gHost;
}

void Reset() {
    gVesta = Vesta();
    gHost = Host();
}

void ResetLibrary() {
    ka_tagger_gx_Startup();
    ka_tagger_gx_Cleanup();
    Reset();
}

LStrHandle NewLStr(const std::string& text) {
    LStrHandle h = nullptr;
    NumericArrayResize(5, 1, reinterpret_cast<UHandle*>(&h),
                       static_cast<std::int32_t>(text.size()));
    (*h)->cnt = static_cast<std::int32_t>(text.size());
    std::memcpy((*h)->str, text.data(), text.size());
    return h;
}

std::string Text(LStrHandle h) {
    if (h == nullptr || *h == nullptr) {
        return "(none)";
    }
    return std::string(reinterpret_cast<const char*>((*h)->str), (*h)->cnt);
}

Cluster::Cluster(bool status, std::int32_t code, const std::string& source) {
    cluster_.status = status ? 1 : 0;
    cluster_.code = code;
    cluster_.source = NewLStr(source);
}

Cluster::~Cluster() {
    DSDisposeHandle(reinterpret_cast<UHandle>(cluster_.source));
}

std::string Cluster::str() const {
    char head[32];
    std::snprintf(head, sizeof head, "%d %08X ", cluster_.status,
                  static_cast<unsigned>(cluster_.code));
    return head + Text(cluster_.source);
}

std::string Hex(const unsigned char* begin, const unsigned char* end) {
    std::string out;
    char digits[3];
    for (const unsigned char* p = begin; p != end; ++p) {
        std::snprintf(digits, sizeof digits, "%02X", *p);
        out += digits;
    }
    return out;
}

std::string Hex(const ka::kor::FlexData& value) {
    return Hex(value.begin(), value.begin() + value.getPacketSize());
}

}  // namespace fake

extern "C" {

HRESULT VestaSocketStartup(void) {
    if (fake::gVesta.startupResult < 0) {
        return fake::gVesta.startupResult;
    }
    ++fake::gVesta.socketStartups;
    return S_OK;
}

HRESULT VestaSocketCleanup(void) {
    ++fake::gVesta.socketCleanups;
    return S_OK;
}

IUnknown* GetVestaSession(void) {
    return fake::gVesta.sessionAvailable ? new fake::Session() : nullptr;
}

HRESULT NewVestaRealTime(IUnknown* session, IVestaRealTimeReceiver* receiver,
                         IVestaRealTime** realTime) {
    if (session == nullptr) {
        return VESTA_E_NOSESSION;
    }
    if (fake::gVesta.newRealTimeResult < 0) {
        return fake::gVesta.newRealTimeResult;
    }
    fake::gVesta.receiver = receiver;
    *realTime = new fake::RealTime(receiver);
    return S_OK;
}

// ---- The host runtime ----

// A handle is a pointer to a block pointer; both come from malloc.
MgErr DSSetHandleSize(UHandle h, int32_t size) {
    if (h == nullptr || size < 0) {
        return mgArgErr;
    }
    void* block = std::realloc(*h, static_cast<std::size_t>(size));
    if (block == nullptr) {
        return mFullErr;
    }
    *h = block;
    return mgNoErr;
}

MgErr DSDisposeHandle(UHandle h) {
    if (h != nullptr) {
        --fake::gHost.liveBlocks;
        std::free(*h);
        std::free(h);
    }
    return mgNoErr;
}

MgErr DSDisposePtr(void* p) {
    if (p != nullptr) {
        --fake::gHost.liveBlocks;
        std::free(p);
    }
    return mgNoErr;
}

MgErr NumericArrayResize(int32_t typeCode, int32_t numDims, UHandle* h, int32_t count) {
    if (typeCode != 5 || numDims != 1 || h == nullptr || count < 0) {
        return mgArgErr;
    }
    if (fake::gHost.failArrayResize) {
        return mFullErr;
    }
    if (*h == nullptr) {
        *h = static_cast<UHandle>(std::calloc(1, sizeof(void*)));
        **h = std::calloc(1, sizeof(int32_t));
        ++fake::gHost.liveBlocks;
    }
    return DSSetHandleSize(*h, count + static_cast<int32_t>(sizeof(int32_t)));
}

MgErr Occur(GxRefnum occ) {
    fake::gHost.occurred.push_back(occ);
    return mgNoErr;
}

MgErr RTSetCleanupProc(CleanupProcPtr proc, void* data, int32_t mode) {
    if (mode == 2) {
        if (fake::gHost.cleanupResult != 0) {
            return fake::gHost.cleanupResult;
        }
        fake::gHost.cleanups[data] = proc;
        return mgNoErr;
    }
    if (mode == 0) {
        fake::gHost.cleanups.erase(data);
        return mgNoErr;
    }
    return mgArgErr;
}

GxBoolean GGetOneErrorCode(int32_t code, LStrHandle* text) {
    auto found = fake::gHost.errorTexts.find(code);
    if (found == fake::gHost.errorTexts.end()) {
        return 0;
    }
    *text = found->second == "(no handle)" ? nullptr : fake::NewLStr(found->second);
    return 1;
}

MgErr KORFlexToGxVar(const unsigned char* packet, int32_t size, GxVariant** var) {
    ++fake::gHost.flexToVarCalls;
    if (fake::gHost.flexToVarResult != 0) {
        return fake::gHost.flexToVarResult;
    }
    if (*var == nullptr) {
        *var = new GxVariant;
    }
    (*var)->packet.assign(packet, packet + size);
    return mgNoErr;
}

MgErr GxVarToKORFlex(const GxVariant* var, unsigned char** buffer, int32_t* length) {
    *buffer = nullptr;
    const bool fail = fake::gHost.varToFlexResult != 0;
    if (fail && !fake::gHost.varToFlexGivesBuffer) {
        return fake::gHost.varToFlexResult;
    }
    if (var == nullptr) {
        return mgArgErr;
    }
    *buffer = static_cast<unsigned char*>(std::malloc(var->packet.size() + 1));
    ++fake::gHost.liveBlocks;
    if (!var->packet.empty()) {
        std::memcpy(*buffer, var->packet.data(), var->packet.size());
    }
    *length = static_cast<int32_t>(var->packet.size());
    return fail ? fake::gHost.varToFlexResult : mgNoErr;
}

void OnPSPDataUpdate(uint32_t context, const unsigned char* begin, const unsigned char* end) {
    fake::gHost.psp.push_back("data " + std::to_string(context) + " " + fake::Hex(begin, end));
}

void OnPSPQualityUpdate(uint32_t context, uint32_t quality) {
    fake::gHost.psp.push_back("quality " + std::to_string(context) + " " + std::to_string(quality));
}

void OnPSPStatusUpdate(uint32_t context, int32_t state, int32_t code, int32_t detail) {
    char line[80];
    std::snprintf(line, sizeof line, "status %u %d %08X %d", context, state,
                  static_cast<unsigned>(code), detail);
    fake::gHost.psp.push_back(line);
}

}  // extern "C"
