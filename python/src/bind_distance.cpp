// Distance transforms, thinning and image moments.
#include "points.h"
#include "tarvo/ip/shapes.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

py::object distanceTransform(py::handle src, py::object type, int maskSize, py::object labelType,
                             py::handle dst, py::handle labels) {
    InArray s = matFromArray(src, "src");
    const Shape want = shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tfloat, 1);
    Dst d = makeDst(dst, "dst", s, want);
    if (d.inPlace) throw py::value_error("dst: a float32 result cannot be written over src");
    if (labelType.is_none()) {
        if (!labels.is_none())
            throw py::value_error("labels: only the labelled form (labelType given) writes them");
        if (type.is_none()) {
            nogil([&] { ip::distanceTransform(s.mat, d.mat); });
        } else {
            const int t = type.cast<int>();
            nogil([&] { ip::distanceTransform(s.mat, d.mat, t, maskSize); });
        }
        return d.result();
    }
    const int t = type.is_none() ? int(ip::DistL2) : type.cast<int>();
    const int lt = labelType.cast<int>();
    Dst l = makeDst(labels, "labels", s, shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tint, 1));
    if (l.inPlace) throw py::value_error("labels: an int32 table cannot be written over src");
    nogil([&] { ip::distanceTransform(s.mat, d.mat, l.mat, t, maskSize, lt); });
    py::object a = d.result();
    return py::make_tuple(a, l.result());
}

