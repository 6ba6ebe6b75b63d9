// The client interface of the real-time provider (libqbrealt.so, libqbsock.so): COM-style
// interfaces to subscribe to items named by URL, read their current state, write to them and
// receive their changes. Both providers (embedded in this process, or MQTT across processes)
// implement exactly this surface, so a client never knows which one it talks to.
//
// Results are 32-bit, negative meaning failure (VESTA_E_*). No function or interface operation
// lets an exception escape. Notifications arrive on a provider thread, never on the caller's.
#pragma once

#include <cstdint>

#include "vesta/VarData.h"

typedef std::int32_t HRESULT;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
// The provider's own failures (facility 0x0A5).
constexpr HRESULT VESTA_E_CONFIG = static_cast<HRESULT>(0x80A50001u);         // bad settings
constexpr HRESULT VESTA_E_NOSESSION = static_cast<HRESULT>(0x80A50002u);      // no session
constexpr HRESULT VESTA_E_BADURL = static_cast<HRESULT>(0x80A50003u);         // URL not valid
constexpr HRESULT VESTA_E_ACCESSDENIED = static_cast<HRESULT>(0x80A50004u);   // no write right
constexpr HRESULT VESTA_E_TYPEMISMATCH = static_cast<HRESULT>(0x80A50005u);   // not convertible
constexpr HRESULT VESTA_E_REJECTED = static_cast<HRESULT>(0x80A50006u);       // host said no
constexpr HRESULT VESTA_E_NOTCONNECTED = static_cast<HRESULT>(0x80A50007u);   // no item or host
constexpr HRESULT VESTA_E_UNAVAILABLE = static_cast<HRESULT>(0x80A50008u);    // provider not built

// A 16-byte interface identifier, compared byte for byte.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "interface identifiers are 16 bytes");

extern "C" const GUID IID_IUnknown;
extern "C" const GUID IID_IVESTAREALTIMERECEIVER;
extern "C" const GUID IID_IVESTAREALTIME;
extern "C" const GUID IID_IVESTAREALTIMEITEM;

// A time stamp: signed count of 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
struct FILETIME {
    std::int64_t ticks;
};

// State of a subscription, as OnStatusChange reports it.
enum IASTATUS : std::int32_t {
    IASTATUS_INACTIVE = 0,    // not subscribed (yet), or released
    IASTATUS_FAILED = 14,     // cannot come alive: result says why (bad URL, no provider)
    IASTATUS_RESOLVING = 15,  // being resolved: host or broker not (yet) reached
    IASTATUS_REMOVED = 16,    // the host removed the item or went away; may come back
    IASTATUS_ACTIVE = 17,     // alive: attributes and values flow
};

// Masks of the parts of an item's state (OnDataChange, IVestaRealTimeItem::GetState).
constexpr std::uint32_t VESTA_MASK_VALUE = 0x1;
constexpr std::uint32_t VESTA_MASK_QUALITY = 0x2;
constexpr std::uint32_t VESTA_MASK_TIME = 0x4;

// Quality words in the provider's own terms (0 is good; each bit one condition).
constexpr std::uint32_t VESTA_QUALITY_GOOD = 0;
constexpr std::uint32_t VESTA_QUALITY_NONEXISTENT = 0x20;       // the host has no such item
constexpr std::uint32_t VESTA_QUALITY_NO_VALUE = 0x40;          // no value known yet
constexpr std::uint32_t VESTA_QUALITY_DISCONNECTED = 0x200000;  // broker lost
constexpr std::uint32_t VESTA_QUALITY_PROCESS_FAILURE = 0x400000;  // host process gone
constexpr std::uint32_t VESTA_QUALITY_INVALID_URL = 0x2000000;

// Access rights of an item (ITEMDETAILS::accessRights).
constexpr std::uint32_t VESTA_ACCESS_READ = 0x11;
constexpr std::uint32_t VESTA_ACCESS_WRITE = 0x22;

// What a client asks for when it adds an item. The provider reads only mask and accessFlags and
// keeps the rest for the client; the layout is fixed (offsets asserted below) because clients
// fill it by byte offset.
struct ITEMSTATE {
    std::uint32_t mask;         // which of the fields below are valid (0x71 from the binding)
    std::uint16_t accessFlags;  // 0x01 read wanted, 0x08 write wanted, other bits kept
    std::uint16_t reserved1;
    std::uint8_t reserved2[8];
    std::int32_t updateRate;    // offset 16
    std::int32_t bufferSize;    // offset 20
    std::uint8_t buffered;      // offset 24
    std::uint8_t reserved3[3];
};
static_assert(sizeof(ITEMSTATE) == 28, "ITEMSTATE layout");

// Flags of ITEMDETAILS::flags: which parts of the record are present.
constexpr std::uint8_t ITEMDETAILS_HAS_TYPE = 0x1;
constexpr std::uint8_t ITEMDETAILS_HAS_DESCRIPTION = 0x2;
constexpr std::uint8_t ITEMDETAILS_HAS_ACCESS = 0x4;

