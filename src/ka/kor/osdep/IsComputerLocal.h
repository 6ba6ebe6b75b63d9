// Whether a machine name or address denotes this computer, decided without asking a name server
// about arbitrary names, so that the answer comes quickly and never hangs on the network.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// True when name, in any letter case, is
//   - this computer's host name (as queried now or as cached by GetCachedHostName);
//   - "localhost" or a name ending in ".localhost" (reserved for the loopback interface);
//   - a loopback address: IPv4 127.0.0.0/8, IPv6 ::1, or 127.0.0.0/8 mapped into IPv6;
//   - the numeric address (IPv4 dotted quad or IPv6, optionally in brackets and with a "%zone"
//     suffix) of one of this computer's network interfaces;
//   - this computer's fully qualified name: a name that starts with the host name and a dot is
//     compared with the canonical name the resolver gives for the host name. Only such names
//     cause a look-up, and only of this computer's own name.
// False for everything else, the empty text included; other names are never resolved. A failing
// host-name query or interface listing raises PosixError ("gethostname: ..." or
// "getifaddrs: ...").
bool IsComputerLocal(const String& name);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
