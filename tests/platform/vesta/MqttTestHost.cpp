// A host in a process of its own for the MQTT provider's tests: registers the process named on
// the command line on this computer through KA_VESTA_URL, publishes "counter" (I32, read and write)
// and counts it up every 10 ms until killed.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "ka/kor/FlexData.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PROCESS\n", argv[0]);
        return 2;
    }
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        std::fprintf(stderr, "no session: %s\n", VestaLastErrorText());
        return 1;
    }
    const std::string name(argv[1]);
    vesta::ItemHost host(session, std::wstring(name.begin(), name.end()));
    vesta::ItemHost::Item counter = host.createItem(
        L"counter", ka::kor::FlexData(0), VESTA_ACCESS_READ | VESTA_ACCESS_WRITE, L"counts up");
    for (int i = 1;; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        counter.update(ka::kor::FlexData(i));
    }
}
