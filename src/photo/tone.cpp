// Tone operators on value tables: exposure, light, level and shadows, with
// their free functions. Every byte mapping here depends on the value alone,
// so each process builds one 256-entry table with the per-value formula and
// runs it over the rows (see tone_lut.cpp).
#include <new>

#include "photo/histogram_ops_internal.h"
#include "photo/photo_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

bool usable(const Mat* src) {
    return src && !src->empty() && src->rows() > 0 && src->cols() > 0;
}

unsigned char clampByte(long long v) {
    return (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
}

// table[i] = clamp(trunc((i - 128) * slope + offset), 0, 255) in single precision.
// The sums are formed in 64 bits so that extreme parameters cannot overflow.
void slopeTable(long long slopeNum, long long offset, unsigned char lut[256]) {
    const float slope = float(slopeNum) / 100.0f;
    const float off = float(offset);
    for (int i = 0; i < 256; i++) lut[i] = clampByte(truncInt(float(i - 128) * slope + off));
}

// Byte or float images through a table.
void applyTable(const Mat& src, Mat& dst, const unsigned char lut[256]) {
    if (src.type() == MAT_Tuchar)
        detail::photoLutRows(src, dst, lut);
    else
        detail::photoLutRowsF32(src, dst, lut);
}

bool tableDepth(const Mat* src) {
    return src->type() == MAT_Tuchar || src->type() == MAT_Tfloat;
}

}  // namespace

// ---------------------------------------------------------------- exposure

PumpABC* ipExposure::clone() const {
    return new (std::nothrow) ipExposure(amount);
}

bool ipExposure::process(Mat* src, Mat* dst) {
    if (!usable(src) || !tableDepth(src)) return false;
    unsigned char lut[256];
    slopeTable((long long)amount + 100, (long long)amount + 128, lut);
    Mat* target = dst ? dst : src;
    if (target != src && (!isSameShape(src, target) || target->channels() != src->channels())) {
        // A destination that does not fit starts as a copy of the source.
        target->release();
        if (target->create(*src, true) < 0) return false;
    }
    applyTable(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- light

PumpABC* ipLight::clone() const {
    ipLight* c = new (std::nothrow) ipLight();
    if (c) {
        c->brightness = brightness;
        c->contrast = contrast;
    }
    return c;
}

bool ipLight::process(Mat* src, Mat* dst) {
    if (!usable(src) || !tableDepth(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    unsigned char lut[256];
    slopeTable((long long)contrast + 100, brightness, lut);
    applyTable(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- level

PumpABC* ipLevel::clone() const {
    return new (std::nothrow) ipLevel(low, high, mode);
}

namespace {

// The two passes of mode 2 composed into one table: the shadows are lifted by
// low, then the highlights pulled by 255 - high. Each pass stores a byte, so
// its result is clamped to 0..255 before the next.
void levelTable(int low, int high, unsigned char lut[256]) {
    const double k = 255.0 / (low + 0.0001);
    const long long w = 255LL - high;
    const double k2 = 255.0 / (double(w) + 0.0001);
    for (int p = 0; p < 256; p++) {
        const unsigned char a = clampByte(p - ((long long)low - truncInt(p / k)) * 3);
        lut[p] = clampByte(a + (w - truncInt((255 - a) / k2)) * 3);
    }
}

}  // namespace

bool ipLevel::process(Mat* src, Mat* dst) {
    if (!usable(src) || src->type() != MAT_Tuchar) return false;
    if (mode == 2) {
        if (dst && !isSameShape(src, dst)) return false;
        Mat* target = dst ? dst : src;
        if (target != src && target->create(src->rows(), src->cols(), src->type1()) < 0)
            return false;
        unsigned char lut[256];
        levelTable(low, high, lut);
        detail::photoLutRowsRGB(*src, *target, lut);
        return true;
    }
    if (mode != 1) return false;
    const int cn = src->channels();
    if (cn != 1 && cn != 3) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target || low == high) return false;
    double lo, hi;
    if (cn == 1 && detail::useOptimized()) {
        // The byte minimum and maximum, in a loop the compiler vectorises.
        unsigned char bmin = 255, bmax = 0;
        for (int y = 0; y < src->rows(); y++) {
            const unsigned char* s = src->data.ptr[y];
            for (int x = 0; x < src->cols(); x++) {
                bmin = s[x] < bmin ? s[x] : bmin;
                bmax = s[x] > bmax ? s[x] : bmax;
            }
        }
        lo = bmin;
        hi = bmax;
    } else if (cn == 1) {
        lo = src->min(0);
        hi = src->max(0);
    } else {
        detail::LumaStats st;
        detail::histLumaStats(*src, false, st);
        lo = st.minY;
        hi = st.maxY;
    }
    if (hi == lo) return false;
    // (Y - lo) * (high - low) / (hi - lo) + low, the multiplication first.
    const double span = double(high) - double(low), range = hi - lo, base = double(low);
    if (cn == 1) {
        // A grey pixel's Y is its level and comes back as three equal bytes.
        unsigned char lut[256];
        for (int v = 0; v < 256; v++) {
            double t = (double(v) - lo) * span / range + base;
            t = t < 0.0 ? 0.0 : t > 255.0 ? 255.0 : t;
            lut[v] = (unsigned char)(truncInt(t) & 255);
        }
        detail::photoLutRows(*src, *target, lut);
        return true;
    }
    // Y, lo and hi are finite and range is not 0, so t is finite and, once
    // clamped, converts directly (which keeps the loop free of branches).
    detail::LumaAffine curve;
    curve.lo = lo;
    curve.mul = span;
    curve.div = range;
    curve.add = base;
    detail::histRemapLuma(
        *src, *target,
        [&](float y) {
            double t = (double(y) - lo) * span / range + base;
            t = t < 0.0 ? 0.0 : t > 255.0 ? 255.0 : t;
            return float(static_cast<int>(t));
        },
        &curve);
    return true;
}

// ---------------------------------------------------------------- shadows

PumpABC* ipShadows::clone() const {
    return new (std::nothrow) ipShadows(depth, limit);
}

bool ipShadows::process(Mat* src, Mat* dst) {
    if (!usable(src) || src->type() != MAT_Tuchar) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    const int m = truncInt(depth * 255.0f);
    const int cap = truncInt(255.0f - limit * 50.0f);
    const double k = 255.0 / (m + 0.0001);
    unsigned char lut[256];
    for (int p = 0; p < 256; p++) {
        double v = p + (double(m) - truncInt(p / k)) * 0.5;
        if (v > cap) v = cap;
        lut[p] = clampByte(truncInt(v));
    }
    detail::photoLutRowsRGB(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- free functions

namespace ip {

void exposure(const Mat& src, Mat& dst, int amount) {
    ipExposure op(amount);
    op.ipExposure::process(const_cast<Mat*>(&src), &dst);
}

void light(const Mat& src, Mat& dst, int brightness, int contrast) {
    ipLight op(brightness, contrast);
    op.ipLight::process(const_cast<Mat*>(&src), &dst);
}

void light(Mat& image, int brightness, int contrast) {
    ipLight op(brightness, contrast);
    op.ipLight::process(&image, nullptr);
}

void level(const Mat& src, Mat& dst, int low, int high, int mode) {
    ipLevel op(low, high, mode);
    op.ipLevel::process(const_cast<Mat*>(&src), &dst);
}

void shadow(const Mat& src, Mat& dst, float depth, float limit) {
    ipShadows op(depth, limit);
    op.ipShadows::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace ip
}  // namespace tarvo
