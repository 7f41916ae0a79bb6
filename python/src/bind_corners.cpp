// Corner detectors (FAST, Harris), sub-pixel refinement and the bilinear
// window sampler behind it.
#include <climits>
#include <vector>

#include "points.h"
#include "tarvo/ip/edges.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;
using tarvo::Point2_;

py::array cornerFast(py::handle image, int threshold, int arcLength, int suppress) {
    InArray s = matFromArray(image, "image");
    PointsI pts;
    nogil([&] { ip::cornerFast(s.mat, threshold, arcLength, suppress, pts); });
    return pointsOut(pts);
}

py::array cornerHarris(py::handle image, py::handle mask, int param1, float param2, int window,
                       float threshold) {
    InArray s = matFromArray(image, "image");
    InArray m;
    if (!mask.is_none()) m = matFromArray(mask, "mask");
    PointsI pts;
    nogil([&] { ip::cornerHarris(s.mat, m.mat, pts, param1, param2, window, threshold); });
    return pointsOut(pts);
}

py::array findCornerSubPix(py::handle image, py::handle corners, py::handle win,
                           py::handle zeroZone, py::handle criteria) {
    InArray s = matFromArray(image, "image");
    PointsF pts = pointsInF(corners, "corners");
    const tarvo::Size_<int> w = toSize(win, "win"), z = toSize(zeroZone, "zeroZone");
    tarvo::TermCriteria tc;
    try {
        py::tuple t = criteria.cast<py::tuple>();
        if (t.size() != 3) throw py::cast_error();
        tc = tarvo::TermCriteria(t[0].cast<int>(), t[1].cast<int>(), t[2].cast<double>());
    } catch (py::cast_error&) {
        throw py::type_error("criteria must be a tuple (type, maxCount, epsilon)");
    }
    nogil([&] { ip::findCornerSubPix(s.mat, pts.getData(), pts.getSize(), w, z, tc); });
    return pointsOut(pts);
}

py::array getRectSubPixel(py::handle image, py::handle winSize, py::handle center) {
    InArray s = matFromArray(image, "image");
    if (s.empty()) throw py::value_error("image: empty");
    if (s.mat.type1() != tarvo::MAT_Tuchar)
        throw py::value_error("image: getRectSubPixel reads one-channel uint8 images");
    const tarvo::Size_<int> w = toSize(winSize, "winSize");
    if (w.width < 1 || w.height < 1) throw py::value_error("winSize: width and height below 1");
    float cx = 0, cy = 0;
    try {
        py::sequence c = center.cast<py::sequence>();
        if (c.size() != 2) throw py::cast_error();
        cx = c[0].cast<float>();
        cy = c[1].cast<float>();
    } catch (py::cast_error&) {
        throw py::type_error("center must be two numbers (x, y)");
    }
    const long long step =
        s.mat.rows() > 1 ? s.mat.data.ptr[1] - s.mat.data.ptr[0] : (long long)s.mat.cols();
    if (step > INT_MAX) throw py::value_error("image: rows too far apart");
    py::array_t<float> out(std::vector<py::ssize_t>{w.height, w.width});
    float* dst = out.mutable_data();
    const unsigned char* base = s.mat.data.ptr[0];
    nogil([&] {
        ip::getRectSubPixel(base, int(step), tarvo::Size_<int>(s.mat.cols(), s.mat.rows()), dst,
                            w.width * int(sizeof(float)), w, Point2_<float>(cx, cy));
    });
    return out;
}

const char* const kGreyHelp = "uint8 image, one channel";

