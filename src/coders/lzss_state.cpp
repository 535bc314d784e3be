// LZSS: the size of a state and its release, common to the encoder and the decoder.
#include "coders/coders_internal.h"

extern "C" ZEBAPI ZebStatus zebsLZSSGetSize_8u(Zeb32s* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = kLZSSStateSize;
    return zebStsOk;
}

extern "C" ZEBAPI void zebsLZSSFree_8u(ZebLZSSState* pState)
{
    zebsFree(pState);
}
