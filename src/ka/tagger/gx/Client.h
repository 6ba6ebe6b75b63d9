// The process-wide client of the real-time provider: it owns the provider session, the
// connection that delivers notifications to its Receiver, and the table of subscribed items by
// refnum. Its lock guards only that table; items are built and destroyed outside it (they talk to
// the provider and may wait for it), except when the whole client is destroyed.
#pragma once

#include <cstdint>

#include "gxhost/gxhost.h"
#include "ka/kor/RefnumMap.h"
#include "ka/kor/SmartPtr.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/tagger/gx/Item.h"
#include "ka/tagger/gx/Receiver.h"
#include "ka/tagger/gx/VestaManager.h"
#include "vesta/VestaRealTime.h"

namespace ka {
namespace tagger {
namespace gx {

class Client : public ozu::VestaManager {
  public:
    // Starts the socket layer, obtains the session, creates the receiver, the empty table and the
    // lock, then the provider connection. A failure undoes the steps already done, in reverse
    // order, and propagates (COMError with the provider's result for a failing start-up or
    // connection; a missing session shows as the connection's failure).
    Client();
    // Destroys every item still in the table (in refnum order, under the lock), then lets go of
    // the connection, the session and the receiver, and ends the socket layer.
    ~Client() override;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Subscribes to url (see Item) and returns the new item's refnum. With unsubscribeOnIdle the
    // host is asked to call UnsubscribeOnIdle(refnum) when the calling program goes idle; should
    // the host refuse, the item is removed again and the host's status raised (ThrowIfGXError).
    // Item failures propagate with nothing inserted.
    std::uint32_t connect(const kor::VestaURL& url, ITEMSTATE& state,
                          kor::SmartPtr<Item::Callback> callback, bool unsubscribeOnIdle);

    // The item of refnum: NullRefnum for 0, InvalidRefnum for a refnum that names no item.
    Item* lookup(std::uint32_t refnum);

    // Withdraws any idle clean-up registered for refnum, removes the item from the table (raising
    // as lookup does) and destroys it outside the lock, which ends its subscription.
    void disconnect(std::uint32_t refnum);

    // The idle clean-up procedure handed to the host: disconnects the refnum carried in data from
    // the global client. 0, or the host code of the failure (which never escapes as an
    // exception).
    static MgErr UnsubscribeOnIdle(void* data);

  private:
    IVestaRealTime* realTime_;
    IUnknown* session_;
    Receiver* receiver_;
    kor::RefnumMap<Item*>* items_;
    kor::osdep::CriticalSection* lock_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
