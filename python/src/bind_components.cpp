// Connected components, flood fill and magic-wand selection.
#include <memory>
#include <mutex>

#include "points.h"
#include "tarvo/ip/shapes.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;
using tarvo::Point2_;

// The labelling object with the image it refers to kept alive, and a lock so
// that one object used from several threads runs one call at a time.
struct Components {
    ip::ConnectedComponent cc;
    std::unique_ptr<InArray> image;  // swapped without the GIL, freed with it
    std::unique_ptr<std::mutex> lock{new std::mutex()};
    explicit Components(int minWidth, int minHeight, int minCount)
        : cc(ip::ConnectedComponent::FilterParams(minWidth, minHeight, minCount)) {}
};

py::object infoOut(const ip::ConnectInfo& c) {
    return valueType("ConnectInfo")(c.x, c.y, c.width, c.height, int(c.value), c.count, c.head);
}

ip::ConnectInfo infoIn(py::handle o) {
    ip::ConnectInfo c;
    try {
        py::sequence s = py::reinterpret_borrow<py::sequence>(o);
        if (py::len(s) != 7) throw py::value_error("info must be a ConnectInfo (7 fields)");
        c.x = s[0].cast<int>();
        c.y = s[1].cast<int>();
        c.width = s[2].cast<int>();
        c.height = s[3].cast<int>();
        c.value = (unsigned char)s[4].cast<int>();
        c.count = s[5].cast<int>();
        c.head = s[6].cast<int>();
    } catch (py::cast_error&) {
        throw py::type_error("info must be a ConnectInfo of whole numbers");
    }
    return c;
}

