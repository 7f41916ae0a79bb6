// Gaussian smoothing, its derivative and difference forms, the kernel
// builders and the direct float convolutions.
#include <cstring>
#include <memory>

#include "tarvo/ip/gaussian.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

const char* const kAnySrc =
    "image of any dtype (uint8, int16, int32, float32, float64) and any "
    "channel count";
const char* const kEmptyRefused = "an empty src gives an empty array (dst given: unchanged)";

py::object gaussian(py::handle src, float sigma, py::object support, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    const bool withSupport = !support.is_none();
    const float sup = withSupport ? support.cast<float>() : 0.0f;
    nogil([&] {
        if (d.inPlace) {
            if (withSupport)
                ip::gaussian(d.mat, sigma, sup);
            else
                ip::gaussian(d.mat, sigma);
        } else if (withSupport) {
            ip::gaussian(s.mat, d.mat, sigma, sup);
        } else {
            ip::gaussian(s.mat, d.mat, sigma);
        }
    });
    return d.result();
}

template <void (*F)(const Mat&, Mat&, float)>
py::object gaussianPass(py::handle src, float sigma, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) { F(a, b, sigma); });
}

template <void (*F)(const Mat&, Mat&, float, float)>
py::object gaussianDiff(py::handle src, float sigma, float multiplier, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) { F(a, b, sigma, multiplier); });
}

py::object vecToArray(const tarvo::Vec& v) {
    if (v.length() < 1) return py::array(dtypeOfDepth(v.type()), std::vector<py::ssize_t>{0});
    py::array out(dtypeOfDepth(v.type()), std::vector<py::ssize_t>{v.length()});
    std::memcpy(out.mutable_data(), v.data.ptr, size_t(v.length()) * size_t(v.step()));
    return out;
}

// Takes a kernel object the library allocated: None when there is none.
template <typename T>
py::object ownedMat(T* p) {
    if (!p) return py::none();
    std::unique_ptr<T> hold(p);
    return arrayFromMat(std::move(*static_cast<Mat*>(p)));
}
template <typename T>
py::object ownedVec(T* p) {
    if (!p) return py::none();
    std::unique_ptr<T> hold(p);
    return vecToArray(*p);
}

// A contiguous float32 copy of a kernel argument, as a 1-D array.
py::array_t<float> floatKernel(py::handle k, const char* name) {
    py::array_t<float, py::array::c_style | py::array::forcecast> a;
    try {
        a = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(k);
    } catch (py::error_already_set&) {
    }
    if (!a) throw py::type_error(std::string(name) + " must be a numeric array");
    if (a.size() < 1 || a.size() > (1 << 24))
        throw py::value_error(std::string(name) + " must hold 1 to 2^24 taps");
    return a;
}

// A float32 one-channel image as a Mat_<float> over the caller's pixels.
struct FloatImage {
    InArray in;
    tarvo::Mat_<float> mat;
};
void floatImage(py::handle obj, const char* name, FloatImage& f) {
    f.in = matFromArray(obj, name);
    if (!f.in.empty() && f.in.mat.type1() != tarvo::MAT_Tfloat)
        throw py::type_error(std::string(name) + " must be a float32 array with one channel");
    f.mat.swap(f.in.mat);
}

py::object convolve(py::handle src, py::handle kx, py::handle ky, bool keepBorder, py::handle dst,
                    int which) {
    FloatImage s;
    floatImage(src, "src", s);
    py::array_t<float> ax = floatKernel(kx, which == 0 ? "kx" : "kernel");
    py::array_t<float> ay = which == 0 ? floatKernel(ky, "ky") : ax;
    tarvo::Vec_<float> vx(ax.mutable_data(), int(ax.size())), vy(ay.mutable_data(), int(ay.size()));
    Dst d = makeDst(dst, "dst", s.in, sameAs(s.mat));
    tarvo::Mat_<float> out;
    out.swap(d.mat);
    if (out.empty()) out.m_type = tarvo::MAT_Tfloat;
    nogil([&] {
        // In place the library is handed the same matrix twice, which it accepts.
        tarvo::Mat_<float>* in = d.inPlace ? &out : &s.mat;
        if (which == 0) ip::convolveImage(in, &vx, &vy, &out, keepBorder);
        if (which == 1) ip::convolveImageHoriz(in, &vx, &out, keepBorder);
        if (which == 2) ip::convolveImageVert(in, &vx, &out, keepBorder);
    });
    d.mat.swap(out);
    return d.result();
}