void bindCorners(py::module_&, py::module_& m) {
    m.def("cornerFast", &cornerFast, "image"_a, "threshold"_a = 20, "arcLength"_a = 9,
          "suppress"_a = 1,
          Doc("cornerFast(image, threshold=20, arcLength=9, suppress=1) -> ndarray", "fast")
              .what("FAST corners: a pixel is a corner when arcLength consecutive pixels of the "
                    "16-pixel ring of radius 3 are all brighter than p + threshold or all darker "
                    "than p - threshold. Corners lie at least 3 pixels from the border, in "
                    "row-major order.")
              .arg("image", kGreyHelp)
              .argFromTool("threshold", "threshold", "clamped to -256..256")
              .argFromTool("arcLength", "arc", "any value other than 9, 10, 11 acts as 12")
              .argFromTool("suppress", "suppress",
                           "non-zero keeps only corners whose score (the largest barrier they "
                           "pass) beats every 8-neighbour corner")
              .returns("(n, 2) int32 array of (x, y)")
              .refused("another dtype, several channels or an empty image give an empty list")
              .c_str());
    m.def("cornerHarris", &cornerHarris, "image"_a, "mask"_a = py::none(), "param1"_a = 0,
          "param2"_a = 0.0f, "window"_a = 5, "threshold"_a = 1000.0f,
          Doc("cornerHarris(image, mask=None, param1=0, param2=0.0, window=5, threshold=1000) "
              "-> ndarray",
              "harris")
              .what("Harris-style corners: determinant over trace of the Gaussian-smoothed "
                    "(sigma 5) products of the signed 3 x 3 gradients, kept where the strength "
                    "is the maximum of its window x window neighbourhood and above threshold; "
                    "strongest first.")
              .arg("image", kGreyHelp)
              .arg("mask", "None, or a uint8 array of image's size: 0 skips the pixel")
              .arg("param1, param2", "kept and without effect")
              .argFromTool("window", "window")
              .argFromTool("threshold", "threshold")
              .returns("(n, 2) int32 array of (x, y), strongest first (ties in the library's "
                       "exchange order)")
              .refused("another dtype, several channels, an empty image or a mask of another "
                       "size or type give an empty list")
              .c_str());
    m.def("findCornerSubPix", &findCornerSubPix, "image"_a, "corners"_a,
          "win"_a = py::make_tuple(5, 5), "zeroZone"_a = py::make_tuple(-1, -1),
          "criteria"_a = py::make_tuple(3, 30, 0.01),
          Doc("findCornerSubPix(image, corners, win=(5, 5), zeroZone=(-1, -1), criteria=(3, 30, "
              "0.01)) -> ndarray")
              .what("Refines corners by an iterated least-squares fit of the gradients on a "
                    "(2 win.width + 1) x (2 win.height + 1) window. A point that ends farther "
                    "than the half window from its start returns to its start. The corners "
                    "given are not written: the refined ones are a new array.")
              .arg("image", kGreyHelp)
              .arg("corners", "(n, 2) array of starting points (converted to float32)")
              .arg("win", "half window (width, height), 1..1024 each")
              .arg("zeroZone", "half size of a central block left out of the fit; negative: none")
              .arg("criteria",
                   "(type, maxCount, epsilon): type 1 stops after maxCount iterations, 2 when a "
                   "step is below epsilon (at most 100), 3 at either; maxCount is held to 1..100")
              .returns("(n, 2) float32 array")
              .refused("an image other than one-channel uint8, or a half window outside 1..1024, "
                       "give the corners unchanged (as float32)")
              .c_str());
    m.def("getRectSubPixel", &getRectSubPixel, "image"_a, "winSize"_a, "center"_a,
          Doc("getRectSubPixel(image, winSize, center) -> ndarray")
              .what("Bilinear samples of image on a winSize grid centred at center; positions "
                    "outside the image take the replicated border.")
              .arg("image", kGreyHelp)
              .arg("winSize", "(width, height) of the grid, each at least 1")
              .arg("center", "(x, y) in pixels, may be fractional")
              .returns("(height, width) float32 array")
              .refused("an empty image, another dtype or channel count, or a size below 1 raise "
                       "ValueError (the library function has no refusal of its own)")
              .c_str());
}

}  // namespace

TARVO_PY_FAMILY(corners, bindCorners);

}  // namespace tarvopy
