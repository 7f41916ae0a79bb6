// Float pyramids of the interest-region detectors.
#include <cmath>
#include <new>

#include "filter/pyramid_levels.h"
#include "tarvo/ip/integral.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

namespace {

// Makes (or refreshes) frame i of the list with the given size and scale.
bool putLevel(MatPtrList& list, int i, const Mat& level0, Size_<int> size, float scale) {
    if (i < list.getSize()) {
        Mat* frame = list[i];
        if (!frame) frame = list[i] = new (std::nothrow) Mat;
        if (!frame || !detail::makePyramidLevel(level0, *frame, size)) return false;
        list.setScale(i, scale);
        return true;
    }
    Mat* frame = new (std::nothrow) Mat;
    if (!frame) return false;
    if (!detail::makePyramidLevel(level0, *frame, size)) {
        delete frame;
        return false;
    }
    return list.addFrame(frame, scale) == i;
}

}  // namespace

void createPyramid(const Mat& src, MatPtrList& list, int minSize, float scaleFactor) {
    if (!src.isValid()) {
        list.release();
        return;
    }
    const bool reuse = list.getSize() > 0 && list[0] && list[0]->isEqualSize(src) &&
                       list[0]->type1() == MAKETYPE(MAT_Tfloat, src.channels());
    if (reuse) {
        // Same source size: refresh every frame in place with the running factor.
        src.convertTo(*list[0], MAT_Tfloat);
        list.setScale(0, 1.0f);
        float s = scaleFactor;
        for (int i = 1; i < list.getSize(); i++) {
            const Size_<int> size(truncInt(float(src.cols()) / s), truncInt(float(src.rows()) / s));
            if (!putLevel(list, i, *list[0], size, s)) break;
            s *= scaleFactor;
        }
        return;
    }
    list.release();
    Mat* level0 = new (std::nothrow) Mat;
    if (!level0) return;
    src.convertTo(*level0, MAT_Tfloat);
    if (!level0->isValid() || list.addFrame(level0, 1.0f) != 0) return;
    const std::vector<detail::PyramidLevel> plan =
        detail::planPyramid(src.cols(), src.rows(), minSize, scaleFactor);
    for (size_t i = 1; i < plan.size(); i++)
        if (!putLevel(list, int(i), *list[0], plan[i].size, plan[i].scale)) break;
}

void createPyramid(const Mat& src, MatPtrList& list, int minSize, float scaleFactor, int winWidth,
                   int winHeight, int minObjectWidth, int minObjectHeight) {
    list.release();
    if (!src.isValid() || winWidth <= 0 || winHeight <= 0 || minObjectWidth <= 0 ||
        minObjectHeight <= 0)
        return;
    const float sx = float(minObjectWidth) / float(winWidth);
    const float sy = float(minObjectHeight) / float(winHeight);
    const float s0 = sx < sy ? sx : sy;
    const float w0 = float(src.cols()) / s0, h0 = float(src.rows()) / s0;
    // Refuse starting sizes that would not fit an int or a sane allocation.
    if (!(w0 >= 1.0f && h0 >= 1.0f && w0 < 1e6f && h0 < 1e6f && w0 * h0 < 4e8f)) return;
    Mat source;
    src.convertTo(source, MAT_Tfloat);
    if (!source.isValid()) return;
    const std::vector<detail::PyramidLevel> plan =
        detail::planPyramid(truncInt(w0), truncInt(h0), minSize, scaleFactor);
    for (size_t i = 0; i < plan.size(); i++) {
        const float scale = s0 * plan[i].scale;
        if (i == 0 && plan[0].size.width == src.cols() && plan[0].size.height == src.rows()) {
            Mat* frame = new (std::nothrow) Mat(source);
            if (!frame || !frame->isValid() || list.addFrame(frame, scale) != 0) {
                if (frame && !frame->isValid()) delete frame;
                return;
            }
            continue;
        }
        if (!putLevel(list, int(i), source, plan[i].size, scale)) return;
    }
}

}  // namespace ip
}  // namespace tarvo
