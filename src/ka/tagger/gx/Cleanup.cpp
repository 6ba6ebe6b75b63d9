#include "ka/tagger/gx/ka_tagger_gx.h"

#include <exception>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/tagger/gx/Initializer.h"

// The result has no meaning to callers; a failure still gives its code.
extern "C" int32_t ka_tagger_gx_Cleanup(void) noexcept {
    try {
        ka::tagger::gx::Initializer::cleanup();
    } catch (const std::exception& e) {
        return static_cast<int32_t>(ka::kor::GetGraphixErrorCode(e));
    }
    return 0;
}
