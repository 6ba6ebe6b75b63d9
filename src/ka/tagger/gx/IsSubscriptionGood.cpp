#include "ka/tagger/gx/ka_tagger_gx.h"

#include <exception>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/ReportError.h"

extern "C" GxBoolean ka_tagger_gx_IsSubscriptionGood(ka_tagger_gx_Refnum refnum,
                                                     ErrorCluster* error) noexcept {
    using namespace ka;
    if (tagger::gx::HasIncomingError(error)) {
        return 0;
    }
    try {
        return tagger::gx::Initializer::getGlobalClient()->lookup(refnum)->receivedAttributeChange()
                   ? 1
                   : 0;
    } catch (const std::exception& e) {
        tagger::gx::ReportError(error, true, kor::GetGraphixErrorCode(e),
                                "ka_tagger_gx_IsSubscriptionGood");
    }
    return 0;
}
