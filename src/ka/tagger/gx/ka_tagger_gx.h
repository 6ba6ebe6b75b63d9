/* The functions libka_tagger_gx.so exports to its host: connect to live data items by URL, read
 * their value, quality and time stamp, write values, ask whether a subscription is alive, and
 * bind the controls of a front panel to items. Plain C (C89 and later, C++), fixed widths; the
 * host's own types come from gxhost/gxhost.h.
 *
 * Every function may be called from any host thread at any time; none lets an exception escape.
 * Functions with an error cluster report failures there (status nonzero, a host error code, and
 * the function's name as source text); a quality that is only a warning is reported with status 0
 * and a code. Most of them do nothing when the cluster already holds an error on entry. The
 * front-panel functions (fpb_) return a host error code instead (0 for success). */
#ifndef KA_TAGGER_GX_KA_TAGGER_GX_H
#define KA_TAGGER_GX_KA_TAGGER_GX_H

#include <stdint.h>

#include "gxhost/gxhost.h"

/* C++ callers learn that nothing is thrown. */
#ifdef __cplusplus
#define KA_TAGGER_GX_NOTHROW noexcept
#else
#define KA_TAGGER_GX_NOTHROW
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* An item held by the host: 0 names none. */
typedef uint32_t ka_tagger_gx_Refnum;

/* A time stamp: signed 64.64 fixed-point seconds since 1904-01-01 00:00:00 UTC, as four 32-bit
 * words, least significant first (fraction low, fraction high, seconds low, seconds high; the
 * seconds two's complement). words = {0, 0, 0, 0x80000000} (the smallest value) means that there
 * is no time stamp. 16 bytes, 4-byte aligned, on every build. */
typedef struct ka_tagger_gx_TimeStamp {
    uint32_t words[4];
} ka_tagger_gx_TimeStamp;

/* What a front-panel binding asks of its item (the real-time provider's ITEMSTATE record, see
 * vesta/VestaRealTime.h): the host fills it, the library passes it to the provider. */
struct ITEMSTATE;

/* ---- Process ---- */

/* Counts one start-up of a host program that uses the library (creating the library's
 * configuration cache on the first). The result has no meaning. */
int32_t ka_tagger_gx_Startup(void) KA_TAGGER_GX_NOTHROW;

/* Undoes one start-up. When the count reaches exactly 0 every item still connected is
 * disconnected and the library's client is destroyed; refnums handed out before are then invalid.
 * Deliberately, a clean-up without a start-up drives the count below 0 and destroys nothing, and
 * the start-up that follows only brings it back to 0. The result has no meaning.
 * Calling any other function creates the client again, with or without a start-up. */
int32_t ka_tagger_gx_Cleanup(void) KA_TAGGER_GX_NOTHROW;

/* ---- Items ---- */

/* Subscribes to the item at url and returns its refnum (0 on failure or incoming error).
 * url: item URL text in the host's 8-bit character set: \\machine\process\path, \\.\process\path
 *      (this computer), \path or path (the process "System" on this computer).
 * firstFlag: true asks the provider for access flags 0x47 instead of 0x45.
 * writeFlag: true adds the flag 0x08 (write wanted).
 * occurrence: when *occurrence is not 0, that host occurrence is fired each time the item's
 *      attributes arrive (on a provider thread), so a waiting program wakes when the subscription
 *      is established.
 * The item is disconnected when the calling program goes idle, if not before.
 * Errors: code 0x80004005, source "ka_tagger_gx_Connect" (bad URL, provider failure, ...). */
