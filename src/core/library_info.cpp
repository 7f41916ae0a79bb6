// Library name and version.
#include <cstring>

#include "tarvo/ip/core.h"

void GettarvoIPInfo(tarvo::tagLibraryInfo* info) {
    if (!info) return;
    static const char kName[] = "tarvoip 2.2";
    static const char kCopyright[] = "Copyright (c) 2026 the tarvoip developers";
    std::memcpy(info->szName, kName, sizeof(kName));
    std::memcpy(info->szCopyright, kCopyright, sizeof(kCopyright));
    info->nMajor = 2;
    info->nMinor = 2;
    info->nPatch = 2;
}
