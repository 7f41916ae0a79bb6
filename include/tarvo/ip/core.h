// Library entry of the image layer.
#pragma once

#include "tarvo/export.h"

namespace tarvo {

// Name, copyright line and version of the library, filled by GettarvoIPInfo.
struct tagLibraryInfo {
    char szName[64];
    char szCopyright[64];
    int nMajor;
    int nMinor;
    int nPatch;
};

}  // namespace tarvo

// Writes "tarvoip 2.2" (with its terminator) into the name, the copyright line
// into the copyright field and 2, 2, 2 into the version. The rest of the two
// character fields is left as it was. A null pointer is ignored.
TARVO_EXPORTS void GettarvoIPInfo(tarvo::tagLibraryInfo* info);
