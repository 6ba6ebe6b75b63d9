// Time-based (version 1) identifiers: 60-bit time in 100-ns intervals since 1582-10-15 00:00 UTC,
// a 14-bit clock sequence and the 48-bit node of this machine. One process-wide generator; no two
// identifiers it makes are equal.
#pragma once

#include "ka/kor/Guid.h"

namespace ka {
namespace kor {
namespace osdep {

// A new identifier; safe from any thread. The first call captures the system time and the
// high-resolution counter (Timer::qpc_), the clock sequence (two rand() calls, high byte then low
// byte) and the node (the hardware address of the first network interface that has a non-zero
// one, loopback excluded; else six rand() bytes with the high bit of the first set, marking an
// address no card can have). Later times are that system time plus the counter's advance, so they
// move at the counter's resolution; pairs of time and sequence follow GuidClock's rule.
//
// Fields: data1 is the time's low 32 bits, data2 the next 16, data3 the top 12 bits or-ed with
// 0x1000 (version 1); data4[0] is the sequence's top 6 bits with the variant bits 10, data4[1]
// its low 8 bits, data4[2..7] the node.
//
// Throws NotImplemented when the counter is unavailable (as before the library finished loading)
// and PosixError when the system time cannot be read; the generator is then left unstarted.
Guid MakeGUID();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
