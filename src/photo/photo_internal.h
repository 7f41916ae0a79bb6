// Pieces shared by the photo operators: the common start of process and the
// byte table lookup over whole rows.
#pragma once

#include <cstdint>

#include "photo/color_internal.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// The start most photo operators share: a destination that does not fit src
// (size, depth or channel count; the channel count matters because rows are
// written by src's layout) is re-created and cleared. Returns the matrix to
// write (dst, or src when dst is null), or null when src is null or empty or
// the destination cannot be made.
inline Mat* photoPrepare(Mat* src, Mat* dst) {
    if (!src || src->empty() || src->rows() <= 0 || src->cols() <= 0) return nullptr;
    if (dst && dst != src && (!isSameShape(src, dst) || dst->channels() != src->channels())) {
        dst->release();
        if (dst->create(*src, false) < 0) return nullptr;
        dst->zero();
    }
    return dst ? dst : src;
}

// The form of a byte table the vector lookup reads (256 bytes).
void photoLutChain(const uint8_t* lut, uint8_t* chain);
// dst[i] = lut[src[i]] for a prefix of the n bytes (vector code), with chain =
// photoLutChain(lut); returns how many were done. src and dst may be the same
// row.
int photoLutU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* chain);

// dst = lut[src] over every byte of src's rows (cols * channels), rows in
// parallel. dst must have src's rows and row length; it may be src.
void photoLutRows(const Mat& src, Mat& dst, const unsigned char lut[256]);

// As photoLutRows on the first min(3, channels) bytes of each pixel; further
// channels are copied from src.
void photoLutRowsRGB(const Mat& src, Mat& dst, const unsigned char lut[256]);

// Float images: dst = float(lut[clamp(trunc(src), 0, 255)]) with NaN as 0, over
// cols * channels elements of each row, rows in parallel.
void photoLutRowsF32(const Mat& src, Mat& dst, const unsigned char lut[256]);

// Vector pieces of the outline image (each does a prefix and returns where it
// stopped; the caller finishes with its scalar loop):
// plane[x] = src[x * cn] for cn 2 to 4 (cn 1 is a plain copy);
int photoFirstBytes(const uint8_t* src, int cn, uint8_t* plane, int n);
// out[x], x from 1 on, = the outline value of c[x] against a[x], b[x], c[x - 1]
// and c[x + 1] (n columns); returns the first column not done;
int photoEdgeValues(const uint8_t* a, const uint8_t* c, const uint8_t* b, int n, float gain,
                    uint8_t* out);
// the first min(3, cn) bytes of dst pixel x = val[x], the others copied from
// src pixel x, for cn 2 to 4.
int photoSpreadValues(const uint8_t* val, const uint8_t* src, uint8_t* dst, int n, int cn);

}  // namespace detail
}  // namespace tarvo
