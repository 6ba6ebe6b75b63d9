/* The host runtime functions that the product resolves from the process that loads it: memory
 * handles, occurrences, idle clean-up, error texts, variant conversion and front-panel
 * notifications. libgxhost.so provides them for our host programs (tests, katag); a host program
 * links it, loads the product and drives it as the real host would. Plain C, fixed widths.
 * No function lets a C++ exception escape. */
#ifndef GXHOST_GXHOST_H
#define GXHOST_GXHOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t MgErr;       /* host status: 0 success, else a host error code */
typedef uint8_t GxBoolean;   /* 0 false, nonzero true */
typedef uint32_t GxRefnum;   /* occurrence refnum; 0 names none */

/* Host error codes the runtime itself returns. */
#define mgNoErr 0
#define mgArgErr 1         /* an argument is not valid (also: malformed packet) */
#define mFullErr 2         /* memory is full */
#define mgNotSupported 53  /* not supported for this type */

/* A host string: signed 32-bit byte count, then the bytes, no terminator. */
typedef struct {
    int32_t cnt;
    unsigned char str[1];
} LStr, *LStrPtr, **LStrHandle;

/* Any relocatable block: a pointer to the pointer to its bytes. */
typedef void** UHandle;

/* The host's error cluster: status (nonzero: an error occurred), code, source text. */
typedef struct {
    GxBoolean status;
    int32_t code;
    LStrHandle source;
} ErrorCluster;

/* The host's value type (opaque; see gxhost/GxVariant.h for the host program's side). */
typedef struct GxVariant GxVariant;

/* ---- Memory ---- */

/* A new handle of `size` bytes (zeroed), or null when memory is short. */
UHandle DSNewHandle(int32_t size);
/* Resizes `h` to `size` bytes keeping the leading bytes: mgNoErr, mgArgErr for a null handle
 * or negative size, mFullErr when memory is short (h unchanged). */
MgErr DSSetHandleSize(UHandle h, int32_t size);
/* Frees a handle from DSNewHandle, DSSetHandleSize or NumericArrayResize; null is ignored. */
MgErr DSDisposeHandle(UHandle h);
/* A new block of `size` bytes, or null; DSDisposePtr frees it (null is ignored). */
void* DSNewPtr(int32_t size);
MgErr DSDisposePtr(void* p);
/* Makes *h a one-dimensional array of `count` elements of `typeCode` (5: unsigned bytes) after
 * its 32-bit count: creates the handle when *h is null, else resizes it. The count field is not
 * changed. mgArgErr for other type codes or dimensions, mFullErr when memory is short. */
MgErr NumericArrayResize(int32_t typeCode, int32_t numDims, UHandle* h, int32_t count);

/* ---- Occurrences ---- */

/* Fires occurrence `occ`: a waiter wakes, or the next wait returns at once. mgArgErr for an
 * unknown refnum. */
MgErr Occur(GxRefnum occ);

/* ---- Idle clean-up ---- */

typedef MgErr (*CleanupProcPtr)(void* data);
/* mode 2: call proc(data) once when the calling program goes idle (or at exit); mode 0: remove
 * the registration of proc for data. mgArgErr for other modes or a null proc. */
MgErr RTSetCleanupProc(CleanupProcPtr proc, void* data, int32_t mode);

/* ---- Error texts ---- */

/* True with *text a new handle holding the text of `code`, for every code the host knows (the
 * library's own codes and the common host codes); false, *text untouched, otherwise. The caller
 * disposes of the handle with DSDisposeHandle. */
GxBoolean GGetOneErrorCode(int32_t code, LStrHandle* text);

/* ---- Variants ---- */

/* Builds the variant for the flex packet [packet, packet + size) into *var, creating it when *var
 * is null and replacing its value otherwise. mgArgErr (and *var unchanged) for a malformed
 * packet, mFullErr when memory is short. */
MgErr KORFlexToGxVar(const unsigned char* packet, int32_t size, GxVariant** var);
/* Writes the flex packet of `var` into a new block (*buffer, freed with DSDisposePtr) of
 * *length bytes. mgArgErr for a null variant; on failure *buffer is null. */
MgErr GxVarToKORFlex(const GxVariant* var, unsigned char** buffer, int32_t* length);

/* ---- Front-panel notifications ---- */

/* A new value for binding `context`, as the flex packet [begin, end). */
void OnPSPDataUpdate(uint32_t context, const unsigned char* begin, const unsigned char* end);
/* A new quality word for binding `context`. */
void OnPSPQualityUpdate(uint32_t context, uint32_t quality);
/* A new connection state of binding `context`: state (1 connecting, 2 connected, 4 error,
 * 5 created), code (0 or a host error code) and a detail value. */
void OnPSPStatusUpdate(uint32_t context, int32_t state, int32_t code, int32_t detail);

#ifdef __cplusplus
}
#endif

#endif /* GXHOST_GXHOST_H */
