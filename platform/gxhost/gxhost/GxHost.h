/* The host program's side of the host runtime stand-in: creating and waiting on occurrences,
 * saying when a program goes idle, receiving front-panel notifications, making host allocations
 * fail on purpose and reading the runtime's counters. Plain C; every function is thread-safe and
 * none lets a C++ exception escape.
 *
 * The runtime is a shared library, libgxhost.so, that the host program links. The product leaves
 * the functions of gxhost.h undefined and the dynamic linker resolves them from the process's
 * global scope, where a library the executable links stands; one copy of the runtime's state
 * (occurrences, clean-up registrations, listeners, counters) then serves every module.
 *
 * A host program that loads the product:
 *
 *     GxRefnum occ = GxHostNewOccurrence();
 *     ErrorCluster err = {0, 0, (LStrHandle)DSNewHandle(4)};
 *     uint32_t item = ka_tagger_gx_Connect(url, &a, &b, &occ, &err);
 *     if (GxHostWaitOccurrence(occ, 5000) == GX_WAIT_FIRED) { ... ka_tagger_gx_Read ... }
 *     GxHostProgramIdle(GX_PROGRAM_DEFAULT);    (the program ends: its items are disconnected)
 *     GxHostDisposeOccurrence(occ);
 *     DSDisposeHandle((UHandle)err.source);
 *     GxHostShutdown();                          (before the product is unloaded)
 */
#ifndef GXHOST_GXHOST_HOST_H
#define GXHOST_GXHOST_HOST_H

#include "gxhost/gxhost.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Occurrences ----
 * An occurrence is a flag with a refnum: Occur sets it and wakes one waiter, a wait consumes it.
 * Fires that nobody has consumed yet coalesce into one, as a flag cannot count. */

/* A new occurrence, not fired; 0 when memory is short. Refnums are never reused. */
GxRefnum GxHostNewOccurrence(void);
/* Removes the occurrence; waiters on it return GX_WAIT_NO_OCCURRENCE. mgArgErr for an unknown
 * refnum. */
MgErr GxHostDisposeOccurrence(GxRefnum occ);

#define GX_WAIT_FIRED 0
#define GX_WAIT_TIMED_OUT 1
#define GX_WAIT_NO_OCCURRENCE 2
/* Waits until the occurrence is fired and consumes the fire. A fire made before the wait (and not
 * consumed by another waiter) makes it return at once. timeoutMs < 0 waits without limit; 0 only
 * looks. A timed-out wait has waited at least timeoutMs. Returns GX_WAIT_FIRED,
 * GX_WAIT_TIMED_OUT, or GX_WAIT_NO_OCCURRENCE for an unknown or disposed refnum. */
int32_t GxHostWaitOccurrence(GxRefnum occ, int32_t timeoutMs);
/* How many times Occur has fired the occurrence (consumed or not); 0 for an unknown refnum. */
uint32_t GxHostOccurrenceFireCount(GxRefnum occ);

/* ---- Programs and idle clean-up ----
 * A clean-up procedure registered with RTSetCleanupProc belongs to the program that the
 * registering thread runs (GX_PROGRAM_DEFAULT unless the thread said otherwise). */

#define GX_PROGRAM_DEFAULT 0u
#define GX_ALL_PROGRAMS 0xFFFFFFFFu
/* Makes the calling thread run `program` from now on (GX_ALL_PROGRAMS is not a program: ignored).
 */
void GxHostSetCurrentProgram(uint32_t program);
uint32_t GxHostCurrentProgram(void);
/* The program went idle: runs each procedure registered for it (every program's for
 * GX_ALL_PROGRAMS) once, in registration order, and removes it. Procedures run on the calling
 * thread without any lock of the runtime held, so they may register and remove procedures; one
 * removed before its turn does not run, one registered during the run waits for the next idle.
 * Returns the number run. */
int32_t GxHostProgramIdle(uint32_t program);
/* Procedures registered and not yet run, for one program or GX_ALL_PROGRAMS. */
int32_t GxHostPendingCleanups(uint32_t program);
/* The host is unloading: runs every remaining procedure as GxHostProgramIdle(GX_ALL_PROGRAMS)
 * does. Call it before the product is unloaded; whatever is registered when libgxhost.so itself
 * is unloaded runs then, which is too late for a product already gone. Returns the number run. */
int32_t GxHostShutdown(void);

/* ---- Front-panel notifications ----
 * OnPSPDataUpdate, OnPSPQualityUpdate and OnPSPStatusUpdate reach the listener registered for
 * their context, else the catch-all listener, else they are counted and dropped. A listener's
 * functions run on the thread that called the notification (for the product: a thread of the
 * real-time provider), without any lock of the runtime held; a null function drops that kind. */

typedef struct {
    void (*data)(void* user, uint32_t context, const unsigned char* begin,
                 const unsigned char* end);
    void (*quality)(void* user, uint32_t context, uint32_t quality);
    void (*status)(void* user, uint32_t context, int32_t state, int32_t code, int32_t detail);
    void* user;
} GxPSPListener;

/* Sets (a copy of *listener) or, for null, removes the listener of `context`. When it returns, no
 * call to the listener it replaced is running or will start, except on the calling thread itself
 * (a listener may replace itself). mFullErr when memory is short. */
MgErr GxHostSetPSPListener(uint32_t context, const GxPSPListener* listener);
/* The same for the listener of every context that has none of its own. */
MgErr GxHostSetPSPCatchAllListener(const GxPSPListener* listener);
/* Notifications that found no listener (or no function of their kind) since the library loaded.
 */
uint32_t GxHostDroppedPSPNotifications(void);

/* ---- Memory ----
 * Counted allocations are the calls of gxhost.h that obtain memory: DSNewHandle, DSSetHandleSize
 * (whatever the new size), DSNewPtr, NumericArrayResize, GGetOneErrorCode, KORFlexToGxVar and
 * GxVarToKORFlex. Each counts once per call. The host program's own calls (this header and
 * GxVariant.h) are not counted and never fail on purpose, so a test arms a failure, calls the
 * product, and only the product's requests are hit. */

/* Makes the next `count` counted allocations fail (0 cancels); replaces an earlier count. */
void GxHostFailNextAllocations(int32_t count);
/* Makes the nth counted allocation from now fail (1: the next), once; 0 cancels. */
void GxHostFailAllocationAt(int32_t nth);
/* Cancels both. */
void GxHostClearAllocationFailures(void);
/* Counted allocations since the library loaded, failed ones included. */
uint32_t GxHostAllocationCount(void);
/* Allocations failed on purpose since the library loaded. */
uint32_t GxHostInjectedFailureCount(void);
/* Handles and pointers made by the runtime and not yet disposed of. */
int32_t GxHostLiveBlocks(void);
/* Variants made (GxVarNew, KORFlexToGxVar) and not yet disposed of. */
int32_t GxHostLiveVariants(void);

/* A new string handle holding `length` bytes of `bytes` (a zero-terminated text for length < 0);
 * null when memory is short. Freed with DSDisposeHandle. */
LStrHandle GxHostNewLStr(const char* bytes, int32_t length);

/* ---- Error texts ---- */

/* The static text GGetOneErrorCode gives for `code`, or null when the runtime knows none. */
const char* GxHostErrorText(int32_t code);

#ifdef __cplusplus
}
#endif

#endif /* GXHOST_GXHOST_HOST_H */