const char* const kConvolveNote =
    "For x in [h, cols - h), h = len(kernel) // 2: dst[x] = sum of src[x - h + j] * kernel[j] in "
    "float32, four taps per step; the h columns (rows) at each end get src (keepBorder) or 0.";

void bindGaussian(py::module_&, py::module_& m) {
    m.def("gaussian", &gaussian, "src"_a, "sigma"_a, "support"_a = py::none(), py::kw_only(),
          "dst"_a = py::none(),
          Doc("gaussian(src, sigma, support=None, *, dst=None) -> ndarray", "gaussian")
              .arg("src", kAnySrc)
              .argFromTool("sigma", "sigma", "|sigma| <= 1e-5 copies")
              .argFromTool("support", "support", "None for 2 * sigma; rounded to whole pixels")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kEmptyRefused)
              .note("Each line is mirrored at its ends without repeating the edge sample; sums "
                    "are float32, truncated toward zero and clamped to the dtype.")
              .c_str());
    m.def("gaussianX", &gaussianPass<&ip::gaussianX>, "src"_a, "sigma"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("gaussianX(src, sigma, *, dst=None) -> ndarray")
              .what("The row pass of gaussian alone (support 2 * sigma).")
              .arg("src", kAnySrc)
              .arg("sigma", "standard deviation in pixels")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kEmptyRefused)
              .c_str());
    m.def("gaussianY", &gaussianPass<&ip::gaussianY>, "src"_a, "sigma"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("gaussianY(src, sigma, *, dst=None) -> ndarray")
              .what("The column pass of gaussian alone (support 2 * sigma).")
              .arg("src", kAnySrc)
              .arg("sigma", "standard deviation in pixels")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kEmptyRefused)
              .c_str());
    const char* const diffArgs = "support multiplier: half-width (int)(sigma * multiplier + 0.5)";
    m.def("gaussianDiffX", &gaussianDiff<&ip::gaussianDiffX>, "src"_a, "sigma"_a, "multiplier"_a,
          py::kw_only(), "dst"_a = py::none(),
          Doc("gaussianDiffX(src, sigma, multiplier, *, dst=None) -> ndarray")
              .what("First derivative of a Gaussian along x, smoothed along y.")
              .arg("src", "uint8 or float32 image")
              .arg("sigma", "standard deviation in pixels")
              .arg("multiplier", diffArgs)
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype (uint8 results are truncated and clamped)")
              .refused("an empty src or another dtype gives an empty array (dst given: unchanged)")
              .c_str());
    m.def("gaussianDiffY", &gaussianDiff<&ip::gaussianDiffY>, "src"_a, "sigma"_a, "multiplier"_a,
          py::kw_only(), "dst"_a = py::none(),
          Doc("gaussianDiffY(src, sigma, multiplier, *, dst=None) -> ndarray")
              .what("First derivative of a Gaussian along y, smoothed along x.")
              .arg("src", "uint8 or float32 image")
              .arg("sigma", "standard deviation in pixels")
              .arg("multiplier", diffArgs)
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an empty src or another dtype gives an empty array (dst given: unchanged)")
              .c_str());
    m.def(
        "dogfilter",
        [](py::handle src, float s1, float s2, float multiplier, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d =
                makeDst(dst, "dst", s,
                        shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tfloat, s.mat.channels()));
            return callInto(s, d,
                            [&](const Mat& a, Mat& b) { ip::dogfilter(a, b, s1, s2, multiplier); });
        },
        "src"_a, "s1"_a, "s2"_a, "multiplier"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("dogfilter(src, s1, s2, multiplier, *, dst=None) -> ndarray")
            .what("Difference of Gaussians: G(s1) * src - G(s2) * src, each smoothing on src "
                  "converted to float32 with support multiplier * sigma.")
            .arg("src", kAnySrc)
            .arg("s1, s2", "the two standard deviations in pixels")
            .arg("multiplier", "support = multiplier * sigma")
            .arg("dst", kDstHelp)
            .returns("dst: float32, src's size and channels")
            .refused(kEmptyRefused)
            .c_str());
    m.def(
        "blurringCircle",
        [](py::handle src, int radius, int a, int b, py::handle centre, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Point2_<int> c = toPoint(centre, "centre");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            int ret = 0;
            py::object out = callInto(s, d, [&](const Mat& x, Mat& y) {
                ret = ip::blurringCircle(x, y, radius, a, b, c);
            });
            return py::make_tuple(ret, out);
        },
        "src"_a, "radius"_a, "a"_a, "b"_a, "centre"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("blurringCircle(src, radius, a, b, centre, *, dst=None) -> (int, ndarray)")
            .what("Blurs the disc of radius around centre, each pixel with sigma = t * a / "
                  "radius + 0.1 and support = t * b / radius + 0.1, t = radius - distance to "
                  "the centre (the blur grows toward the centre). dst starts as a copy of "
                  "src.")
            .arg("src", kAnySrc)
            .arg("radius", "disc radius in pixels")
            .arg("a, b", "sigma and support scales")
            .arg("centre", "(x, y) in pixels; pixels outside the image are skipped")
            .arg("dst", kDstHelp)
            .returns("(1, dst), or (0, dst) for an empty src")
            .c_str());

    m.def(
        "gaussiankernel",
        [](float sigma, float multiplier) {
            tarvo::Vec_<double> k;
            nogil([&] { ip::gaussiankernel(sigma, multiplier, k); });
            return vecToArray(k);
        },
        "sigma"_a, "multiplier"_a,
        Doc("gaussiankernel(sigma, multiplier) -> ndarray")
            .what("1-D float64 kernel of 2h + 1 taps, h = (int)(sigma * multiplier + 0.5), "
                  "exp(-i^2 / (2 sigma^2)) normalised to sum 1; sigma 0 gives the unit "
                  "impulse.")
            .refused("a radius over 2^20 gives an empty array")
            .c_str());
    m.def(
        "gaussiankernel2D",
        [](float sx, float sy, float multiplier) {
            tarvo::Mat_<double> k;
            nogil([&] { ip::gaussiankernel2D(sx, sy, multiplier, k); });
            return arrayFromMat(std::move(k));
        },
        "sigmaX"_a, "sigmaY"_a, "multiplier"_a,
        Doc("gaussiankernel2D(sigmaX, sigmaY, multiplier) -> ndarray")
            .what("float64 kernel with element (y, x) = ky[y] * kx[x], kx and ky the "
                  "gaussiankernel of sigmaX and sigmaY.")
            .refused("a radius over 2^20 gives an empty array")
            .c_str());
    m.def(
        "getGaussianKernel",
        [](int size, double sigma, int type) {
            return ownedMat(ip::getGaussianKernel(size, sigma, tarvo::TYPE(type)));
        },
        "size"_a, "sigma"_a, "type"_a = int(tarvo::MAT_Tdouble),
        Doc("getGaussianKernel(size, sigma, type=MAT_Tdouble) -> ndarray or None")
            .what("A (size, 1) kernel summing to 1, float32 for type MAT_Tfloat and float64 "
                  "otherwise. Odd sizes below 8 with sigma <= 0 give the fixed binomial rows; "
                  "otherwise sigma <= 0 means ((size - 1) / 2 - 1) * 0.3 + 0.8.")
            .refused("size < 1 or over 2^21 + 1 gives None")
            .c_str());
    m.def(
        "computeGaussianKernel",
        [](float sigma, bool normalize) {
            return ownedVec(ip::computeGaussianKernel(sigma, normalize));
        },
        "sigma"_a, "normalize"_a,
        Doc("computeGaussianKernel(sigma, normalize) -> ndarray or None")
            .what("float32 kernel of 2r + 1 taps, r = (int)(3 sigma): exp(-i^2 / (2 sigma^2)) / "
                  "sigma; with normalize divided by the sum of absolute values.")
            .refused("a sigma that is not positive and finite, or a radius over 2^20, gives None")
            .c_str());
    m.def(
        "computeGaussianKernel2D",
        [](float sigma) { return ownedMat(ip::computeGaussianKernel2D(sigma)); }, "sigma"_a,
        Doc("computeGaussianKernel2D(sigma) -> ndarray or None")
            .what("(2r + 1)^2 float32 kernel, r = (int)(3 sigma), not normalised: exp(-(x^2 + "
                  "y^2) / (2 sigma^2)) / sigma^2.")
            .refused("None like computeGaussianKernel")
            .c_str());
    m.def(
        "computeLoGKernel2D", [](float sigma) { return ownedMat(ip::computeLoGKernel2D(sigma)); },
        "sigma"_a,
        Doc("computeLoGKernel2D(sigma) -> ndarray or None")
            .what("(2r + 1)^2 float32 Laplacian-of-Gaussian kernel, r = (int)(3 sigma), q = x^2 "
                  "+ y^2: exp(-q / (2 sigma^2)) * (q - 2 sigma^2) / sigma^4.")
            .refused("None like computeGaussianKernel")
            .c_str());
    m.def(
        "computeCircleMask2D", [](float sigma) { return ownedMat(ip::computeCircleMask2D(sigma)); },
        "sigma"_a,
        Doc("computeCircleMask2D(sigma) -> ndarray or None")
            .what("(2r + 1)^2 uint8 mask, r = (int)(3 sigma): 1 where x^2 + y^2 <= r^2, else 0.")
            .refused("None like computeGaussianKernel")
            .c_str());
    m.def(
        "computeGaussianDerivationKernel",
        [](float sigma) { return ownedVec(ip::computeGaussianDerivationKernel(sigma)); }, "sigma"_a,
        Doc("computeGaussianDerivationKernel(sigma) -> ndarray or None")
            .what("float32 first-derivative kernel of 2r + 1 taps, r = (int)(3 sigma): d[i] = -i "
                  "exp(-i^2 / (2 sigma^2)) / sigma^3.")
            .refused("None like computeGaussianKernel")
            .c_str());
    m.def("convertSigma2Seq", &ip::convertSigma2Seq, "sigma"_a, "baseSigma"_a, "factor"_a,
          Doc("convertSigma2Seq(sigma, baseSigma, factor) -> int")
              .what("Scale index of sigma in a geometric series: (int)(log(sigma / baseSigma) / "
                    "log(factor) + 0.5), in float32.")
              .refused("undefined ratios (NaN) give 0; infinite ones clamp")
              .c_str());
    m.def(
        "interpLinear",
        [](py::handle image, double x, double y) {
            InArray s = matFromArray(image, "image");
            double v = 0;
            nogil([&] { v = ip::interpLinear(s.mat, x, y); });
            return v;
        },
        "image"_a, "x"_a, "y"_a,
        Doc("interpLinear(image, x, y) -> float")
            .what("Bilinear value of channel 0 at (x, y), in double; neighbours clamped to the "
                  "image.")
            .arg("image", "uint8 or float64 image")
            .arg("x, y", "position in pixels (column, row)")
            .refused("other dtypes and empty images give 0, NaN coordinates NaN")
            .c_str());

    m.def(
        "convolveImageHoriz",
        [](py::handle src, py::handle kernel, bool keepBorder, py::handle dst) {
            return convolve(src, kernel, py::none(), keepBorder, dst, 1);
        },
        "src"_a, "kernel"_a, "keepBorder"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("convolveImageHoriz(src, kernel, keepBorder, *, dst=None) -> ndarray")
            .what("Convolves the rows of a float32 one-channel image with a 1-D kernel.")
            .arg("src", "float32 array (rows, cols); other dtypes raise TypeError")
            .arg("kernel", "1-D taps (converted to float32)")
            .arg("keepBorder", "True: the end columns keep src; False: they become 0")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape")
            .refused(kEmptyRefused)
            .note(kConvolveNote)
            .c_str());
    m.def(
        "convolveImageVert",
        [](py::handle src, py::handle kernel, bool keepBorder, py::handle dst) {
            return convolve(src, kernel, py::none(), keepBorder, dst, 2);
        },
        "src"_a, "kernel"_a, "keepBorder"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("convolveImageVert(src, kernel, keepBorder, *, dst=None) -> ndarray")
            .what("Convolves the columns of a float32 one-channel image with a 1-D kernel.")
            .arg("src", "float32 array (rows, cols); other dtypes raise TypeError")
            .arg("kernel", "1-D taps (converted to float32)")
            .arg("keepBorder", "True: the end rows keep src; False: they become 0")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape")
            .refused(kEmptyRefused)
            .note(kConvolveNote)
            .c_str());
    m.def(
        "convolveImage",
        [](py::handle src, py::handle kx, py::handle ky, bool keepBorder, py::handle dst) {
            return convolve(src, kx, ky, keepBorder, dst, 0);
        },
        "src"_a, "kx"_a, "ky"_a, "keepBorder"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("convolveImage(src, kx, ky, keepBorder, *, dst=None) -> ndarray")
            .what("convolveImageHoriz with kx, then convolveImageVert with ky.")
            .arg("src", "float32 array (rows, cols); other dtypes raise TypeError")
            .arg("kx, ky", "1-D taps (converted to float32)")
            .arg("keepBorder", "True: the end rows and columns keep src; False: they become 0")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape")
            .refused(kEmptyRefused)
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(gaussian, bindGaussian);

}  // namespace tarvopy
