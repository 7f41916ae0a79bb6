// Edge chains and Hough transforms: the chain extractor as one call, its
// gradient map (ipNMS), Hough lines, segments, directions and the dark disc.
#include <cstring>
#include <mutex>
#include <vector>

#include "points.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/random.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

// Pairs of points (start, end) as an (n, 2, 2) int32 array.
py::array segmentsOut(const PointsI& pts) {
    const int n = pts.getSize() / 2;
    py::array_t<int> out({py::ssize_t(n), py::ssize_t(2), py::ssize_t(2)});
    if (n > 0) std::memcpy(out.mutable_data(), pts.getData(), size_t(n) * 4 * sizeof(int));
    return out;
}

const char* const kHoughSrc =
    "uint8 image, one channel: its zero pixels are the features (invert an edge map first)";

py::list edgeChains(py::handle src, int nonEdge, int high, int low) {
    InArray s = matFromArray(src, "src");
    std::vector<std::vector<short>> chains;
    nogil([&] {
        const Mat& in = s.mat;
        if (in.empty() || in.type() != tarvo::MAT_Tuchar || in.rows() > 32767 || in.cols() > 32767)
            return;
        // The extractor works on rows of its own; a copy keeps src untouched.
        Mat grey;
        if (in.channels() == 1)
            grey.create(in, true);
        else if (in.channels() == 3 || in.channels() == 4)
            tarvo::ColorSpace::RGBtoGray(in, grey);
        if (grey.empty() || grey.channels() != 1) return;
        std::vector<unsigned char*> rows(size_t(grey.rows()));
        for (int y = 0; y < grey.rows(); y++) rows[size_t(y)] = grey.ptr<unsigned char>(y);
        tarvo::MCEdgeExtractor ex(rows.data(), (unsigned short)grey.cols(),
                                  (unsigned short)grey.rows(), nonEdge, high, low);
        if (ex.GetEdgeData() != 0) return;
        for (tarvo::_tagEdge* e = ex.GetEdgeList()->getFirstEdge(); e; e = e->next)
            chains.emplace_back(e->points, e->points + 2 * size_t(e->count));
    });
    py::list out;
    for (const std::vector<short>& c : chains) {
        const py::ssize_t n = py::ssize_t(c.size() / 2);
        py::array_t<int> a({n, py::ssize_t(2)});
        int* p = a.mutable_data();
        for (size_t i = 0; i < c.size(); i++) p[i] = c[i];
        out.append(a);
    }
    return out;
}

