/* mtf_roundtrip: move-to-front codes a file in 64 KiB pieces, decodes the result with a fresh
 * state and checks that the file comes back. Prints the share of zero positions, a measure of
 * how much local repetition the coder found. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zebdc.h"

enum { kPiece = 65536 };

static int fail(const char* what, ZebStatus status)
{
    fprintf(stderr, "mtf_roundtrip: %s: %s\n", what, zebdcStatusName(status));
    return 1;
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: mtf_roundtrip FILE\n");
        return 2;
    }
    FILE* file = fopen(argv[1], "rb");
    if (!file) {
        perror(argv[1]);
        return 1;
    }
    ZebMTFState_8u *encoder = NULL, *decoder = NULL;
    ZebStatus status = zebsMTFInitAlloc_8u(&encoder);
    if (status == zebStsOk)
        status = zebsMTFInitAlloc_8u(&decoder);
    if (status != zebStsOk)
        return fail("init", status);

    Zeb8u* original = zebsMalloc_8u(kPiece);
    Zeb8u* coded = zebsMalloc_8u(kPiece);
    Zeb8u* restored = zebsMalloc_8u(kPiece);
    if (!original || !coded || !restored)
        return fail("allocation", zebStsNoMemory);

    unsigned long long total = 0, zeros = 0;
    size_t got;
    while ((got = fread(original, 1, kPiece, file)) > 0) {
        if ((status = zebsMTFFwd_8u(original, coded, (int)got, encoder)) != zebStsOk)
            return fail("forward", status);
        for (size_t i = 0; i < got; ++i)
            zeros += coded[i] == 0;
        if ((status = zebsMTFInv_8u(coded, restored, (int)got, decoder)) != zebStsOk)
            return fail("inverse", status);
        if (memcmp(original, restored, got) != 0) {
            fprintf(stderr, "mtf_roundtrip: mismatch after %llu bytes\n", total);
            return 1;
        }
        total += got;
    }
    fclose(file);
    printf("%s: %llu bytes, %.1f%% zero positions, round trip ok (%s %s)\n", argv[1], total,
           total ? 100.0 * (double)zeros / (double)total : 0.0, zebdcGetLibVersion()->Name,
           zebdcGetLibVersion()->Version);
    zebsFree(original);
    zebsFree(coded);
    zebsFree(restored);
    zebsMTFFree_8u(encoder);
    zebsMTFFree_8u(decoder);
    return 0;
}
