// Helpers for double-byte character strings: a lead byte above the
// single-byte range starts a two-byte character.
#pragma once

#include "tarvo/export.h"

namespace tarvo {

// The next character: two bytes on when the lead byte exceeds 128, else one.
// At the terminator it stays put.
TARVO_BASE_EXPORTS const unsigned char* cbsinc(const unsigned char* s);
// First occurrence of character c, null when absent. A byte above 127 is the
// lead of a two-byte value lead * 256 + trail (note the one-value difference
// from cbsinc's test at byte 128). Null s gives null.
TARVO_BASE_EXPORTS const unsigned char* cbschr(const unsigned char* s, int c);
// First occurrence of sub in s, stepping whole characters; null for a null or
// empty argument.
TARVO_BASE_EXPORTS const unsigned char* cbsstr(const unsigned char* s, const unsigned char* sub);

}  // namespace tarvo
