// Block correlation through the spectrum: the tiling engine behind
// ip::crossCorr, ip::matchTemplate and the large-kernel route of filter2D.
#pragma once

#include <functional>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Sizes of the tiles and their transforms for a template of tw x th and an
// output of cw x ch. ok is false when no transform length fits.
struct CorrGeometry {
    int blockW = 0, blockH = 0, dftW = 0, dftH = 0;
    bool ok = false;
};
CorrGeometry corrGeometry(int cw, int ch, int tw, int th);

// One finished tile: rect in output coordinates; block holds the correlation
// (without delta) in its top-left rect.height x rect.width corner, in the
// spectra depth; channel is the image channel.
using CorrTileSink = std::function<void(const Rect_<int>& rect, int channel, const Mat& block)>;

// Correlates every channel k of image with template channel (templ has one
// channel ? 0 : k) over an output of outSize: out(y, x) = sum templ(j, i) *
// image(y + j - anchor.y, x + i - anchor.x), the border read through
// borderInterpolate (fill reads 0). spectraDepth is MAT_Tfloat or MAT_Tdouble.
// 16-bit samples are read as unsigned when unsigned16 is set, else signed.
// Tiles run in parallel; for one tile the channels arrive in order. Returns
// false (nothing delivered) when the geometry does not fit or the anchor is
// refused (corrAnchorOk), and also when memory runs out part way.
bool correlateTiles(const Mat& image, const Mat& templ, Size_<int> outSize, Point2_<int> anchor,
                    int borderType, int spectraDepth, bool unsigned16, const CorrTileSink& sink);

// False for an anchor or output size so large that source positions (output
// position minus anchor) would leave the int range: correlateTiles refuses them.
bool corrAnchorOk(Point2_<int> anchor, Size_<int> outSize);

}  // namespace detail
}  // namespace tarvo
