// Picture files, grey conversion and the shared constants of the tarvo package.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "tarvo/colorspace.h"
#include "tarvo/parallel.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

[[noreturn]] void osError(int err, const std::string& path) {
    PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, py::str(path).ptr());
    (void)err;
    throw py::error_already_set();
}

[[noreturn]] void osError(const std::string& message) {
    PyErr_SetString(PyExc_OSError, message.c_str());
    throw py::error_already_set();
}

std::string pathOf(py::handle p) {
    return py::str(py::module_::import("os").attr("fspath")(p));
}

py::array imread(py::handle pathObj, int flags) {
    const std::string path = pathOf(pathObj);
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        errno = EISDIR;
        osError(EISDIR, path);
    }
    if (FILE* f = std::fopen(path.c_str(), "rb"))
        std::fclose(f);
    else
        osError(errno, path);
    tarvo::Mat m;
    bool ok = false;
    nogil([&] { ok = m.fromImage(path.c_str(), (unsigned long)flags) && !m.empty(); });
    if (!ok) osError("cannot read '" + path + "': not a PNG, JPEG, BMP, PGM or PPM picture");
    return arrayFromMat(std::move(m));
}

void imwrite(py::handle pathObj, py::handle img, int quality) {
    const std::string path = pathOf(pathObj);
    InArray in = matFromArray(img, "img");
    const int cn = in.mat.channels();
    if (in.empty() || in.mat.type() != tarvo::MAT_Tuchar || (cn != 1 && cn != 3 && cn != 4))
        osError("cannot write '" + path +
                "': only non-empty uint8 images with 1, 3 or 4 channels can be saved");
    const std::string ext = std::filesystem::path(path).extension().string();
    bool ok = false;
    nogil([&] { ok = in.mat.toImage(path.c_str(), quality); });
    if (ok) return;
    if (ext.empty())
        osError("cannot write '" + path + "': give it an extension (.png, .jpg, .bmp, .ppm, .pgm)");
    if (FILE* f = std::fopen(path.c_str(), "ab")) {
        std::fclose(f);
        osError("cannot write '" + path + "': unknown extension '" + ext + "'");
    }
    osError(errno, path);
}

py::object rgbToGray(py::handle src, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, shapeOf(s.mat.rows(), s.mat.cols(), s.mat.type(), 1));
    if (d.inPlace) throw py::value_error("dst: the grey image cannot be written over src");
    nogil([&] { tarvo::ColorSpace::RGBtoGray(s.mat, d.mat, tarvo::BMP_RGB); });
    return d.result();
}

void bindFiles(py::module_& m, py::module_&) {
    m.attr("IMG_GRAY") = int(tarvo::IMG_GRAY);
    m.attr("IMG_COLOR") = int(tarvo::IMG_COLOR);
    m.attr("IMG_GRAYSCALE") = int(tarvo::IMG_GRAYSCALE);
    m.attr("IMG_UNCHANGED") = int(tarvo::IMG_UNCHANGED);
    m.attr("BorderFill") = int(tarvo::BorderFill);
    m.attr("BorderClamp") = int(tarvo::BorderClamp);
    m.attr("BorderMirror") = int(tarvo::BorderMirror);
    m.attr("BorderWrap") = int(tarvo::BorderWrap);
    m.attr("BorderMirrorNoEdge") = int(tarvo::BorderMirrorNoEdge);
    m.attr("BorderIsolatedBit") = int(tarvo::BorderIsolatedBit);
    m.attr("MAT_Tuchar") = int(tarvo::MAT_Tuchar);
    m.attr("MAT_Tshort") = int(tarvo::MAT_Tshort);
    m.attr("MAT_Tint") = int(tarvo::MAT_Tint);
    m.attr("MAT_Tfloat") = int(tarvo::MAT_Tfloat);
    m.attr("MAT_Tdouble") = int(tarvo::MAT_Tdouble);

    m.def("imread", &imread, "path"_a, "flags"_a = int(tarvo::IMG_COLOR),
          Doc("imread(path, flags=IMG_COLOR) -> ndarray")
              .what("Loads a PNG, JPEG, BMP, PGM or PPM picture as a uint8 array of shape "
                    "(rows, cols) or (rows, cols, channels), colour as R, G, B.")
              .arg("path", "file name (str or path-like)")
              .arg("flags",
                   "IMG_GRAY (0): grey stays one channel, colour becomes RGB; IMG_COLOR (1): "
                   "always RGB; IMG_GRAYSCALE (2): always one channel; IMG_UNCHANGED (4): the "
                   "file's channels, alpha included")
              .returns("a new array owning the decoded pixels")
              .refused("OSError: FileNotFoundError or PermissionError for a file that cannot be "
                       "opened, IsADirectoryError for a folder, OSError naming the reason for a "
                       "file that is not a readable picture")
              .c_str());
    m.def("imwrite", &imwrite, "path"_a, "img"_a, "quality"_a = 95,
          Doc("imwrite(path, img, quality=95) -> None")
              .what("Saves a uint8 image with 1, 3 or 4 channels; the extension of path (.png, "
                    ".jpg, .jpeg, .bmp, .pgm, .ppm) picks the format.")
              .arg("path", "file name (str or path-like)")
              .arg("img", "uint8 array (rows, cols) or (rows, cols, 3 or 4), colour as R, G, B")
              .arg("quality", "JPEG quality 1..100")
              .refused("OSError with the reason: another dtype or channel count, an empty "
                       "image, no or an unknown extension, a folder that cannot be written")
              .c_str());
    m.def("setNumThreads", &tarvo::setNumThreads, "n"_a,
          Doc("setNumThreads(n) -> None")
              .what("Threads of the library's parallel loop, for every later call from any "
                    "Python thread. Results never depend on it.")
              .arg("n", "thread count; 0 or less restores the default (all processors)")
              .c_str());
    m.def("getNumThreads", &tarvo::getNumThreads,
          Doc("getNumThreads() -> int").what("Threads of the library's parallel loop.").c_str());
    // For the test suite: how an argument reaches the library (row 0's address,
    // whether it was copied, the row stride) without running anything.
    m.def(
        "_matInfo",
        [](py::handle a, bool writable) {
            InArray in = matFromArray(a, "array", writable);
            if (in.empty()) return py::make_tuple(0, in.copied, 0);
            const std::uintptr_t p0 = reinterpret_cast<std::uintptr_t>(in.mat.data.ptr[0]);
            const py::ssize_t stride =
                in.mat.rows() > 1 ? in.mat.data.ptr[1] - in.mat.data.ptr[0] : in.mat.rowByteSize();
            return py::make_tuple(p0, in.copied, stride);
        },
        "array"_a, "writable"_a = false);
    m.def("RGBtoGray", &rgbToGray, "src"_a, py::kw_only(), "dst"_a = py::none(),
          Doc("RGBtoGray(src, *, dst=None) -> ndarray")
              .what("Grey version of an R, G, B image in the same dtype (one channel). A "
                    "one-channel source is copied.")
              .arg("src", "image with 3 (or more; the first three are read) channels, or 1")
              .arg("dst", kDstHelp)
              .returns("dst, shape (rows, cols)")
              .refused("an empty src gives an empty array")
              .c_str());
}

}  // namespace

TARVO_PY_FAMILY(files, bindFiles);

}  // namespace tarvopy