void bindDistance(py::module_&, py::module_& m) {
    m.attr("DistUser") = int(ip::DistUser);
    m.attr("DistL1") = int(ip::DistL1);
    m.attr("DistL2") = int(ip::DistL2);
    m.attr("DistC") = int(ip::DistC);

    m.def("distanceTransform", &distanceTransform, "src"_a, "type"_a = py::none(), "maskSize"_a = 3,
          "labelType"_a = py::none(), py::kw_only(), "dst"_a = py::none(), "labels"_a = py::none(),
          Doc("distanceTransform(src, type=None, maskSize=3, labelType=None, *, dst=None, "
              "labels=None) -> ndarray or (dst, labels)",
              "distance")
              .what("Three forms. distanceTransform(src): the exact Euclidean distance of every "
                    "pixel to the nearest pixel of value 255 (about 3.16e8 without one). "
                    "distanceTransform(src, type, maskSize): the distance to the nearest zero "
                    "pixel; DistL1 and DistC use a 3 x 3 chamfer mask, DistL2 maskSize 3 or 5 "
                    "(chamfer) or 0 (exact); other types run a chamfer pass with zero weights. "
                    "With labelType: also int32 labels naming each pixel's nearest zero pixel "
                    "(5 x 5 chamfer): labelType non-zero numbers every zero pixel 1, 2, ... in "
                    "row-major order; 0 numbers each zero region's contours (i & 255) + 1.")
              .arg("src", "uint8 image, one channel")
              .argFromTool("type", "type", "DistL1 (1), DistL2 (2), DistC (3)")
              .argFromTool("maskSize", "mask")
              .arg("labelType", "selects the labelled form (see above)")
              .arg("dst",
                   "optional keyword: float32 array of src's size to write the distances "
                   "into")
              .arg("labels", "optional keyword: int32 array of src's size for the labels")
              .returns("float32 distances, or (distances, int32 labels) with labelType")
              .refused("other sources give empty arrays (given arrays: unchanged)")
              .note("The tool's row thresholds the grey picture (features at or below "
                    "--threshold become 0) and scales the distances to 0..255.")
              .c_str());
    m.def(
        "thinning",
        [](py::handle src, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            return callInto(s, d, [&](const Mat& a, Mat& b) { ip::thinning(a, b); });
        },
        "src"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("thinning(src, *, dst=None) -> ndarray", "thinning")
            .what("Skeleton by two-step iterative thinning: pixels of 255 are foreground, every "
                  "other value background; the result holds 255 on the skeleton, 0 elsewhere.")
            .arg("src", "uint8 image, one channel")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused("other sources give an empty array (dst given: unchanged)")
            .c_str());

    py::class_<tarvo::Moments> mo(
        m, "Moments",
        Doc("Moments(m00, m10, m01, m20, m11, m02, m30, m21, m12, m03)")
            .what("Raw moments m_pq (sums of x^p y^q I(x, y)), central moments mu_pq about the "
                  "centroid and normalised moments nu_pq = mu_pq / m00^(1 + (p + q) / 2), up to "
                  "order three, and inv_sqrt_m00. Made from the ten raw moments it fills the "
                  "central and normalised ones (inv_sqrt_m00 stays 0); Moments() is all zero.")
            .c_str());
    mo.def(py::init<>())
        .def(py::init<double, double, double, double, double, double, double, double, double,
                      double>(),
             "m00"_a, "m10"_a, "m01"_a, "m20"_a, "m11"_a, "m02"_a, "m30"_a, "m21"_a, "m12"_a,
             "m03"_a)
        .def("getSpatialMoment", &tarvo::Moments::getSpatialMoment, "xOrder"_a, "yOrder"_a,
             "Raw moment m_(xOrder, yOrder); 0 for a negative order or an order sum above 3.")
        .def("__repr__", [](const tarvo::Moments& v) {
            return "Moments(m00=" + std::string(py::str(py::float_(v.m00))) +
                   ", m10=" + std::string(py::str(py::float_(v.m10))) +
                   ", m01=" + std::string(py::str(py::float_(v.m01))) + ", ...)";
        });
#define TARVO_PY_MOMENT(f) mo.def_readwrite(#f, &tarvo::Moments::f)
    TARVO_PY_MOMENT(m00);
    TARVO_PY_MOMENT(m10);
    TARVO_PY_MOMENT(m01);
    TARVO_PY_MOMENT(m20);
    TARVO_PY_MOMENT(m11);
    TARVO_PY_MOMENT(m02);
    TARVO_PY_MOMENT(m30);
    TARVO_PY_MOMENT(m21);
    TARVO_PY_MOMENT(m12);
    TARVO_PY_MOMENT(m03);
    TARVO_PY_MOMENT(mu20);
    TARVO_PY_MOMENT(mu11);
    TARVO_PY_MOMENT(mu02);
    TARVO_PY_MOMENT(mu30);
    TARVO_PY_MOMENT(mu21);
    TARVO_PY_MOMENT(mu12);
    TARVO_PY_MOMENT(mu03);
    TARVO_PY_MOMENT(nu20);
    TARVO_PY_MOMENT(nu11);
    TARVO_PY_MOMENT(nu02);
    TARVO_PY_MOMENT(nu30);
    TARVO_PY_MOMENT(nu21);
    TARVO_PY_MOMENT(nu12);
    TARVO_PY_MOMENT(nu03);
    TARVO_PY_MOMENT(inv_sqrt_m00);
#undef TARVO_PY_MOMENT

    m.def(
        "calcMoments",
        [](py::handle image, int binary) {
            InArray s = matFromArray(image, "image");
            tarvo::Moments mm;
            nogil([&] { tarvo::calcMoments(s.mat, mm, binary); });
            return mm;
        },
        "image"_a, "binary"_a = 0,
        Doc("calcMoments(image, binary=0) -> Moments", "moments")
            .what("Moments of a one-channel image: the raw and central moments and "
                  "inv_sqrt_m00; the nu fields stay 0 (make Moments(m00, ..., m03) from the raw "
                  "ones to get them).")
            .arg("image",
                 "uint8, int16, float32 or float64 image, one channel (any dtype with "
                 "binary)")
            .argFromTool("binary", "binary", "non-zero counts every non-zero pixel as 1")
            .returns("Moments")
            .refused("several channels, int32 without binary, or an empty image give all zeros")
            .c_str());
    m.def(
        "huMoments",
        [](const tarvo::Moments& mm) {
            double hu[7] = {0, 0, 0, 0, 0, 0, 0};
            tarvo::huMoments(mm, hu);
            py::tuple t(7);
            for (int i = 0; i < 7; i++) t[i] = hu[i];
            return t;
        },
        "moments"_a,
        Doc("huMoments(moments) -> tuple of 7 floats")
            .what("The seven Hu invariants of the normalised moments (nu fields) of moments.")
            .arg("moments", "Moments, with its nu fields filled (see Moments)")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(distance, bindDistance);

}  // namespace tarvopy
