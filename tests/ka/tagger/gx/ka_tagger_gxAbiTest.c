/* A host program written in C against the plain C header of the library: it must compile as C,
 * link against libka_tagger_gx.so and the host runtime, and run. Exit status 0 when every check
 * holds; otherwise the number of the first check that failed. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "gxhost/GxHost.h"
#include "gxhost/gxhost.h"
#include "ka/tagger/gx/ka_tagger_gx.h"

/* The widths the host's own declarations use on the 32-bit build. */
typedef char check_refnum[sizeof(ka_tagger_gx_Refnum) == 4 ? 1 : -1];
typedef char check_time[sizeof(ka_tagger_gx_TimeStamp) == 16 ? 1 : -1];
typedef char check_time_align[offsetof(ka_tagger_gx_TimeStamp, words[3]) == 12 ? 1 : -1];

int main(void) {
    ErrorCluster error;
    GxBoolean no = 0;
    GxRefnum none = 0;
    uint32_t refnum;
    uint32_t quality = 0;
    ka_tagger_gx_TimeStamp time;
    GxVariant* value = NULL;

    error.status = 0;
    error.code = 0;
    error.source = GxHostNewLStr("", 0);
    ka_tagger_gx_Startup();

    /* A URL without a path is refused with the generic failure, named after Connect. */
    refnum = ka_tagger_gx_Connect("\\\\.\\abi", &no, &no, &none, &error);
    if (refnum != 0 || error.status == 0 || (uint32_t)error.code != 0x80004005u ||
        (*error.source)->cnt != 20) {
        return 1;
    }

    /* An item nobody publishes: connecting works, reading reports an error, disconnecting too. */
    error.status = 0;
    refnum = ka_tagger_gx_ConnectBuffered("\\\\.\\abi\\nothing", &no, &no, -1, 1, &no, &none,
                                          &error);
    if (refnum == 0 || error.status != 0) {
        return 2;
    }
    ka_tagger_gx_Read(0, &value, &quality, &time, &error);
    if (error.status == 0 || (uint32_t)error.code != 0x8ABC701Du || value != NULL) {
        return 3;
    }
    error.status = 0;
    if (ka_tagger_gx_IsSubscriptionGood(refnum, &error) != 0 && error.status != 0) {
        return 4;
    }
    ka_tagger_gx_Disconnect(refnum, &error);
    if (error.status != 0) {
        return 5;
    }
    if (ka_tagger_gx_fpb_Disconnect(refnum) != (int32_t)0x80004005u) {
        return 6;
    }
    ka_tagger_gx_Cleanup();
    GxHostShutdown();
    DSDisposeHandle((UHandle)error.source);
    printf("C host program: all checks passed\n");
    return 0;
}
