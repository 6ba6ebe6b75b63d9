// Stand-ins for the real-time provider and the host runtime, linked into the unit tests of the
// binding layer in place of libqbrealt.so, libqbsock.so and the host process. The provider side
// is driven by hand: tests set what an item's state query answers and deliver notifications by
// calling the client's receiver directly; values are the provider's own VarData. The host side
// records what the library asked of it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "gxhost/gxhost.h"
#include "ka/kor/FlexData.h"
#include "vesta/VarData.h"
#include "vesta/VestaRealTime.h"

// The host's variant in these tests: just the packet it was built from.
struct GxVariant {
    std::vector<unsigned char> packet;
};

namespace fake {

class Item final : public IVestaRealTimeItem {
  public:
    Item(const wchar_t* url, const ITEMSTATE& state, long handle);
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    HRESULT Write(const VarData* value) override;
    HRESULT GetDetails(ITEMDETAILS* details) override;
    HRESULT GetState(std::uint32_t* mask, VarData* value, std::uint32_t* quality,
                     FILETIME* time) override;

    std::wstring url;
    ITEMSTATE given;  // the record AddItem received, as it was then
    long handle;      // the client handle of every notification
    // What GetState answers.
    HRESULT stateResult = S_OK;
    std::uint32_t mask = 0;
    VarData value;
    std::uint32_t quality = VESTA_QUALITY_NO_VALUE;
    FILETIME time = {0};
    // What Write answers, and what it was given.
    HRESULT writeResult = S_OK;
    std::vector<VarData> written;

  private:
    ~Item() = default;
    int refs_ = 1;
};

struct Vesta {
    // Set by tests.
    HRESULT startupResult = S_OK;
    bool sessionAvailable = true;
    HRESULT newRealTimeResult = S_OK;
    HRESULT addItemResult = S_OK;
    // Observed.
    int socketStartups = 0;
    int socketCleanups = 0;
    int sessionsLive = 0;
    int realTimesCreated = 0;
    int realTimesLive = 0;
    IVestaRealTimeReceiver* receiver = nullptr;  // of the newest connection
    std::vector<Item*> items;                    // live items, in the order they were added
    std::vector<std::wstring> released;          // URLs of items whose last reference went

    // The live item of refnum-ordered position i.
    Item& item(std::size_t i) { return *items.at(i); }
    // Sends the item's notifications the way the provider would.
    void data(Item& i, std::uint32_t mask, const VarData& value, std::uint32_t quality);
    void attributes(Item& i, std::uint32_t rights);
    void status(Item& i, IASTATUS status, HRESULT result);
};

struct Host {
    // Set by tests.
    bool failArrayResize = false;
    MgErr cleanupResult = 0;
    MgErr flexToVarResult = 0;
    MgErr varToFlexResult = 0;
    bool varToFlexGivesBuffer = false;  // with a failing status
    std::map<std::int32_t, std::string> errorTexts;
    // Observed.
    int liveBlocks = 0;  // handles and pointers handed out and not yet disposed of
    int flexToVarCalls = 0;
    std::map<void*, CleanupProcPtr> cleanups;  // registered idle clean-ups by data value
    std::vector<GxRefnum> occurred;
    std::vector<std::string> psp;  // "data C <hex>", "quality C Q", "status C S E D"
};

Vesta& vesta();
Host& host();
// Both back to their first state; the library's client must be gone (see ResetLibrary).
void Reset();
// Destroys the library's client, if any, through a matched start-up and clean-up, then Reset().
void ResetLibrary();

// A host string handle holding text (freed with DSDisposeHandle), and the text of one.
LStrHandle NewLStr(const std::string& text);
std::string Text(LStrHandle handle);
// A host error cluster with a source handle of its own, shown as "status code(hex) source".
class Cluster {
  public:
    explicit Cluster(bool status = false, std::int32_t code = 0, const std::string& source = "");
    ~Cluster();
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;
    ErrorCluster* ptr() noexcept { return &cluster_; }
    std::string str() const;

  private:
    ErrorCluster cluster_;
};

// A flex packet's bytes as hex, for comparing what reached the host.
std::string Hex(const unsigned char* begin, const unsigned char* end);
std::string Hex(const ka::kor::FlexData& value);

}  // namespace fake
