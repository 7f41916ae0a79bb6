// tarvo: the command-line door to the library.
#include <cstdio>
#include <cstring>

#include "tarvo/ip/core.h"

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "info") == 0) {
        tarvo::tagLibraryInfo info;
        GettarvoIPInfo(&info);
        std::printf("%s (%d.%d.%d)\n", info.szName, info.nMajor, info.nMinor, info.nPatch);
        return 0;
    }
    std::fprintf(stderr, "usage: tarvo info\n");
    return 2;
}
