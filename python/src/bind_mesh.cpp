// Triangle meshes: the edge-list model as a small class, the mesh warps and
// barycentric coefficients.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "points.h"
#include "tarvo/ip/geometry.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;
using tarvo::Point2_;
using tarvo::TriangleModel;

// The model with a lock: warps read it with the GIL released while another
// Python thread might rebuild it, so readers share the lock and writers take
// it alone (waiting without the GIL, which a reader never needs).
struct Model {
    TriangleModel m;
    mutable std::shared_mutex lock;
};

template <typename F>
auto writeLocked(Model& model, F&& f) {
    py::gil_scoped_release release;
    std::unique_lock<std::shared_mutex> l(model.lock);
    return f(model.m);
}

py::array edgesOut(const TriangleModel& m) {
    const int n = m.edges ? m.edgeCount : 0;
    py::array_t<int> a(std::vector<py::ssize_t>{n, 2});
    for (int i = 0; i < n; i++) {
        a.mutable_at(i, 0) = m.edges[i].a;
        a.mutable_at(i, 1) = m.edges[i].b;
    }
    return a;
}

py::array trianglesOut(const TriangleModel::TriangleList& list) {
    const int n = list.getSize();
    py::array_t<int> a(std::vector<py::ssize_t>{n, 3});
    for (int i = 0; i < n; i++)
        for (int k = 0; k < 3; k++) a.mutable_at(i, k) = list[i] ? list[i]->index[k] : -1;
    return a;
}

void setEdges(Model& model, py::handle edges) {
    // An (n, 2) list of index pairs reads like a point list.
    PointsI pairs = pointsIn(edges, "edges");
    const int n = pairs.getSize();
    const int ok = writeLocked(model, [&](TriangleModel& m) {
        if (!m.create(n)) return 0;
        for (int i = 0; i < n; i++) m.edges[i] = TriangleModel::Edge{pairs[i].x, pairs[i].y};
        return 1;
    });
    if (!ok) throw std::bad_alloc();
}

// Opens path for the model's file functions; OSError with the reason when it cannot.
struct File {
    std::FILE* f;
    File(const std::string& path, const char* mode) : f(std::fopen(path.c_str(), mode)) {
        if (!f) {
            PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
            throw py::error_already_set();
        }
    }
    ~File() {
        if (f) std::fclose(f);
    }
};

std::string pathOf(py::handle p) {
    return py::str(py::module_::import("os").attr("fspath")(p));
}

// The largest point index the model's triangles use, or -1 without triangles.
int largestIndex(const TriangleModel& m) {
    int top = -1;
    for (int i = 0; i < m.triangleList.getSize(); i++)
        for (int k = 0; m.triangleList[i] && k < 3; k++)
            top = std::max(top, m.triangleList[i]->index[k]);
    return top;
}

// Point lists for a warp: each must hold every point the model's triangles
// name (the warps read them by index without a length).
void checkPoints(const PointsF& s, const PointsF& d, int top) {
    if (s.getSize() <= top || d.getSize() <= top)
        throw py::value_error(
            "srcPoints and dstPoints must hold every point the model's "
            "triangles name (" +
            std::to_string(top + 1) + "), got " + std::to_string(s.getSize()) + " and " +
            std::to_string(d.getSize()));
}

template <typename Warp>
py::tuple meshWarp(py::handle src, py::handle srcPoints, py::handle dstPoints, const Model& model,
                   py::handle dst, Warp&& warp) {
    InArray s = matFromArray(src, "src");
    PointsF sp = pointsInF(srcPoints, "srcPoints"), dp = pointsInF(dstPoints, "dstPoints");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    tarvo::Rect_<int> bounds;
    int top = -1;
    bool ran = false;
    {
        py::gil_scoped_release release;
        std::shared_lock<std::shared_mutex> l(model.lock);
        top = largestIndex(model.m);
        if (sp.getSize() > top && dp.getSize() > top) {
            ran = true;
            if (d.inPlace) {
                Mat copy(s.mat);
                warp(copy, d.mat, bounds, sp, dp, model.m);
            } else {
                warp(s.mat, d.mat, bounds, sp, dp, model.m);
            }
        }
    }
    if (!ran) checkPoints(sp, dp, top);
    py::object out = d.result();
    return py::make_tuple(out, makeRect(bounds));
}

