// The F64 item the binding benchmarks read and connect to: published in this process on the
// embedded provider, under \\<this computer>\bench\f64.
#pragma once

#include "ka/kor/FlexData.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace ka_bench {

// The item's address as a host program gives it ("." for this computer).
constexpr const char* kUrl = "\\\\.\\bench\\f64";

// kUrl as the provider takes it: with this computer's name.
inline ka::kor::String ItemUrl() {
    return ka::kor::String(L"\\\\") + ka::kor::osdep::GetCachedHostName() + L"\\bench\\f64";
}

// Hosts the item for as long as it lives.
struct Published {
    Published() {
        IUnknown* session = GetVestaSession();
        host = new vesta::ItemHost(session, L"bench");
        session->Release();
        item = host->createItem(L"f64", ka::kor::FlexData(3.25), VESTA_ACCESS_READ);
    }
    ~Published() {
        item = vesta::ItemHost::Item();
        delete host;
    }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    vesta::ItemHost* host;
    vesta::ItemHost::Item item;
};

}  // namespace ka_bench
