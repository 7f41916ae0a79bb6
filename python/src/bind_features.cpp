// Feature files: read into nested named tuples, written back from them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "tarvo/ip/features.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

struct Types {
    py::object vec, set, other;
};
Types& types() {
    static Types* t = new Types();
    return *t;
}

// Reads go through the one process-wide factory; one at a time.
std::mutex& factoryMutex() {
    static std::mutex* m = new std::mutex();
    return *m;
}

py::object toPython(const tarvo::FeatureABC* f) {
    if (!f) return py::none();
    if (const auto* s = dynamic_cast<const tarvo::FeatureSet*>(f)) {
        py::list elements;
        for (int i = 0; i < s->getSize(); i++) elements.append(toPython(s->getAt(i)));
        return types().set(f->getID(), elements);
    }
    if (const auto* v = dynamic_cast<const tarvo::FeatureVec*>(f)) {
        const int n = v->isValid() && v->type() == tarvo::MAT_Tfloat ? v->length() : 0;
        py::array_t<float> values(n);
        if (n > 0) std::memcpy(values.mutable_data(), v->data.fl, size_t(n) * sizeof(float));
        return types().vec(f->getID(), v->width, v->height, values);
    }
    return types().other(f->getID(), f->dimension());
}

[[noreturn]] void osError(const std::string& what) {
    PyErr_SetString(PyExc_OSError, what.c_str());
    throw py::error_already_set();
}

[[noreturn]] void errnoError(int err, const std::string& path) {
    errno = err;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
    throw py::error_already_set();
}

py::object readFeature(py::handle pathArg) {
    const std::string path = py::str(py::module_::import("os").attr("fspath")(pathArg));
    std::FILE* probe = std::fopen(path.c_str(), "rb");
    if (!probe) errnoError(errno, path);
    char id[33] = {};
    const size_t got = std::fread(id, 1, 32, probe);
    const int err = std::ferror(probe) ? errno : 0;  // a directory opens but does not read
    std::fclose(probe);
    if (err) errnoError(err, path);
    if (got < 32) osError("'" + path + "' is too short to hold a feature (under 32 bytes)");
    std::unique_ptr<tarvo::FeatureABC> f;
    bool known = false;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(factoryMutex());
        tarvo::FeatureFactory* factory = tarvo::FeatureFactory::Instance();
        bool printable = true;
        for (int i = 0; i < 32 && id[i]; i++) printable &= id[i] >= 32 && id[i] < 127;
        known = factory && printable && factory->find(tarvo::String(id)) >= 0;
        if (known) f.reset(factory->readFeature(path.c_str()));
    }
    if (!known) osError("'" + path + "' does not start with a known feature identifier");
    if (!f)
        osError("'" + path + "' holds a " + std::string(id) +
                " block that is truncated, malformed or nested too deeply");
    return toPython(f.get());
}

// The library object of a FeatureVec or FeatureSet tuple (nested sets too).
std::unique_ptr<tarvo::FeatureABC> fromPython(py::handle obj, int depth) {
    if (depth > tarvo::kFeatureSetMaxDepth)
        throw py::value_error("feature: sets nested deeper than " +
                              std::to_string(tarvo::kFeatureSetMaxDepth));
    if (py::isinstance(obj, types().set)) {
        auto set = std::make_unique<tarvo::FeatureSet>();
        for (py::handle e : obj.attr("elements")) {
            std::unique_ptr<tarvo::FeatureABC> child = fromPython(e, depth + 1);
            const int n = set->getSize();
            if (set->add(child.get()) != n + 1) throw std::bad_alloc();
            child.release();
        }
        return set;
    }
    if (py::isinstance(obj, types().vec)) {
        py::array_t<float, py::array::c_style | py::array::forcecast> values(obj.attr("values"));
        if (values.ndim() != 1) throw py::value_error("FeatureVec.values must be one-dimensional");
        auto v = std::make_unique<tarvo::FeatureVec>();
        const int n = int(values.size());
        if (n > 0) {
            if (v->Vec::create(n, tarvo::MAT_Tfloat) < 0 || !v->isValid()) throw std::bad_alloc();
            std::memcpy(v->data.fl, values.data(), size_t(n) * sizeof(float));
        }
        v->width = obj.attr("width").cast<int>();
        v->height = obj.attr("height").cast<int>();
        return v;
    }
    throw py::type_error("feature: only FeatureVec and FeatureSet tuples can be written");
}

void writeFeature(py::handle pathArg, py::handle feature) {
    const std::string path = py::str(py::module_::import("os").attr("fspath")(pathArg));
    std::unique_ptr<tarvo::FeatureABC> f = fromPython(feature, 0);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = f->write(path.c_str());
    }
    if (!ok) errnoError(errno, path);
}

void bindFeatures(py::module_& m, py::module_&) {
    py::object namedtuple = py::module_::import("collections").attr("namedtuple");
    Types& t = types();
    t.vec = namedtuple("FeatureVec", "id width height values");
    t.vec.attr("__doc__") =
        "A feature holding a width x height image as a vector of floats: identifier (\"gray\"), "
        "width, height, and the values as a one-dimensional float32 array.";
    t.set = namedtuple("FeatureSet", "id elements");
    t.set.attr("__doc__") =
        "A list of features: identifier (\"FSet\") and the elements, each a FeatureVec, "
        "FeatureSet, Feature, or None for an element that cannot be read back.";
    t.other = namedtuple("Feature", "id dimension");
    t.other.attr("__doc__") = "Any other feature: its identifier and its number of values.";
    for (py::object* o : {&t.vec, &t.set, &t.other}) {
        o->attr("__module__") = "tarvo";
        m.attr(o->attr("__name__")) = *o;
    }

    m.def("readFeature", &readFeature, "path"_a,
          Doc("readFeature(path) -> FeatureVec, FeatureSet or Feature")
              .what("Reads the feature stored in a file, by the identifier in its first 32 "
                    "bytes (\"gray\" vectors and \"FSet\" sets; sets nest). Descriptors stored "
                    "inside a set carry no identifier of their own and come back as None.")
              .arg("path", "file name (str or path-like)")
              .returns("nested named tuples: FeatureSet(id, elements), FeatureVec(id, width, "
                       "height, values), Feature(id, dimension)")
              .refused("raises OSError with the reason: a file that cannot be opened or read, "
                       "one under 32 bytes, one with an unknown identifier, or one truncated, "
                       "malformed or nested deeper than 64 sets")
              .c_str());
    m.def("writeFeature", &writeFeature, "path"_a, "feature"_a,
          Doc("writeFeature(path, feature) -> None")
              .what("Writes a FeatureVec or FeatureSet (nested sets too) in the library's "
                    "little-endian feature file format, which readFeature and `tarvo features` "
                    "read back.")
              .arg("path", "file name (str or path-like)")
              .arg("feature",
                   "FeatureVec(id, width, height, values) or FeatureSet(id, "
                   "elements); the id fields are ignored (the file gets the class's "
                   "own identifier) and values are converted to float32")
              .refused("other elements (Feature, None) raise TypeError; a file that cannot be "
                       "opened raises OSError")
              .c_str());
}

}  // namespace

TARVO_PY_FAMILY(features, bindFeatures);

}  // namespace tarvopy
