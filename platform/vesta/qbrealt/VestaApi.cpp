// The library's C entry points. None lets an exception escape.
#include "vesta/VestaRealTime.h"

#include <cstdlib>
#include <new>
#include <string>

#include "qbrealt/LastError.h"
#include "qbrealt/ProviderChoice.h"
#include "qbrealt/RealTime.h"
#include "qbrealt/Session.h"
#include "qbrealt/Subscription.h"
#include "qbrealt/embedded/EmbeddedProvider.h"
#include "qbrealt/mqtt/MqttConnection.h"
#include "qbrealt/mqtt/MqttProvider.h"

using vesta::EmbeddedProvider;
using vesta::LastErrorText;
using vesta::Provider;
using vesta::ProviderChoice;
using vesta::RealTime;
using vesta::ReceiverRef;
using vesta::Session;
using vesta::SetLastErrorText;

// The socket layer (libqbsock) is deliberately not required here: the embedded provider opens no
// socket, and on this platform sockets need no process-wide start-up, so a client that forgets
// VestaSocketStartup still gets a working session rather than an error it could not act on.
extern "C" IUnknown* GetVestaSession(void) {
    try {
        const char* setting = std::getenv(vesta::kProviderSetting);
        const ProviderChoice choice = vesta::ChooseProvider(setting);
        switch (choice.kind) {
            case ProviderChoice::Embedded:
                return new Session(EmbeddedProvider::Instance());
            case ProviderChoice::Mqtt: {
                vesta::mqtt::Settings settings;
                std::string why;
                if (!vesta::mqtt::ReadSettings(choice.url, settings, why)) {
                    SetLastErrorText(why.c_str());
                    return nullptr;
                }
                return new Session(vesta::MqttProvider::Instance(choice.url, settings));
            }
            case ProviderChoice::Invalid:
                SetLastErrorText(choice.error.c_str());
                return nullptr;
        }
        SetLastErrorText("unknown provider");
    } catch (const std::bad_alloc&) {
        SetLastErrorText("out of memory while starting the provider");
    } catch (const std::exception& e) {
        SetLastErrorText((std::string("the provider could not start: ") + e.what()).c_str());
    } catch (...) {
        SetLastErrorText("the provider could not start");
    }
    return nullptr;
}

extern "C" HRESULT NewVestaRealTime(IUnknown* session, IVestaRealTimeReceiver* receiver,
                                    IVestaRealTime** realTime) {
    if (realTime == nullptr) {
        SetLastErrorText("NewVestaRealTime: no place for the result");
        return E_POINTER;
    }
    *realTime = nullptr;
    if (receiver == nullptr) {
        SetLastErrorText("NewVestaRealTime: no receiver");
        return E_POINTER;
    }
    std::shared_ptr<Provider> provider = Session::ProviderOf(session);
    if (!provider) {
        SetLastErrorText(session == nullptr ? "NewVestaRealTime: no session"
                                            : "NewVestaRealTime: not a session of this provider");
        return VESTA_E_NOSESSION;
    }
    void* sink = nullptr;
    try {
        if (receiver->QueryInterface(IID_IVESTAREALTIMERECEIVER, &sink) < 0 || sink == nullptr) {
            SetLastErrorText("NewVestaRealTime: the receiver does not answer its interface");
            return E_NOINTERFACE;
        }
    } catch (...) {
        SetLastErrorText("NewVestaRealTime: the receiver failed when asked for its interface");
        return E_NOINTERFACE;
    }
    auto* ours = static_cast<IVestaRealTimeReceiver*>(sink);
    std::shared_ptr<ReceiverRef> held;
    try {
        held = std::make_shared<ReceiverRef>(ours);
        *realTime = new RealTime(std::move(provider), std::move(held));
    } catch (const std::bad_alloc&) {
        if (!held) {
            ours->Release();  // no holder took the reference over
        }
        SetLastErrorText("NewVestaRealTime: out of memory");
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

extern "C" const char* VestaLastErrorText(void) {
    return LastErrorText();
}