const char* const kMeshPointsHelp =
    "(n, 2) array of (x, y) points (converted to float32), holding every point the model's "
    "triangles name";

void bindMesh(py::module_&, py::module_& m) {
    py::class_<Model> cls(
        m, "TriangleModel",
        Doc("TriangleModel(edges=None)")
            .what("An edge list over numbered points and the triangles it closes (every three "
                  "points joined pairwise). Made with edges, the triangles are generated at "
                  "once; after setting edges later, call generateTriangles(). Calls on one "
                  "model from several threads are serialised against its changes.")
            .arg("edges", "(n, 2) array of point-index pairs, or None for an empty model")
            .c_str());
    cls.def(py::init([](py::handle edges) {
                auto model = std::make_unique<Model>();
                if (!edges.is_none()) {
                    setEdges(*model, edges);
                    model->m.generateTriangles();
                }
                return model;
            }),
            "edges"_a = py::none())
        .def_property(
            "edges",
            [](const Model& md) {
                std::shared_lock<std::shared_mutex> l(md.lock);
                return edgesOut(md.m);
            },
            [](Model& md, py::handle e) { setEdges(md, e); },
            "(n, 2) int32 array of the edges (a copy); setting replaces them, keeping the "
            "triangles until generateTriangles()")
        .def_property_readonly(
            "edgeCount",
            [](const Model& md) {
                std::shared_lock<std::shared_mutex> l(md.lock);
                return md.m.edgeCount;
            },
            "Number of edges.")
        .def_property_readonly(
            "triangles",
            [](const Model& md) {
                std::shared_lock<std::shared_mutex> l(md.lock);
                return trianglesOut(md.m.triangleList);
            },
            "(m, 3) int32 array of the triangles' point indices (a copy), lowest point first, "
            "sorted by lowest point.")
        .def(
            "create",
            [](Model& md, int edgeCount) {
                return writeLocked(md, [&](TriangleModel& t) { return t.create(edgeCount); });
            },
            "edgeCount"_a,
            "create(edgeCount) -> int\n\nReplaces the edges by edgeCount zeroed ones. 1, or 0 "
            "(model unchanged) for a negative count or when memory runs out.")
        .def(
            "release", [](Model& md) { writeLocked(md, [](TriangleModel& t) { t.release(); }); },
            "release() -> None\n\nFrees the edges and every triangle.")
        .def(
            "generateTriangles",
            [](Model& md) { writeLocked(md, [](TriangleModel& t) { t.generateTriangles(); }); },
            "generateTriangles() -> None\n\nRebuilds the triangles from the edges: every three "
            "points joined pairwise, as (lowest point, then its other two in the order their "
            "edges come), sorted by lowest point. Self-edges and negative indices make none.")
        .def(
            "adjacentTriangles",
            [](Model& md, int point) {
                // Copied out under the lock: the list borrows the model's triangles.
                std::vector<tarvo::Triangle> found = writeLocked(md, [&](TriangleModel& t) {
                    TriangleModel::TriangleList out;
                    t.adjacentTriangles(point, &out);
                    std::vector<tarvo::Triangle> v;
                    for (int i = 0; i < out.getSize(); i++)
                        if (out[i]) v.push_back(*out[i]);
                    return v;
                });
                py::array_t<int> a(std::vector<py::ssize_t>{py::ssize_t(found.size()), 3});
                for (size_t i = 0; i < found.size(); i++)
                    for (int k = 0; k < 3; k++) a.mutable_at(i, k) = found[i].index[k];
                return a;
            },
            "point"_a,
            "adjacentTriangles(point) -> ndarray\n\n(k, 3) int32 array of the model's triangles "
            "that have the point, in the model's order.")
        .def(
            "findTriangle",
            [](const Model& md, int a, int b, int c) {
                std::shared_lock<std::shared_mutex> l(md.lock);
                return md.m.triangleList.findTriangle(a, b, c);
            },
            "a"_a, "b"_a, "c"_a,
            "findTriangle(a, b, c) -> int\n\n1 when the model has a triangle with these three "
            "point indices in any order, else 0.")
        .def(
            "Save",
            [](const Model& md, py::handle path) {
                File f(pathOf(path), "wb");
                py::gil_scoped_release release;
                std::shared_lock<std::shared_mutex> l(md.lock);
                return md.m.Save(f.f);
            },
            "path"_a,
            "Save(path) -> int\n\nWrites the edge file (little-endian int32: count n, then n "
            "pairs). 1, or 0 when a write fails; OSError when the file cannot be opened.")
        .def(
            "load",
            [](Model& md, py::handle path) {
                File f(pathOf(path), "rb");
                return writeLocked(md, [&](TriangleModel& t) { return t.load(f.f); });
            },
            "path"_a,
            "load(path) -> int\n\nReads an edge file and generates the triangles. 1, or 0 "
            "(model unchanged) for a short or hostile file (negative counts or indices, counts "
            "beyond the data); OSError when the file cannot be opened.")
        .def(
            "saveTriangleList",
            [](const Model& md, py::handle path) {
                File f(pathOf(path), "wb");
                py::gil_scoped_release release;
                std::shared_lock<std::shared_mutex> l(md.lock);
                return md.m.saveTriangleList(f.f);
            },
            "path"_a,
            "saveTriangleList(path) -> int\n\nWrites the triangle list file (little-endian "
            "int32: count m, then m triples). 1, or 0 when a write fails; OSError when the file "
            "cannot be opened.")
        .def(
            "loadTriangleList",
            [](Model& md, py::handle path) {
                File f(pathOf(path), "rb");
                return writeLocked(md, [&](TriangleModel& t) { return t.loadTriangleList(f.f); });
            },
            "path"_a,
            "loadTriangleList(path) -> int\n\nReads a triangle list file, appends its triangles "
            "and drops the edges. 1, or 0 (model unchanged) for a short or hostile file; "
            "OSError when the file cannot be opened.")
        .def("__repr__", [](const Model& md) {
            std::shared_lock<std::shared_mutex> l(md.lock);
            return "TriangleModel(" + std::to_string(md.m.edgeCount) + " edges, " +
                   std::to_string(md.m.triangleList.getSize()) + " triangles)";
        });

    m.def(
        "warpMesh",
        [](py::handle src, py::handle srcPoints, py::handle dstPoints, const Model& model,
           py::handle dst) {
            return meshWarp(src, srcPoints, dstPoints, model, dst,
                            [](const Mat& a, Mat& b, tarvo::Rect_<int>& r, PointsF& sp, PointsF& dp,
                               const TriangleModel& t) {
                                ip::warpMesh(a, b, r, sp.getData(), dp.getData(), &t);
                            });
        },
        "src"_a, "srcPoints"_a, "dstPoints"_a, "model"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("warpMesh(src, srcPoints, dstPoints, model, *, dst=None) -> (dst, bounds)", "mesh-warp")
            .what("Fills a zeroed image like src with each triangle of model, carried from its "
                  "place in srcPoints to its place in dstPoints (bilinear); later triangles "
                  "overwrite earlier ones.")
            .arg("src", "uint8 image, any channel count")
            .arg("srcPoints, dstPoints", kMeshPointsHelp)
            .arg("model", "TriangleModel")
            .arg("dst", kDstHelp)
            .returns("(dst, bounds): bounds is the Rect (x, y, right - x, bottom - y) of the "
                     "written pixels, or (cols - 1, rows - 1, 2 - cols, 2 - rows) when none is")
            .refused("another dtype, an empty src or empty point lists give (empty array, "
                     "Rect(0, 0, 0, 0)) (dst given: unchanged); point lists shorter than the "
                     "model needs raise ValueError")
            .c_str());
    m.def(
        "warping",
        [](py::handle src, py::handle srcPoints, py::handle dstPoints, const Model& model,
           py::handle dst) {
            return meshWarp(src, srcPoints, dstPoints, model, dst,
                            [](const Mat& a, Mat& b, tarvo::Rect_<int>& r, PointsF& sp, PointsF& dp,
                               const TriangleModel& t) {
                                // The library takes mutable pointers but only reads them.
                                ip::warping(a, b, &r, sp.getData(), dp.getData(),
                                            const_cast<TriangleModel*>(&t));
                            });
        },
        "src"_a, "srcPoints"_a, "dstPoints"_a, "model"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("warping(src, srcPoints, dstPoints, model, *, dst=None) -> (dst, bounds)")
            .what("As warpMesh, with sub-pixel areas, into dst as it stands: pixels outside "
                  "the triangles, or whose source falls outside src, keep their value. A new "
                  "dst starts zeroed.")
            .arg("src", "uint8 image, any channel count")
            .arg("srcPoints, dstPoints", kMeshPointsHelp)
            .arg("model", "TriangleModel")
            .arg("dst", kDstHelp)
            .returns("(dst, bounds) as for warpMesh")
            .refused("as warpMesh")
            .c_str());
    m.def(
        "warpTriangle",
        [](py::handle src, py::handle srcTriangle, py::handle dstTriangle, py::handle dst) {
            InArray s = matFromArray(src, "src");
            PointsF st = pointsInF(srcTriangle, "srcTriangle");
            PointsF dt = pointsInF(dstTriangle, "dstTriangle");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            return callInto(s, d, [&](const Mat& a, Mat& b) { ip::warpTriangle(a, b, st, dt); });
        },
        "src"_a, "srcTriangle"_a, "dstTriangle"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("warpTriangle(src, srcTriangle, dstTriangle, *, dst=None) -> ndarray")
            .what("Draws dstTriangle's pixels of dst from the matching places of srcTriangle "
                  "in src (bilinear, truncated). Other pixels of a given dst keep their values; "
                  "a new dst starts zeroed.")
            .arg("src", "uint8 image, three channels")
            .arg("srcTriangle, dstTriangle", "(3, 2) arrays of corners (converted to float32)")
            .arg("dst", kDstHelp)
            .returns("dst")
            .refused("another dtype or channel count, or fewer than 3 corners, give an empty "
                     "array (dst given: unchanged); a zero-area or non-finite triangle draws "
                     "nothing (a new dst is all zero)")
            .c_str());
    m.def(
        "computeCoefficients",
        [](py::handle points, py::handle triangle, float x, float y) -> py::object {
            PointsF p = pointsInF(points, "points");
            std::vector<int> t;
            try {
                t = triangle.cast<std::vector<int>>();
            } catch (py::cast_error&) {
            }
            if (t.size() != 3) throw py::type_error("triangle must be three point indices");
            const tarvo::Triangle tri{t[0], t[1], t[2]};
            for (int k = 0; k < 3; k++)
                if (tri.index[k] >= p.getSize())
                    throw py::value_error("triangle: index " + std::to_string(tri.index[k]) +
                                          " beyond the " + std::to_string(p.getSize()) + " points");
            // The library writes nothing for a negative index.
            if (tri.index[0] < 0 || tri.index[1] < 0 || tri.index[2] < 0) return py::none();
            float a = 0, b = 0, c = 0;
            ip::computeCoefficients(p.getData(), &tri, x, y, &a, &b, &c);
            return py::make_tuple(a, b, c);
        },
        "points"_a, "triangle"_a, "x"_a, "y"_a,
        Doc("computeCoefficients(points, triangle, x, y) -> (a, b, c) or None")
            .what("Barycentric coordinates of (x, y) in the triangle whose corners are "
                  "points[triangle[k]]: (x, y) = a p0 + b p1 + c p2 with c = 1 - a - b.")
            .arg("points", "(n, 2) array of points (converted to float32)")
            .arg("triangle", "three point indices")
            .arg("x, y", "the position")
            .returns("(a, b, c) as floats; a degenerate triangle gives non-finite values")
            .refused("a negative index gives None; an index beyond the points raises "
                     "ValueError")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(mesh, bindMesh);

}  // namespace tarvopy