void bindComponents(py::module_&, py::module_& m) {
    py::class_<Components>(m, "ConnectedComponent",
                           Doc("ConnectedComponent(minWidth=1, minHeight=1, minCount=1)")
                               .what("Eight-connected regions of the pixels of a one-channel "
                                     "uint8 image that differ from a background value. Regions "
                                     "smaller than the minimum box width, box height or pixel "
                                     "count are rejected. The object keeps the image of the "
                                     "last apply alive; its methods read (and eraseConnect "
                                     "writes) that image.")
                               .c_str())
        .def(py::init<int, int, int>(), "minWidth"_a = 1, "minHeight"_a = 1, "minCount"_a = 1)
        .def(
            "apply",
            [](Components& self, py::handle image, int background, bool eraseRejected,
               bool sortByCount) {
                std::unique_ptr<InArray> img(new InArray(matFromArray(image, "image", true)));
                tarvo::Array<ip::ConnectInfo, const ip::ConnectInfo&> found;
                nogil([&] {
                    std::lock_guard<std::mutex> g(*self.lock);
                    self.image.swap(img);
                    found = self.cc.apply(self.image->mat, (unsigned char)background, eraseRejected,
                                          sortByCount);
                });
                img.reset();  // the previous image, released with the GIL held
                py::list out;
                for (int i = 0; i < found.getSize(); i++) out.append(infoOut(found[i]));
                return out;
            },
            "image"_a, "background"_a = 0, "eraseRejected"_a = false, "sortByCount"_a = false,
            Doc("apply(image, background=0, eraseRejected=False, sortByCount=False) -> list of "
                "ConnectInfo")
                .what("Labels the image: every pixel other than background is foreground, "
                      "whatever its value. Regions come in scan order (columns left to right, "
                      "rows top to bottom), or by descending pixel count with sortByCount.")
                .arg("image",
                     "uint8 image, one channel; written only with eraseRejected or "
                     "eraseConnect (a read-only array is copied, and the copy is what "
                     "they write)")
                .arg("background", "byte value of the background, 0..255")
                .arg("eraseRejected", "writes the background over rejected regions")
                .arg("sortByCount", "larger regions first")
                .returns("a list of ConnectInfo(x, y, width, height, value, count, head)")
                .refused("another dtype or channel count gives an empty list and keeps no image")
                .c_str())
        .def(
            "createImageFromConnect",
            [](Components& self, py::handle info) {
                const ip::ConnectInfo c = infoIn(info);
                Mat out;
                nogil([&] {
                    std::lock_guard<std::mutex> g(*self.lock);
                    self.cc.createImageFromConnect(c, out);
                });
                return arrayFromMat(std::move(out));
            },
            "info"_a,
            Doc("createImageFromConnect(info) -> ndarray")
                .what("uint8 image of the region's box size: 255, with 0 at the region's pixels.")
                .returns("(height, width) uint8")
                .refused("before any apply, or for an empty box, an empty array")
                .c_str())
        .def(
            "createPointArrayFromConnect",
            [](Components& self, py::handle info) {
                const ip::ConnectInfo c = infoIn(info);
                PointsI pts;
                nogil([&] {
                    std::lock_guard<std::mutex> g(*self.lock);
                    self.cc.createPointArrayFromConnect(c, pts);
                });
                return pointsOut(pts);
            },
            "info"_a,
            Doc("createPointArrayFromConnect(info) -> ndarray")
                .what("Every pixel of the region as (x, y), in chain order from the head.")
                .returns("(count, 2) int32")
                .refused("before any apply, an empty (0, 2) array")
                .c_str())
        .def(
            "createBoundaryPointsFromConnect",
            [](Components& self, py::handle info) {
                const ip::ConnectInfo c = infoIn(info);
                PointsI pts;
                nogil([&] {
                    std::lock_guard<std::mutex> g(*self.lock);
                    self.cc.createBoundaryPointsFromConnect(c, pts);
                });
                return pointsOut(pts);
            },
            "info"_a,
            Doc("createBoundaryPointsFromConnect(info) -> ndarray")
                .what("Outer boundary walk of the region, starting and ending at its head pixel "
                      "(a lone pixel gives itself).")
                .returns("(n, 2) int32")
                .refused("before any apply, an empty (0, 2) array")
                .c_str())
        .def(
            "eraseConnect",
            [](Components& self, py::handle info, int value) {
                const ip::ConnectInfo c = infoIn(info);
                nogil([&] {
                    std::lock_guard<std::mutex> g(*self.lock);
                    self.cc.eraseConnect(c, (unsigned char)value);
                });
            },
            "info"_a, "value"_a,
            Doc("eraseConnect(info, value) -> None")
                .what("Writes value (0..255) at every pixel of the region in the image of the "
                      "last apply.")
                .refused("before any apply, nothing happens")
                .c_str())
        .def(
            "getWorkImage",
            [](Components& self) {
                Mat copy;
                {
                    std::lock_guard<std::mutex> g(*self.lock);
                    copy.create(self.cc.getWorkImage(), true);
                }
                return arrayFromMat(std::move(copy));
            },
            Doc("getWorkImage() -> ndarray")
                .what("A copy of the int32 work image of the last apply: at each region pixel "
                      "the linear index (y * cols + x) of the next pixel of its chain, -1 at a "
                      "chain's end.")
                .refused("before any apply, an empty array")
                .c_str());

    m.def(
        "floodfill",
        [](py::handle image, py::handle seed, int tolerance, py::handle color) {
            InArray img = matFromArray(image, "image", true);
            if (img.copied)
                throw py::value_error(
                    "image: floodfill paints the array it is given, which must be writable "
                    "with pixels contiguous within each row");
            const Point2_<int> s = toPoint(seed, "seed");
            const tarvo::Point4_<double> c = toScalar(color, "color");
            Mat mask;
            nogil([&] { ip::floodfill(img.mat, mask, s, tolerance, c); });
            return arrayFromMat(std::move(mask));
        },
        "image"_a, "seed"_a, "tolerance"_a, "color"_a,
        Doc("floodfill(image, seed, tolerance, color) -> mask", "floodfill")
            .what("Four-connected fill from seed of the pixels whose every channel lies within "
                  "tolerance of the seed's colour (ends included), painted with color in image "
                  "itself.")
            .arg("image",
                 "uint8 image of 1 or 3 channels, written in place (it must be "
                 "writable and borrowable, else ValueError)")
            .arg("seed", "(x, y) of the seed pixel")
            .argFromTool("tolerance", "tolerance")
            .arg("color", "one number or up to four, truncated to bytes")
            .returns("mask: uint8 of image's size, 255 at the filled pixels")
            .refused("other images or a seed outside give a zero mask and leave image alone; "
                     "an empty image gives an empty mask")
            .c_str());
    m.def(
        "fuzzySelection",
        [](py::handle image, py::handle seed, int tolerance, bool withHoles) {
            InArray img = matFromArray(image, "image");
            const Point2_<int> s = toPoint(seed, "seed");
            PointsI outer;
            tarvo::Matrix<Point2_<int>, const Point2_<int>&> holes;
            bool flag = false;
            nogil([&] {
                if (withHoles)
                    ip::fuzzySelection(img.mat, s, tolerance, outer, holes, flag);
                else
                    ip::fuzzySelection(img.mat, s, tolerance, outer, flag);
            });
            if (!withHoles) return py::make_tuple(flag, pointsOut(outer));
            py::list h;
            for (int i = 0; i < holes.getSize(); i++) h.append(pointsOut(holes[i]));
            return py::make_tuple(flag, pointsOut(outer), h);
        },
        "image"_a, "seed"_a, "tolerance"_a, "holes"_a = true,
        Doc("fuzzySelection(image, seed, tolerance, holes=True) -> (flag, outer, holes) or "
            "(flag, polygon)",
            "select")
            .what("Magic-wand selection: the four-connected region around seed whose three "
                  "bytes at each pixel lie within tolerance of the three bytes at the seed.")
            .arg("image", "uint8 image (three bytes per pixel are compared)")
            .arg("seed", "(x, y)")
            .argFromTool("tolerance", "tolerance")
            .arg("holes",
                 "True: the outer border and the inner borders, flag True when a selection "
                 "was made; False: the one-polygon form, flag True when the seed lies inside "
                 "the rendered polygon")
            .returns("(flag, outer (n, 2) int32, list of (m, 2) int32 holes), or (flag, "
                     "polygon)")
            .refused("a seed outside or another dtype gives flag False and empty outputs")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(components, bindComponents);

}  // namespace tarvopy
