#include "ka/tagger/gx/ka_tagger_gx.h"

#include <cstdint>
#include <exception>

#include "ka/kor/FlexData.h"
#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/RefCountedImplementation.h"
#include "ka/kor/RefCountedThreadSafePolicy.h"
#include "ka/kor/SmartPtr.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/LStrHandleToKORString.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/Item.h"
#include "vesta/VarData.h"
#include "vesta/VestaRealTime.h"

namespace {

using namespace ka;
using tagger::gx::Item;

// Connection states the host's front panel shows.
constexpr std::int32_t kStateConnecting = 1;
constexpr std::int32_t kStateConnected = 2;
constexpr std::int32_t kStateError = 4;
constexpr std::int32_t kStateCreated = 5;

// Access errors the host shows for a binding whose item refuses what the binding needs.
constexpr std::int32_t kAccessDeniedBoth = static_cast<std::int32_t>(0x8ABC0064u);
constexpr std::int32_t kAccessDeniedRead = static_cast<std::int32_t>(0x8ABC0065u);
constexpr std::int32_t kAccessDeniedWrite = static_cast<std::int32_t>(0x8ABC0066u);

constexpr std::uint16_t kNeedRead = 0x01;
constexpr std::uint16_t kNeedWrite = 0x08;

// Tells the host about one binding: values, qualities, and a connection state that combines the
// subscription's status with a check of the item's access rights against what the binding needs.
// Runs on the provider's threads, which report one item's changes in order, so the fields need no
// lock.
class Callback
    : public kor::RefCountedImplementation<Item::Callback, kor::RefCountedThreadSafePolicy> {
  public:
    Callback(std::uint32_t context, std::uint16_t accessFlags)
        : context_(context),
          state_(kStateCreated),
          lastResult_(0),
          accessCode_(0),
          needRead_((accessFlags & kNeedRead) != 0),
          needWrite_((accessFlags & kNeedWrite) != 0) {}

    void onDataChange(const VarData& value) override {
        if (value.empty()) {
            return;  // nothing the host could show
        }
        VarData packet(value);
        if (packet.type() != VT_FLEXDATA) {
            packet.Convert(VT_FLEXDATA);
        }
        const kor::FlexData& flex = packet.getFlexData();
        OnPSPDataUpdate(context_, flex.begin(), flex.begin() + flex.getPacketSize());
    }

    void onQualityChange(std::uint32_t quality) override { OnPSPQualityUpdate(context_, quality); }

    void onStatusChange(IASTATUS status, HRESULT result) override {
        if (status == IASTATUS_ACTIVE) {
            state_ = kStateConnected;
        } else if (status == IASTATUS_RESOLVING) {
            state_ = kStateConnecting;
        }
        lastResult_ = result;
        if (result >= 0 && accessCode_ >= 0) {
            OnPSPStatusUpdate(context_, state_, 0, accessCode_);
        } else if (result >= 0) {
            OnPSPStatusUpdate(context_, kStateError, accessCode_, result);
        } else {
            OnPSPStatusUpdate(context_, kStateError, result, status);
        }
    }

    void onAttributeChange(const ITEMDETAILS& details) override {
        if ((details.flags & ITEMDETAILS_HAS_ACCESS) == 0) {
            return;
        }
        const bool readable = (details.accessRights & VESTA_ACCESS_READ) == VESTA_ACCESS_READ;
        const bool writable = (details.accessRights & VESTA_ACCESS_WRITE) == VESTA_ACCESS_WRITE;
        const bool readDenied = needRead_ && !readable;
        const bool writeDenied = needWrite_ && !writable;
        if (readDenied && writeDenied) {
            accessCode_ = kAccessDeniedBoth;
        } else if (readDenied) {
            accessCode_ = kAccessDeniedRead;
        } else if (writeDenied) {
            accessCode_ = kAccessDeniedWrite;
        } else {
            accessCode_ = 0;
        }
        if (lastResult_ >= 0 && accessCode_ >= 0) {
            OnPSPStatusUpdate(context_, state_, 0, accessCode_);
        } else {
            OnPSPStatusUpdate(context_, kStateError, lastResult_ < 0 ? lastResult_ : accessCode_,
                              readDenied ? 1 : 0);
        }
    }

  private:
    std::uint32_t context_;
    std::int32_t state_;
    std::int32_t lastResult_;
    std::int32_t accessCode_;
    bool needRead_;
    bool needWrite_;
};

template <class Body>
int32_t Run(Body body) noexcept {
    try {
        body();
    } catch (const std::exception& e) {
        return static_cast<int32_t>(kor::GetGraphixErrorCode(e));
    }
    return 0;
}

}  // namespace

extern "C" int32_t ka_tagger_gx_fpb_Initialize(void) noexcept {
    return Run([] { tagger::gx::Initializer::startup(); });
}

extern "C" int32_t ka_tagger_gx_fpb_Connect(LStrHandle url, uint32_t context, ITEMSTATE* state,
                                            ka_tagger_gx_Refnum* refnum) noexcept {
    return Run([&] {
        if (state == nullptr || refnum == nullptr) {
            throw kor::exception::InvalidArgument(__LINE__, "ka/tagger/gx/fpb");
        }
        // Without valid access flags the binding only reads.
        const std::uint16_t flags = (state->mask & 0x1) != 0 ? state->accessFlags : kNeedRead;
        const kor::SmartPtr<Item::Callback> callback(new Callback(context, flags));
        const kor::VestaURL parsed(kor::gx::string::LStrHandleToKORString(url));
        // No idle clean-up: the front panel's bindings end when the host disconnects them.
        *refnum =
            tagger::gx::Initializer::getGlobalClient()->connect(parsed, *state, callback, false);
    });
}

extern "C" int32_t ka_tagger_gx_fpb_Write(ka_tagger_gx_Refnum refnum, const unsigned char* begin,
                                          const unsigned char* end) noexcept {
    return Run([&] {
        Item* item = tagger::gx::Initializer::getGlobalClient()->lookup(refnum);
        VarData value;
        value.flexData(begin, end);
        value.convertToNativeType();
        // The front panel learns the outcome from the item's quality notifications.
        item->write(value);
    });
}

extern "C" int32_t ka_tagger_gx_fpb_Disconnect(ka_tagger_gx_Refnum refnum) noexcept {
    return Run([&] { tagger::gx::Initializer::getGlobalClient()->disconnect(refnum); });
}

extern "C" int32_t ka_tagger_gx_fpb_Finalize(void) noexcept {
    return Run([] { tagger::gx::Initializer::cleanup(); });
}
