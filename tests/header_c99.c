/* Compiled as C99 with -Wall -Wextra -pedantic -Werror: the public header is clean C, and a C
 * caller links and calls the library. Exit status 0 means every check held. */
#include <stdio.h>
#include <string.h>

#include "zebdc.h"

static int failures;

static void check(int ok, const char* what)
{
    if (!ok) {
        printf("FAILED: %s\n", what);
        ++failures;
    }
}

int main(void)
{
    const ZebLibraryVersion* version = zebdcGetLibVersion();
    Zeb8u* block;

    check(sizeof(ZebLZ77Pair) == 4, "ZebLZ77Pair is 4 bytes");
    check(sizeof(ZebVLCCodeEntry) == 12, "ZebVLCCodeEntry is 12 bytes");
    check(sizeof(ZebStatus) == 4 && sizeof(ZebLZ77Flush) == 4, "enumerations are 32-bit");
    check(version->major == 5 && strcmp(version->Name, "libzebdca6.so.5.2") == 0, "version");

    block = zebsMalloc_8u(100);
    check(block != NULL && ((size_t)block & 31) == 0, "zebsMalloc_8u aligns to 32");
    zebsFree(block);
    check(strcmp(zebdcStatusName(zebStsDstFull), "zebStsDstFull") == 0, "status names");
    return failures != 0;
}
