// Depth conversions and fills of Mat.
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "detail/aliasing.h"
#include "detail/parallel_rows.h"
#include "mat_convert_simd.h"
#include "mat_internal.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {

using detail::validDepth;
using detail::withDepth;

namespace {

template <typename D, typename S>
inline D castElement(S v, CASTTYPE cast) {
    if constexpr (std::is_floating_point<S>::value && !std::is_floating_point<D>::value) {
        return cast == CT_Round ? saturate_cast<D>(double(v)) : saturate_trunc<D>(double(v));
    } else if constexpr (!std::is_floating_point<D>::value) {
        return saturate_cast_int<D>((long long)v);
    } else {
        return static_cast<D>(v);
    }
}

// Vector kernel for the pairs that have one (floating to bytes or shorts);
// returns how many leading elements of the row it wrote.
template <typename D, typename S>
inline int convertVec(const S* s, D* d, int n, CASTTYPE cast) {
    if constexpr (std::is_floating_point<S>::value &&
                  (std::is_same<D, unsigned char>::value || std::is_same<D, short>::value)) {
        if (!checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        const bool round = cast == CT_Round;
        if constexpr (std::is_same<S, float>::value) {
            if constexpr (std::is_same<D, unsigned char>::value)
                return detail::convertRowF32U8(s, d, n, round);
            else
                return detail::convertRowF32S16(s, reinterpret_cast<int16_t*>(d), n, round);
        } else {
            if constexpr (std::is_same<D, unsigned char>::value)
                return detail::convertRowF64U8(s, d, n, round);
            else
                return detail::convertRowF64S16(s, reinterpret_cast<int16_t*>(d), n, round);
        }
    } else {
        (void)s, (void)d, (void)n, (void)cast;
        return 0;
    }
}

template <typename D, typename S>
void convertRows(const Mat& src, Mat& dst, CASTTYPE cast) {
    const int n = src.cols() * src.channels();
    detail::parallelRows(src.rows(), double(n) * src.rows(), [&](int r0, int r1) {
        for (int r = r0; r < r1; r++) {
            const S* s = src.ptr<S>(r);
            D* d = dst.ptr<D>(r);
            for (int i = convertVec<D, S>(s, d, n, cast); i < n; i++)
                d[i] = castElement<D, S>(s[i], cast);
        }
    });
}

template <typename D, typename S>
void scaleRows(const Mat& src, Mat& dst, double scale, double shift) {
    const int n = src.cols() * src.channels();
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    detail::parallelRows(src.rows(), double(n) * src.rows(), [&](int r0, int r1) {
        for (int r = r0; r < r1; r++) {
            const S* s = src.ptr<S>(r);
            D* d = dst.ptr<D>(r);
            int i = vec ? detail::scaleRow(detail::DepthOf<S>::value, s, detail::DepthOf<D>::value,
                                           d, n, scale, shift)
                        : 0;
            for (; i < n; i++) d[i] = saturate_cast<D>(double(s[i]) * scale + shift);
        }
    });
}

// Runs a row conversion from src into dst with the given depth. A dst that
// does not touch src's pixels is (re)created in place, keeping its storage
// when the shape already fits; otherwise the rows go to a fresh matrix that
// replaces dst afterwards, so src is never overwritten while it is read.
template <typename Run>
void convertInto(const Mat& src, Mat& dst, int depth, Run run) {
    const int type = MAKETYPE(depth, src.channels());
    const bool shares = detail::sharesMemory(src, dst);
    if (!shares) {
        if (dst.create(src.rows(), src.cols(), type) < 0) return;
        run(dst);
        return;
    }
    Mat out(src.rows(), src.cols(), type);
    if (out.empty()) return;
    run(out);
    dst = std::move(out);
}

}  // namespace

void Mat::convertTo(Mat& dst, int depth, CASTTYPE cast) const {
    depth &= MAT_DEPTH_MASK;
    if (!validDepth(depth)) return;
    if (empty()) {
        if (&dst != this) dst.release();
        return;
    }
    if (depth == type()) {
        if (&dst != this) dst = *this;
        return;
    }
    auto run = [&](Mat& out) {
        withDepth(type(), [&](auto s) {
            using S = decltype(s);
            withDepth(depth, [&](auto d) { convertRows<decltype(d), S>(*this, out, cast); });
        });
    };
    convertInto(*this, dst, depth, run);
}

void Mat::convertTo(Mat& dst, int depth, double scale, double shift) const {
    depth &= MAT_DEPTH_MASK;
    if (!validDepth(depth)) return;
    if (empty()) {
        if (&dst != this) dst.release();
        return;
    }
    auto run = [&](Mat& out) {
        withDepth(type(), [&](auto s) {
            using S = decltype(s);
            withDepth(depth, [&](auto d) { scaleRows<decltype(d), S>(*this, out, scale, shift); });
        });
    };
    convertInto(*this, dst, depth, run);
}

void Mat::convert(int depth, CASTTYPE cast) {
    convertTo(*this, depth, cast);
}

void Mat::zero() {
    if (empty()) return;
    const size_t bytes = size_t(rowByteSize());
    if (isContinuous()) {
        std::memset(data.ptr[0], 0, bytes * size_t(m_rows));
    } else {
        for (int r = 0; r < m_rows; r++) std::memset(data.ptr[r], 0, bytes);
    }
}

Mat& Mat::operator=(double v) {
    if (v == 0.0) {
        zero();
        return *this;
    }
    return *this = Point4_<double>(v);
}

Mat& Mat::operator=(const Point4_<double>& s) {
    if (empty()) return *this;
    const double fill[4] = {s[0], s[1], s[2], s[3]};
    const int cn = channels();
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        for (int r = 0; r < m_rows; r++) {
            T* d = ptr<T>(r);
            for (int c = 0; c < m_cols; c++)
                for (int k = 0; k < cn; k++) d[c * cn + k] = saturate_cast<T>(fill[k < 4 ? k : 3]);
        }
    });
    return *this;
}

void Mat::identity() {
    if (empty()) return;
    zero();
    const int cn = channels();
    const int n = m_rows < m_cols ? m_rows : m_cols;
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        for (int i = 0; i < n; i++)
            for (int k = 0; k < cn; k++) ptr<T>(i)[i * cn + k] = T(1);
    });
}

Mat Mat::zeros(const Size_<int>& size, int type) {
    Mat m(size, type);
    m.zero();
    return m;
}

Mat Mat::eye(int rows, int cols, int type) {
    Mat m(rows, cols, type);
    m.identity();
    return m;
}

double Mat::value(int row, int col, int channel) const {
    if (!isInside(col, row) || channel < 0 || channel >= channels()) return 0.0;
    double v = 0.0;
    const int i = col * channels() + channel;
    withDepth(type(), [&](auto t) { v = double(ptr<decltype(t)>(row)[i]); });
    return v;
}

}  // namespace tarvo
