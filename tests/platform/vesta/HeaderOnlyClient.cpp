// A client written against the provider's interface headers and nothing else: it hosts an item in
// this process, subscribes to it and expects status, attributes and value in that order.
// Exit status 0 on success; the first failure is printed.
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "vesta/CountedReceiver.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace {

class Receiver final : public vesta::CountedReceiver {
  public:
    HRESULT OnDataChange(long, std::uint32_t mask, const VarData* value, std::uint32_t quality,
                         FILETIME) override {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_ += "D" + std::to_string(mask) + (quality == 0 ? "" : "?");
        if ((mask & VESTA_MASK_VALUE) != 0 && value->type() == VT_R8 && value->asDouble() == 21.5) {
            seen_ += "=21.5";
        }
        seen_ += " ";
        return S_OK;
    }
    HRESULT OnAttributeChange(long, const ITEMDETAILS* details) override {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_ += (details->flags & ITEMDETAILS_HAS_ACCESS) != 0 &&
                         details->accessRights == VESTA_ACCESS_READ
                     ? "A "
                     : "A? ";
        return S_OK;
    }
    HRESULT OnStatusChange(long, IASTATUS status, HRESULT, std::uint32_t) override {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_ += "S" + std::to_string(static_cast<int>(status)) + " ";
        return S_OK;
    }
    std::string seen() {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }

  private:
    std::mutex mutex_;
    std::string seen_;
};

int Fail(const char* what) {
    std::fprintf(stderr, "HeaderOnlyClient: %s (%s)\n", what, VestaLastErrorText());
    return 1;
}

}  // namespace

int main() {
    if (VestaSocketStartup() != S_OK) {
        return Fail("VestaSocketStartup");
    }
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        return Fail("GetVestaSession");
    }
    int status = 0;
    {
        vesta::ItemHost host(session, L"header_only");
        host.createItem(L"room.temperature", ka::kor::FlexData(21.5), VESTA_ACCESS_READ,
                        L"Room temperature");
        Receiver& receiver = *new Receiver;  // this function's reference, released at the end
        IVestaRealTime* rt = nullptr;
        if (NewVestaRealTime(session, &receiver, &rt) != S_OK) {
            return Fail("NewVestaRealTime");
        }
        IVestaRealTimeItem* item = nullptr;
        const std::wstring url = host.url() + L"\\room.temperature";
        if (rt->AddItem(url.c_str(), &item, nullptr, 1) != S_OK) {
            return Fail("AddItem");
        }
        const std::string expected = "S15 S17 A D7=21.5 ";
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (receiver.seen() != expected && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (receiver.seen() != expected) {
            std::fprintf(stderr, "HeaderOnlyClient: saw \"%s\", expected \"%s\"\n",
                         receiver.seen().c_str(), expected.c_str());
            status = 1;
        }
        item->Release();
        rt->Release();
        receiver.Release();
    }
    session->Release();
    VestaSocketCleanup();
    return status;
}
