// The C entry points: the provider switch, connection set-up, result texts and the socket
// layer's count.
#include <cstdlib>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "RecordingReceiver.h"
#include "ka/kor/osdep/ScopedEnv.h"
#include "vesta/VestaRealTime.h"

namespace vesta_test {
namespace {

// A receiver that does not say it is one.
class DeafReceiver final : public IVestaRealTimeReceiver {
  public:
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 2; }
    std::uint32_t Release() override { return 1; }
    HRESULT OnDataChange(long, std::uint32_t, const VarData*, std::uint32_t, FILETIME) override {
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS*) override { return S_OK; }
    HRESULT OnStatusChange(long, IASTATUS, HRESULT, std::uint32_t) override { return S_OK; }
};

TEST(GetVestaSession, ChoosesTheEmbeddedProviderWhenNothingIsSet) {
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        SCOPED_TRACE(value == nullptr ? "unset" : "empty");
        ScopedEnv env("KA_VESTA_URL", "");
        if (value == nullptr) {
            unsetenv("KA_VESTA_URL");
        }
        IUnknown* session = GetVestaSession();
        ASSERT_NE(nullptr, session) << VestaLastErrorText();
        session->Release();
    }
}

TEST(GetVestaSession, RefusesOtherSettingsWithAClearText) {
    const struct {
        const char* value;
        const char* text;  // the start of VestaLastErrorText
    } cases[] = {
        {"mqtt://broker:0", "\"mqtt://broker:0\": the port must be"},
        {"MQTTS://broker:8883", "\"MQTTS://broker:8883\": mqtts needs KA_VESTA_CAFILE"},
        {"http://broker", "KA_VESTA_URL=\"http://broker\" is not a provider URL"},
        {"mqtt:/broker", "KA_VESTA_URL=\"mqtt:/broker\" is not a provider URL"},
        {" ", "KA_VESTA_URL=\" \" is not a provider URL"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        ScopedEnv env("KA_VESTA_URL", c.value);
        EXPECT_EQ(nullptr, GetVestaSession());
        EXPECT_EQ(0u, std::string(VestaLastErrorText()).find(c.text)) << VestaLastErrorText();
    }
}

TEST(NewVestaRealTime, RefusesWhatIsNotASessionAndAReceiverWithoutItsInterface) {
    unsetenv("KA_VESTA_URL");
    IUnknown* session = GetVestaSession();
    ASSERT_NE(nullptr, session);
    RecordingReceiver* receiver = RecordingReceiver::Create();
    IVestaRealTime* rt = reinterpret_cast<IVestaRealTime*>(session);

    EXPECT_EQ(VESTA_E_NOSESSION, NewVestaRealTime(nullptr, receiver, &rt));
    EXPECT_EQ(nullptr, rt);
    EXPECT_STRNE("", VestaLastErrorText());
    EXPECT_EQ(VESTA_E_NOSESSION, NewVestaRealTime(receiver, receiver, &rt));  // not a session
    EXPECT_EQ(E_POINTER, NewVestaRealTime(session, nullptr, &rt));
    EXPECT_EQ(E_POINTER, NewVestaRealTime(session, receiver, nullptr));

    DeafReceiver deaf;
    EXPECT_EQ(E_NOINTERFACE, NewVestaRealTime(session, &deaf, &rt));

    ASSERT_EQ(S_OK, NewVestaRealTime(session, receiver, &rt));
    EXPECT_EQ(3u, receiver->AddRef());  // the test's, the connection's and this one
    receiver->Release();
    rt->Release();
    EXPECT_EQ(0u, receiver->Release());  // let go once the connection is gone
    session->Release();
}

TEST(VestaStrError, EveryResultHasItsOwnText) {
    const HRESULT results[] = {S_OK,
                               S_FALSE,
                               E_NOINTERFACE,
                               E_POINTER,
                               E_FAIL,
                               E_OUTOFMEMORY,
                               E_INVALIDARG,
                               VESTA_E_CONFIG,
                               VESTA_E_NOSESSION,
                               VESTA_E_BADURL,
                               VESTA_E_ACCESSDENIED,
                               VESTA_E_TYPEMISMATCH,
                               VESTA_E_REJECTED,
                               VESTA_E_NOTCONNECTED,
                               VESTA_E_UNAVAILABLE};
    std::set<std::string> texts;
    for (HRESULT r : results) {
        texts.insert(VestaStrError(r));
    }
    EXPECT_EQ(sizeof results / sizeof results[0], texts.size());
    EXPECT_STREQ("access denied: the item has no write right", VestaStrError(VESTA_E_ACCESSDENIED));
    EXPECT_STRNE("", VestaStrError(static_cast<HRESULT>(0x8123ABCDu)));
}

TEST(VestaSocket, CleanupUndoesOneStartupEach) {
    EXPECT_EQ(S_OK, VestaSocketStartup());
    EXPECT_EQ(S_OK, VestaSocketStartup());
    EXPECT_EQ(S_OK, VestaSocketCleanup());
    EXPECT_EQ(S_OK, VestaSocketCleanup());
    EXPECT_EQ(S_FALSE, VestaSocketCleanup());
    EXPECT_EQ(S_OK, VestaSocketStartup());
    EXPECT_EQ(S_OK, VestaSocketCleanup());
}

}  // namespace
}  // namespace vesta_test
