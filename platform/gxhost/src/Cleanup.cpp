// Idle clean-up: procedures registered with RTSetCleanupProc, run once when their program goes
// idle or when the runtime shuts down.

#include <cstdint>
#include <list>
#include <mutex>

#include "gxhost/GxHost.h"

namespace {

// The registration modes the product uses.
constexpr int32_t kRemove = 0;
constexpr int32_t kOnIdle = 2;

struct Registration {
    CleanupProcPtr proc;
    void* data;
    std::uint32_t program;
    std::uint64_t sequence;  // registration order; an idle run takes only those older than itself
};

struct Registry {
    std::mutex lock;
    std::list<Registration> registrations;
    std::uint64_t next = 0;
};

// Never destroyed: the library's destructor below still needs it.
Registry& Registrations() {
    static Registry* r = new Registry;
    return *r;
}

thread_local std::uint32_t t_program = GX_PROGRAM_DEFAULT;

bool Matches(const Registration& r, std::uint32_t program) {
    return program == GX_ALL_PROGRAMS || r.program == program;
}

// Runs the matching procedures one at a time, each taken out of the list under the lock and
// called outside it: a procedure may then register and remove procedures (its own registration
// included) without deadlock, and one that another removed before its turn no longer runs.
int32_t RunIdle(std::uint32_t program) {
    Registry& r = Registrations();
    std::uint64_t limit;
    {
        std::lock_guard<std::mutex> hold(r.lock);
        limit = r.next;
    }
    int32_t run = 0;
    for (;;) {
        Registration taken;
        {
            std::lock_guard<std::mutex> hold(r.lock);
            auto it = r.registrations.begin();
            while (it != r.registrations.end() &&
                   !(Matches(*it, program) && it->sequence < limit)) {
                ++it;
            }
            if (it == r.registrations.end()) {
                return run;
            }
            taken = *it;
            r.registrations.erase(it);
        }
        try {
            taken.proc(taken.data);
        } catch (...) {
            // A procedure of a C interface has no business throwing; the others still run.
        }
        ++run;
    }
}

// Whatever is still registered when the runtime itself unloads runs now: the host's promise that
// every registered procedure runs once. Host programs call GxHostShutdown before the product goes.
__attribute__((destructor)) void RunRemainingAtUnload() {
    try {
        RunIdle(GX_ALL_PROGRAMS);
    } catch (...) {
    }
}

}  // namespace

extern "C" {

MgErr RTSetCleanupProc(CleanupProcPtr proc, void* data, int32_t mode) {
    if (proc == nullptr || (mode != kRemove && mode != kOnIdle)) {
        return mgArgErr;
    }
    try {
        Registry& r = Registrations();
        std::lock_guard<std::mutex> hold(r.lock);
        if (mode == kRemove) {
            // Removing what is not registered (already run, or never) is not an error: a
            // procedure commonly removes its own registration while it runs.
            r.registrations.remove_if(
                [&](const Registration& x) { return x.proc == proc && x.data == data; });
            return mgNoErr;
        }
        for (const Registration& x : r.registrations) {
            if (x.proc == proc && x.data == data) {
                return mgNoErr;  // one registration per procedure and data: it runs once
            }
        }
        r.registrations.push_back(Registration{proc, data, t_program, r.next++});
        return mgNoErr;
    } catch (...) {
        return mFullErr;
    }
}

void GxHostSetCurrentProgram(uint32_t program) {
    if (program != GX_ALL_PROGRAMS) {
        t_program = program;
    }
}

uint32_t GxHostCurrentProgram(void) {
    return t_program;
}

int32_t GxHostProgramIdle(uint32_t program) {
    try {
        return RunIdle(program);
    } catch (...) {
        return 0;
    }
}

int32_t GxHostPendingCleanups(uint32_t program) {
    try {
        Registry& r = Registrations();
        std::lock_guard<std::mutex> hold(r.lock);
        int32_t n = 0;
        for (const Registration& x : r.registrations) {
            n += Matches(x, program) ? 1 : 0;
        }
        return n;
    } catch (...) {
        return 0;
    }
}

int32_t GxHostShutdown(void) {
    return GxHostProgramIdle(GX_ALL_PROGRAMS);
}

}  // extern "C"
