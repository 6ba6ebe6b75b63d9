#include "ka/tagger/gx/ka_tagger_gx.h"

#include <cstring>
#include <exception>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/RefCountedImplementation.h"
#include "ka/kor/RefCountedThreadSafePolicy.h"
#include "ka/kor/SmartPtr.h"
#include "ka/kor/VestaURL.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/Item.h"
#include "ka/tagger/gx/ReportError.h"
#include "vesta/VestaRealTime.h"

namespace {

using ka::tagger::gx::Item;

constexpr const char* kSource = "ka_tagger_gx_Connect";

// Fires the host's occurrence each time the item's attributes arrive, which tells a waiting host
// program that the subscription is established. Lives on the library heap, as every object whose
// last reference may be given back from another module's thread.
class OccurrenceCallback
    : public ka::kor::RefCountedImplementation<Item::Callback, ka::kor::RefCountedThreadSafePolicy>,
      public ka::kor::DLLAlloced {
  public:
    explicit OccurrenceCallback(GxRefnum occurrence) : occurrence_(occurrence) {}

    void onAttributeChange(const ITEMDETAILS&) override { Occur(occurrence_); }

  private:
    std::uint32_t occurrence_;
};

bool IsSet(const GxBoolean* flag) noexcept {
    return flag != nullptr && *flag != 0;
}

}  // namespace

extern "C" ka_tagger_gx_Refnum ka_tagger_gx_ConnectBuffered(
    const char* url, GxBoolean* firstFlag, GxBoolean* writeFlag, int32_t bufferSize,
    int32_t updateRate, GxBoolean* buffered, GxRefnum* occurrence, ErrorCluster* error) noexcept {
    using namespace ka;
    if (tagger::gx::HasIncomingError(error)) {
        return 0;
    }
    try {
        kor::SmartPtr<Item::Callback> callback;
        if (occurrence != nullptr && *occurrence != 0) {
            callback.reset(new OccurrenceCallback(*occurrence));
        }
        tagger::gx::Client* client = tagger::gx::Initializer::getGlobalClient();

        ITEMSTATE state;
        std::memset(&state, 0, sizeof state);
        state.mask = 0x71;
        state.accessFlags = IsSet(firstFlag) ? 0x47 : 0x45;
        if (IsSet(writeFlag)) {
            state.accessFlags |= 0x08;
        }
        state.updateRate = updateRate;
        state.bufferSize = bufferSize;
        state.buffered = buffered != nullptr ? *buffered : 0;

        const kor::VestaURL parsed{kor::String(url)};
        return client->connect(parsed, state, callback, true);
    } catch (const std::exception& e) {
        tagger::gx::ReportError(error, true, kor::GetGraphixErrorCode(e), kSource);
    }
    return 0;
}

extern "C" ka_tagger_gx_Refnum ka_tagger_gx_Connect(const char* url, GxBoolean* firstFlag,
                                                    GxBoolean* writeFlag, GxRefnum* occurrence,
                                                    ErrorCluster* error) noexcept {
    GxBoolean buffered = 1;
    return ka_tagger_gx_ConnectBuffered(url, firstFlag, writeFlag, -1, 1, &buffered, occurrence,
                                        error);
}
