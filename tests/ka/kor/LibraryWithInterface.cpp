// A loadable library for the loader's tests: its "GetInterface" entry answers version 2 with an
// ILibraryA, version 3 with an interface of another kind, and anything else with nothing.
#include <cstdint>

#include "ka/kor/ILibraryA.h"
#include "ka/kor/RefCountedImplementation.h"
#include "ka/kor/RefCountedThreadSafePolicy.h"

namespace {

int gLive = 0;

class Client final : public ka::kor::RefCountedImplementation<ka::kor::ILibraryA,
                                                              ka::kor::RefCountedThreadSafePolicy> {
  public:
    Client() { ++gLive; }
    ~Client() override { --gLive; }
    std::uint32_t interfaceVersion() const noexcept override { return 2; }
};

class Other final : public ka::kor::RefCountedImplementation<ka::kor::ILibrary,
                                                             ka::kor::RefCountedThreadSafePolicy> {
  public:
    Other() { ++gLive; }
    ~Other() override { --gLive; }
};

}  // namespace

extern "C" ka::kor::ILibrary* GetInterface(std::uint32_t version) {
    switch (version) {
        case 2:
            return new Client();
        case 3:
            return new Other();
        default:
            return nullptr;
    }
}

// Objects of this library alive now.
extern "C" int LiveObjects() {
    return gLive;
}
