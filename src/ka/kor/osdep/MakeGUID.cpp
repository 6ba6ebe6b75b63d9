#include "ka/kor/osdep/MakeGUID.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ka/kor/GuidClock.h"
#include "ka/kor/Timer.h"
#include "ka/kor/osdep/CallQPC.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/MakeGUID";

// 100-ns intervals from 1582-10-15 00:00 UTC, the start of the Gregorian calendar and the epoch of
// time-based identifiers, to 1970-01-01 00:00 UTC.
constexpr std::uint64_t kGregorianToUnix = 0x01B21DD213814000ull;
constexpr std::uint64_t kTicksPerSecond = 10000000;
constexpr std::uint64_t kTimeMask = 0x0FFFFFFFFFFFFFFFull;
constexpr std::uint16_t kVersion = 0x1000;
constexpr unsigned char kVariant = 0x80;
constexpr unsigned int kNodeSize = 6;

std::uint64_t SystemTime() {
    timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "gettimeofday");
    }
    return static_cast<std::uint64_t>(now.tv_sec) * kTicksPerSecond +
           static_cast<std::uint64_t>(now.tv_usec) * 10 + kGregorianToUnix;
}

std::uint64_t Counter() {
    return Timer::qpc_.hires(CallQPC::k_FILETIME);
}

unsigned char RandomByte() {
    return static_cast<unsigned char>(std::rand() & 0xFF);
}

// The hardware address of the first interface with a non-zero 6-byte one, loopback excluded.
bool ReadHardwareAddress(unsigned char (&node)[kNodeSize]) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return false;
    }
    bool found = false;
    for (const ifaddrs* i = list; i != nullptr && !found; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_PACKET ||
            (i->ifa_flags & IFF_LOOPBACK) != 0) {
            continue;
        }
        const auto* link = reinterpret_cast<const sockaddr_ll*>(i->ifa_addr);
        if (link->sll_halen != kNodeSize) {
            continue;
        }
        for (unsigned int b = 0; b < kNodeSize; ++b) {
            found = found || link->sll_addr[b] != 0;
        }
        if (found) {
            std::memcpy(node, link->sll_addr, kNodeSize);
        }
    }
    freeifaddrs(list);
    return found;
}

struct Generator {
    CriticalSection lock;
    bool started = false;
    // The process that started the generator; a forked child starts its own.
    pid_t owner = 0;
    // System time minus counter at the first call, both in 100-ns intervals.
    std::uint64_t base = 0;
    GuidClock clock{0};
    unsigned char node[kNodeSize] = {};

    void start() {
        const std::uint64_t counter = Counter();
        base = SystemTime() - counter;
        const unsigned int high = RandomByte();
        const unsigned int low = RandomByte();
        // rand() repeats the same numbers in every process that never seeds it, and processes
        // on one machine share the node, so the process id is mixed in: without it two
        // processes would issue the same identifiers in the same microsecond.
        owner = getpid();
        clock = GuidClock(
            static_cast<std::uint16_t>(((high << 8) | low) ^ static_cast<unsigned int>(owner)));
        if (!ReadHardwareAddress(node)) {
            for (unsigned char& b : node) {
                b = RandomByte();
            }
            // Deliberately the high bit of the first byte, the mark this library has always
            // used for made-up nodes (RFC 4122 would set the least significant bit instead).
            node[0] |= 0x80;
        }
        started = true;
    }
};

Generator& TheGenerator() {
    static Generator generator;
    return generator;
}

}  // namespace

Guid MakeGUID() {
    Generator& g = TheGenerator();
    std::uint64_t time = 0;
    std::uint16_t sequence = 0;
    unsigned char data4[8];
    {
        CriticalSection::Guard guard(g.lock);
        if (!g.started || g.owner != getpid()) {
            g.start();
        }
        while (!g.clock.issue(g.base + Counter(), time, sequence)) {
            sched_yield();
        }
        std::memcpy(data4 + 2, g.node, kNodeSize);
    }
    data4[0] = static_cast<unsigned char>(((sequence >> 8) & 0x3F) | kVariant);
    data4[1] = static_cast<unsigned char>(sequence & 0xFF);
    time &= kTimeMask;
    return Guid(static_cast<std::uint32_t>(time), static_cast<std::uint16_t>(time >> 32),
                static_cast<std::uint16_t>(((time >> 48) & 0x0FFF) | kVersion), data4);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
