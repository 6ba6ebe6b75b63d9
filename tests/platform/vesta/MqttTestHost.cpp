// A host in a process of its own for the MQTT provider's tests, reaching the broker through
// KA_VESTA_URL. Two modes:
//   MqttTestHost PROCESS           publishes "counter" (I32, read and write) under PROCESS on this
//                                  computer and counts it up every 10 ms until killed;
//   MqttTestHost --driven PROCESS  registers PROCESS, answers "ok" (or "error ...") and then
//                                  does what the lines on its input ask (HostProtocol.h).
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "HostProtocol.h"
#include "ka/kor/FlexData.h"
#include "vesta/ItemHost.h"
#include "vesta/VestaRealTime.h"

namespace {

using ka::kor::FlexData;
using vesta::ItemHost;
using namespace vesta_test;

struct Driven {
    std::mutex mutex;  // the write handler runs on the provider's thread
    std::vector<std::pair<std::wstring, FlexData>> writes;
    double limit = HUGE_VAL;
    std::vector<ItemHost::Item> items;
};

// The answer to one request; throws on a bad request or a failing host operation.
std::string Answer(ItemHost& host, Driven& d, const std::vector<std::string>& f) {
    const std::string& op = f.at(0);
    auto item = [&]() -> ItemHost::Item& { return d.items.at(std::stoul(f.at(1))); };
    if (op == "create") {
        d.items.push_back(host.createItem(WideFromField(f.at(1)), FlexFromField(f.at(2)),
                                          std::stoul(f.at(3)), WideFromField(f.at(4))));
        return "ok " + std::to_string(d.items.size() - 1);
    }
    if (op == "update") {
        item().update(FlexFromField(f.at(2)));
    } else if (op == "quality") {
        item().setQuality(std::stoul(f.at(2)), FILETIME{std::stoll(f.at(3))});
    } else if (op == "remove") {
        item().remove();
    } else if (op == "value") {
        return "ok " + FlexField(item().value());
    } else if (op == "refuse") {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.limit = std::stod(f.at(1));
    } else if (op == "writes") {
        std::lock_guard<std::mutex> lock(d.mutex);
        std::string out = "ok";
        for (const auto& w : d.writes) {
            out += " " + WideField(w.first) + " " + FlexField(w.second);
        }
        return out;
    } else if (op == "unregister") {
        host.unregister();
    } else if (op == "reregister") {
        host.reregister();
    } else {
        throw std::invalid_argument("unknown request " + op);
    }
    return "ok";
}

int Drive(IUnknown* session, const std::wstring& process) {
    Driven d;
    std::unique_ptr<ItemHost> host;
    try {
        host = std::make_unique<ItemHost>(session, process);
    } catch (const std::exception& e) {
        std::cout << "error " << e.what() << std::endl;
        return 1;
    }
    host->setWriteHandler([&d](const std::wstring& path, const FlexData& v) {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.writes.emplace_back(path, v);
        return d.limit == HUGE_VAL || v.getF64() < d.limit;
    });
    std::cout << "ok" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        const std::vector<std::string> f = Fields(line);
        if (f.empty()) {
            continue;
        }
        if (f[0] == "quit") {
            break;
        }
        try {
            std::cout << Answer(*host, d, f) << std::endl;
        } catch (const std::exception& e) {
            std::cout << "error " << line << ": " << e.what() << std::endl;
        }
    }
    host.reset();
    std::cout << "ok" << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const bool driven = argc == 3 && std::string(argv[1]) == "--driven";
    if (argc != 2 && !driven) {
        std::fprintf(stderr, "usage: %s [--driven] PROCESS\n", argv[0]);
        return 2;
    }
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        std::fprintf(stderr, "no session: %s\n", VestaLastErrorText());
        return 1;
    }
    const std::string name(argv[argc - 1]);
    if (driven) {
        const int rc = Drive(session, std::wstring(name.begin(), name.end()));
        session->Release();
        return rc;
    }
    ItemHost host(session, std::wstring(name.begin(), name.end()));
    ItemHost::Item counter = host.createItem(L"counter", FlexData(0),
                                             VESTA_ACCESS_READ | VESTA_ACCESS_WRITE, L"counts up");
    for (int i = 1;; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        counter.update(FlexData(i));
    }
}