ka_tagger_gx_Refnum ka_tagger_gx_Connect(const char* url, GxBoolean* firstFlag,
                                         GxBoolean* writeFlag, GxRefnum* occurrence,
                                         ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* As ka_tagger_gx_Connect, with the provider's buffering settings: bufferSize and updateRate are
 * passed on as they are (ka_tagger_gx_Connect uses -1 and 1), and *buffered (ka_tagger_gx_Connect:
 * true). Deliberately, errors name the source "ka_tagger_gx_Connect". */
ka_tagger_gx_Refnum ka_tagger_gx_ConnectBuffered(const char* url, GxBoolean* firstFlag,
                                                 GxBoolean* writeFlag, int32_t bufferSize,
                                                 int32_t updateRate, GxBoolean* buffered,
                                                 GxRefnum* occurrence,
                                                 ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* Ends the subscription of refnum; runs even when the cluster holds an error on entry.
 * Errors (null or unknown refnum): code 0x80004005, source "ka_tagger_gx_Disconnect". */
void ka_tagger_gx_Disconnect(ka_tagger_gx_Refnum refnum, ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* Reads the item's latest value into *value (creating the variant when *value is null), its
 * quality word into *quality and its time stamp into *time (the smallest value when the
 * provider has none). A quality that is not good delivers quality and time but leaves *value
 * unchanged: conditions that are only warnings (stale, no known value, ...) are reported with
 * status 0, others as errors, each with its quality code (0x8BBB00nn). Other errors keep their
 * own codes: 0x8ABC701D for a null refnum, 0x8ABC701C for an unknown one. Source
 * "ka_tagger_gx_Read". */
void ka_tagger_gx_Read(ka_tagger_gx_Refnum refnum, GxVariant** value, uint32_t* quality,
                       ka_tagger_gx_TimeStamp* time, ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* Sends *value to the item. A variant the host cannot convert is reported with the host's own
 * code; a quality that is not good after the write is reported as for Read (a missing value only
 * is not reported); other errors as 0x80004005. Source "ka_tagger_gx_Write". */
void ka_tagger_gx_Write(ka_tagger_gx_Refnum refnum, GxVariant** value,
                        ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* True once the item's attributes have arrived. False on error (0x80004005, source
 * "ka_tagger_gx_IsSubscriptionGood") or incoming error. */
GxBoolean ka_tagger_gx_IsSubscriptionGood(ka_tagger_gx_Refnum refnum,
                                          ErrorCluster* error) KA_TAGGER_GX_NOTHROW;

/* ---- Front-panel binding ----
 * Values, qualities and connection states of a bound item reach the host through
 * OnPSPDataUpdate, OnPSPQualityUpdate and OnPSPStatusUpdate, with the binding's context, on
 * provider threads. Each function returns 0, or 0x80004005 when it fails. */

/* As ka_tagger_gx_Startup. */
int32_t ka_tagger_gx_fpb_Initialize(void) KA_TAGGER_GX_NOTHROW;

/* Binds context to the item at the URL held in url (host text). state: the access wanted (read
 * only unless bit 0x1 of its mask is set) and the provider's settings. On success *refnum
 * receives the refnum; on failure it is left unchanged. The binding is not ended by idle
 * clean-up: the host disconnects it. */
int32_t ka_tagger_gx_fpb_Connect(LStrHandle url, uint32_t context, struct ITEMSTATE* state,
                                 ka_tagger_gx_Refnum* refnum) KA_TAGGER_GX_NOTHROW;

/* Sends the value in the flex packet [begin, end) to the item of refnum. */
int32_t ka_tagger_gx_fpb_Write(ka_tagger_gx_Refnum refnum, const unsigned char* begin,
                               const unsigned char* end) KA_TAGGER_GX_NOTHROW;

/* Ends the binding of refnum. */
int32_t ka_tagger_gx_fpb_Disconnect(ka_tagger_gx_Refnum refnum) KA_TAGGER_GX_NOTHROW;

/* As ka_tagger_gx_Cleanup. */
int32_t ka_tagger_gx_fpb_Finalize(void) KA_TAGGER_GX_NOTHROW;

#ifdef __cplusplus
}
#endif

#endif /* KA_TAGGER_GX_KA_TAGGER_GX_H */