// An item's attributes, as its host declared them.
struct ITEMDETAILS {
    std::uint8_t flags;  // ITEMDETAILS_HAS_*
    std::uint8_t reserved[3];
    std::uint32_t accessRights;   // VESTA_ACCESS_READ | VESTA_ACCESS_WRITE
    std::uint16_t flexType;       // the flex type code of the item's value
    std::uint16_t reserved2;
    char description[256];        // UTF-8, NUL-terminated, possibly truncated
};

// The root of every interface. AddRef and Release return the new count.
class IUnknown {
  public:
    virtual HRESULT QueryInterface(const GUID& iid, void** out) = 0;
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

  protected:
    ~IUnknown() = default;
};

// One subscription. Release ends it: when Release returns, no notification for the item is
// running or will follow (a Release from inside the item's own notification is deferred until
// that notification returns).
class IVestaRealTimeItem : public IUnknown {
  public:
    // Sends a value to the item's host. Negative at once when the item has no write right
    // (VESTA_E_ACCESSDENIED), is not known (VESTA_E_NOTCONNECTED), or the value cannot be
    // converted to the item's type (VESTA_E_TYPEMISMATCH). A provider that can ask the host
    // before returning (the embedded one) returns its refusal as VESTA_E_REJECTED; one that
    // cannot wait for the host returns S_OK and reports a later refusal as
    // OnStatusChange(item, IASTATUS_ACTIVE, VESTA_E_REJECTED).
    virtual HRESULT Write(const VarData* value) = 0;
    // The item's attributes as last received; flags 0 before any arrived.
    virtual HRESULT GetDetails(ITEMDETAILS* details) = 0;
    // The current state, local and immediate: which parts are valid (VESTA_MASK_*), the value,
    // the quality and the time of the last change. Before any value the quality is
    // VESTA_QUALITY_NO_VALUE and the mask lacks VESTA_MASK_VALUE.
    virtual HRESULT GetState(std::uint32_t* mask, VarData* value, std::uint32_t* quality,
                             FILETIME* time) = 0;

  protected:
    ~IVestaRealTimeItem() = default;
};

// The client's sink for notifications. `item` is the client handle given to AddItem. Per item
// the calls keep order; a slow receiver sees the newest value (older data changes are dropped),
// never a dropped status or attribute change.
class IVestaRealTimeReceiver : public IUnknown {
  public:
    virtual HRESULT OnDataChange(long item, std::uint32_t mask, const VarData* value,
                                 std::uint32_t quality, FILETIME time) = 0;
    virtual HRESULT OnAttributeChange(long item, const ITEMDETAILS* details) = 0;
    virtual HRESULT OnStatusChange(long item, IASTATUS status, HRESULT result,
                                   std::uint32_t reserved) = 0;

  protected:
    ~IVestaRealTimeReceiver() = default;
};

// A client's connection to the provider.
class IVestaRealTime : public IUnknown {
  public:
    // Subscribes to the item at `url` (absolute item URL text, \\machine\process\path; "." or
    // any other name of this computer, such as "localhost", stands for its host name). Returns
    // at once, never waiting on the network, with *item set and one reference for the caller;
    // the subscription comes alive later: OnStatusChange IASTATUS_RESOLVING, then
    // IASTATUS_ACTIVE, OnAttributeChange, then OnDataChange with mask 0x7. A URL that does not
    // parse or names fewer than a machine, a process and a path fails with VESTA_E_BADURL.
    virtual HRESULT AddItem(const wchar_t* url, IVestaRealTimeItem** item, ITEMSTATE* state,
                            long clientHandle) = 0;

  protected:
    ~IVestaRealTime() = default;
};

extern "C" {

// Starts the socket layer; counted: each successful call needs one VestaSocketCleanup. 0 on
// success.
HRESULT VestaSocketStartup(void);
// Undoes one VestaSocketStartup; S_FALSE when there was none to undo.
HRESULT VestaSocketCleanup(void);

// The provider session chosen by configuration (environment variable KA_VESTA_URL: unset or
// empty for the embedded provider, mqtt://host:port or mqtts://host:port for a broker), with one
// reference for the caller. Null when the settings are not valid or the provider cannot start;
// VestaLastErrorText() then says why, and NewVestaRealTime with a null session fails with
// VESTA_E_NOSESSION.
IUnknown* GetVestaSession(void);

// Creates a client connection of `session` that sends its notifications to `receiver` (which it
// holds a reference to until the connection's last Release). *realTime gets one reference.
HRESULT NewVestaRealTime(IUnknown* session, IVestaRealTimeReceiver* receiver,
                         IVestaRealTime** realTime);

// The text of a result code ("access denied", ...); never null.
const char* VestaStrError(HRESULT result);
// The text of this thread's last failure of GetVestaSession or NewVestaRealTime; "" if none.
const char* VestaLastErrorText(void);

}  // extern "C"
