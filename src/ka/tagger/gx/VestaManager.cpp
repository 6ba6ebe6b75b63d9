#include "ka/tagger/gx/VestaManager.h"

#include <cstdint>

#include "ka/kor/exception.h"
#include "vesta/VestaRealTime.h"

namespace ozu {

VestaManager::VestaManager(bool startSockets, bool, bool, bool) : startedSockets_(false) {
    if (startSockets) {
        const HRESULT result = VestaSocketStartup();
        if (result < 0) {
            throw ka::kor::exception::COMError(__LINE__, "ka/tagger/gx/VestaManager",
                                               static_cast<std::uint32_t>(result));
        }
        startedSockets_ = true;
    }
}

VestaManager::~VestaManager() {
    if (startedSockets_) {
        VestaSocketCleanup();
    }
}

}  // namespace ozu
