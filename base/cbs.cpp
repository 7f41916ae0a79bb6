// Double-byte string helpers.
#include "tarvo/cbs.h"

#include <cstring>

namespace tarvo {

const unsigned char* cbsinc(const unsigned char* s) {
    if (!s || !*s) return s;
    if (*s > 128 && s[1]) return s + 2;
    return s + 1;
}

const unsigned char* cbschr(const unsigned char* s, int c) {
    if (!s) return nullptr;
    while (*s) {
        if (*s > 127 && s[1]) {
            if (c == (s[0] << 8 | s[1])) return s;
            s += 2;
        } else {
            if (c == *s) return s;
            s++;
        }
    }
    return nullptr;
}

const unsigned char* cbsstr(const unsigned char* s, const unsigned char* sub) {
    if (!s || !sub || !*s || !*sub) return nullptr;
    size_t n = std::strlen(reinterpret_cast<const char*>(sub));
    for (const unsigned char* p = s; *p; p = cbsinc(p))
        if (std::strncmp(reinterpret_cast<const char*>(p), reinterpret_cast<const char*>(sub), n) ==
            0)
            return p;
    return nullptr;
}

}  // namespace tarvo