void bindChains(py::module_&, py::module_& m) {
    m.def("edgeChains", &edgeChains, "src"_a, "nonEdge"_a = 35, "high"_a = 12, "low"_a = 10,
          Doc("edgeChains(src, nonEdge=35, high=12, low=10) -> list of ndarray", "edge-chains")
              .what("Connected edge chains of a grey image by the chain extractor (7-tap "
                    "smoothing and differencing, an automatic cut of weak gradients, non-maximum "
                    "suppression, double thresholds and edge following). Each chain of 10 "
                    "points or more is an (n, 2) int32 array of (x, y), from its far end "
                    "towards where it was found.")
              .arg("src",
                   "uint8 image of 1, 3 or 4 channels (colour is taken as its grey), "
                   "at most 32767 pixels each way; never written")
              .argFromTool("nonEdge", "non-edge", "clamped to 0..255")
              .argFromTool("high", "high", "clamped to 0..255")
              .argFromTool("low", "low", "clamped to 0..255")
              .returns("a list of chains; the tool's picture draws those longer than "
                       "--min-length points")
              .refused("an empty src, another dtype, 2 or more than 4 channels, or a side above "
                       "32767 give an empty list")
              .note("Python only: in C++ this is MCEdgeExtractor(rows, width, height, nonEdge, "
                    "high, low).GetEdgeData() followed by a walk of GetEdgeList().")
              .c_str());
    m.def(
        "ipNMS",
        [](py::handle src, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            return callInto(s, d, [&](const Mat& a, Mat& b) {
                tarvo::ipNMS nms;
                // Reads src only when a destination is given.
                if (!nms.process(const_cast<Mat*>(&a), &b) && d.user.is_none()) b.release();
            });
        },
        "src"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("ipNMS(src, *, dst=None) -> ndarray", "nms")
            .what("The chain extractor's gradient map: 255 where its 8-bit strength is 0, else "
                  "0, in every channel.")
            .arg("src", "uint8 image of 1, 3 or 4 channels, at most 32767 pixels each way")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused("other images give an empty array (dst given: unchanged)")
            .note("Python only: the operator class ipNMS run once, process(src, dst).")
            .c_str());
    m.def(
        "houghLinesStd",
        [](py::handle src, float rho, float theta, int threshold, int linesMax) {
            InArray s = matFromArray(src, "src");
            PointsI lines;
            nogil([&] { ip::houghLinesStd(s.mat, lines, rho, theta, threshold, linesMax); });
            return segmentsOut(lines);
        },
        "src"_a, "rho"_a, "theta"_a, "threshold"_a, "linesMax"_a,
        Doc("houghLinesStd(src, rho, theta, threshold, linesMax) -> ndarray", "hough-lines")
            .what("Standard Hough lines: the features vote over (angle, distance) cells; peaks "
                  "above the threshold give lines, strongest first, each reported by the first "
                  "run of feature pixels along it.")
            .arg("src", kHoughSrc)
            .arg("rho", "distance step in pixels (finite, positive)")
            .arg("theta", "angle step in radians (finite, positive)")
            .argFromTool("threshold", "threshold")
            .argFromTool("linesMax", "lines")
            .returns("(n, 2, 2) int32: lines[i] = ((x1, y1), (x2, y2)), start and end")
            .refused("other images, non-finite or non-positive steps, or more than 2^27 cells "
                     "give an empty (0, 2, 2) array")
            .note("The tool's row smooths (sigma 1.5), runs Canny 40/120 and inverts first.")
            .c_str());
    m.def(
        "houghLines",
        [](py::handle src, float rho, float theta, int threshold, int lineLength, int lineGap,
           py::object seed) {
            InArray s = matFromArray(src, "src");
            const bool seeded = !seed.is_none();
            const unsigned sv = seeded ? seed.cast<unsigned>() : 0u;
            PointsI lines;
            nogil([&] {
                std::lock_guard<std::mutex> lock(randomMutex());
                if (seeded) tarvo::detail::pinClockSeed(true, sv);
                ip::houghLines(s.mat, lines, rho, theta, threshold, lineLength, lineGap);
                if (seeded) tarvo::detail::pinClockSeed(false);
            });
            return segmentsOut(lines);
        },
        "src"_a, "rho"_a, "theta"_a, "threshold"_a, "lineLength"_a, "lineGap"_a, py::kw_only(),
        "seed"_a = py::none(),
        Doc("houghLines(src, rho, theta, threshold, lineLength, lineGap, *, seed=None) -> "
            "ndarray",
            "hough-segments")
            .what("Randomised Hough segments: the two ends of each segment at least lineLength "
                  "long (along x or y), bridging gaps up to lineGap. The order follows the "
                  "random generator.")
            .arg("src", kHoughSrc)
            .arg("rho", "distance step in pixels")
            .arg("theta", "angle step in radians")
            .argFromTool("threshold", "threshold")
            .argFromTool("lineLength", "length")
            .argFromTool("lineGap", "gap")
            .arg("seed",
                 "Python only: the seed used in place of the clock for this call, so runs "
                 "repeat; None uses the clock")
            .returns("(n, 2, 2) int32: segments[i] = ((x1, y1), (x2, y2))")
            .refused("other images or bad steps give an empty (0, 2, 2) array")
            .c_str());
    m.def(
        "houghLinePoints",
        [](py::handle points, int k) {
            PointsI pts = pointsIn(points, "points");
            tarvo::Vec_<int> bins;
            nogil([&] { ip::houghLinePoints(pts, k, bins); });
            py::array_t<int> out(py::ssize_t(bins.length() > 0 ? bins.length() : 0));
            if (bins.length() > 0)
                std::memcpy(out.mutable_data(), bins.data.ptr, size_t(bins.length()) * sizeof(int));
            return out;
        },
        "points"_a, "k"_a,
        Doc("houghLinePoints(points, k) -> ndarray")
            .what("Dominant directions of a point set: for each point the angles to its k "
                  "nearest neighbours vote in 180 one-degree bins, smoothed circularly by 1 4 6 "
                  "4 1; local maxima are kept.")
            .arg("points", "(n, 2) int32 array of (x, y)")
            .arg("k", "neighbours per point")
            .returns("int32 array of all 180 bin indices (degrees 0..179), local maxima first "
                     "by score; bins that are no maximum follow, their order among equal zero "
                     "scores being the sort's")
            .refused("no points (or k < 1) give no votes: 180 indices over all-zero scores")
            .c_str());
    m.def(
        "houghCircle",
        [](py::handle image, py::handle center, int radius) {
            InArray s = matFromArray(image, "image");
            tarvo::Point2_<int> c = toPoint(center, "center");
            int r = radius;
            nogil([&] { ip::houghCircle(s.mat, c, r); });
            return py::make_tuple(makePoint(c.x, c.y), r);
        },
        "image"_a, "center"_a = py::make_tuple(-1, -1), "radius"_a = -1,
        Doc("houghCircle(image, center=(-1, -1), radius=-1) -> (Point, radius)", "hough-circle")
            .what("The darkest disc whose centre pixel is below 101. The radius tried is searched "
                  "up to a third larger; with a centre given the search stays near it.")
            .arg("image", "uint8 image, one channel")
            .arg("center", "(x, y) to search near, or (-1, -1) for everywhere")
            .argFromTool("radius", "radius")
            .returns("(Point(x, y), radius) of the best disc")
            .refused("no disc found, or a refused image, gives (Point(-1, -1), -1)")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(chains, bindChains);

}  // namespace tarvopy
