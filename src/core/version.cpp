// The version record and the two version integers exported beside the allocator hooks.
#include "core/zeb_common.h"

extern "C" {
ZEB_EXPORT_DATA int i_version = 1;
ZEB_EXPORT_DATA int i_min_version = 0;
}

static const ZebLibraryVersion kLibraryVersion = {
    5, 2, 108, 321, {'a', '6', '\0', '\0'}, "libzebdca6.so.5.2", "5.2", "Jul 11 2007",
};

extern "C" ZEBAPI const ZebLibraryVersion* zebdcGetLibVersion(void)
{
    return &kLibraryVersion;
}
