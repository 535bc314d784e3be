// Aligned allocation through the replaceable hooks.
//
// Block layout: the hook is asked for len + 36 bytes at R; the caller gets P = (R + 35) rounded
// down to 32, so R + 4 <= P <= R + 35 and the 32-bit word at P - 4 and all len bytes after P lie
// inside the block. That word lets zebsFree hand the hook exactly R: on i386 it is R itself; a
// 64-bit address does not fit, so there it is the distance P - R (4..35).
#include "core/zeb_common.h"

#include <stdlib.h>

extern "C" {
ZEB_EXPORT_DATA void* (*i_malloc)(size_t) = malloc;
ZEB_EXPORT_DATA void* (*i_calloc)(size_t, size_t) = calloc;
ZEB_EXPORT_DATA void* (*i_realloc)(void*, size_t) = realloc;
ZEB_EXPORT_DATA void (*i_free)(void*) = free;
}

enum { kAlignment = 32, kOverhead = kAlignment + 4 };

extern "C" ZEBAPI Zeb8u* zebsMalloc_8u(int len)
{
    if (len < 1)
        return nullptr;
    uintptr_t raw = (uintptr_t)i_malloc((size_t)len + kOverhead);
    if (raw == 0)
        return nullptr;
    uintptr_t aligned = (raw + kOverhead - 1) & ~(uintptr_t)(kAlignment - 1);
#if UINTPTR_MAX == 0xFFFFFFFFu
    uint32_t link = (uint32_t)raw;
#else
    uint32_t link = (uint32_t)(aligned - raw);
#endif
    zeb_store32((void*)(aligned - 4), link);
    return (Zeb8u*)aligned;
}

extern "C" ZEBAPI void zebsFree(void* ptr)
{
    if (ptr == nullptr)
        return;
    uintptr_t aligned = (uintptr_t)ptr;
    uint32_t link = zeb_load32((const void*)(aligned - 4));
#if UINTPTR_MAX == 0xFFFFFFFFu
    i_free((void*)(uintptr_t)link);
#else
    i_free((void*)(aligned - link));
#endif
}
