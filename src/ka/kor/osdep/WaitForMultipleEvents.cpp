#include "ka/kor/osdep/WaitForMultipleEvents.h"

#include "ka/kor/osdep/Event.h"
#include "ka/kor/osdep/NamedEvent.h"

namespace ka {
namespace kor {
namespace osdep {

int WaitForMultipleEvents(std::uint32_t count, Event** events, bool waitAll,
                          std::uint32_t timeoutMs, std::uint32_t pollMs) {
    return detail::MultipleEventWait<Event>::Wait(count, events, waitAll, timeoutMs, pollMs);
}

int WaitForMultipleEvents(std::uint32_t count, NamedEvent** events, bool waitAll,
                          std::uint32_t timeoutMs, std::uint32_t pollMs) {
    return detail::MultipleEventWait<NamedEvent>::Wait(count, events, waitAll, timeoutMs, pollMs);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
