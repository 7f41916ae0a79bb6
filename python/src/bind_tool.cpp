// The rows of the tarvo tool from Python: how far each operation reads the
// source (for tiling), and running a row on an array the way the command line
// does (for batches). Private names: tarvo.dask and tarvo.batch use them.
#include <cstring>
#include <string>
#include <vector>

#include "operations.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

const tarvotool::Operation& rowNamed(const std::string& name) {
    const tarvotool::Operation* op = tarvotool::findOperation(name.c_str());
    if (!op) throw py::value_error("the tarvo tool has no operation '" + name + "'");
    return *op;
}

// Parameter values by option name ("support" or "ksize"; '_' stands for '-'),
// the row's defaults for the rest.
tarvotool::Args argsFrom(const tarvotool::Operation& op, const py::dict& params) {
    tarvotool::Args args;
    const int np = tarvotool::paramCount(op);
    for (int k = 0; k < tarvotool::kMaxParams; k++) args.v[k] = k < np ? op.params[k].def : 0.0;
    for (const auto& item : params) {
        std::string key = py::str(item.first);
        for (char& c : key)
            if (c == '_') c = '-';
        int k = 0;
        while (k < np && key != op.params[k].name) k++;
        if (k == np)
            throw py::value_error(std::string(op.name) + " has no parameter '" + key + "'");
        if (py::isinstance<py::str>(item.second)) {
            // A named choice ("weighted5") or a number written as text.
            const std::string word = py::str(item.second);
            const char* words[2] = {nullptr, word.c_str()};
            const std::string opt = "--" + key;
            words[0] = opt.c_str();
            tarvotool::Args parsed;
            std::string error;
            int npos = 0;
            if (!tarvotool::parseArgs(op, 2, words, parsed, nullptr, 0, &npos, error))
                throw py::value_error(error);
            args.v[k] = parsed.v[k];
        } else {
            args.v[k] = item.second.cast<double>();
        }
    }
    return args;
}

// (radius, note, resizes): radius 0 for a point operation, -1 when the result
// may depend on the whole picture.
py::tuple reach(const std::string& name, const py::dict& params) {
    const tarvotool::Operation& op = rowNamed(name);
    const int r = tarvotool::reachRadius(op, argsFrom(op, params));
    py::object note = op.reach.note     ? py::object(py::str(op.reach.note))
                      : op.reach.radius ? py::object(py::none())
                                        : py::object(py::str("no reach declared"));
    return py::make_tuple(r, note, op.reach.resizes);
}

// Runs a row on img with command-line options (["--sigma", "2"]); raises
// ValueError with the tool's one-line reason when the row refuses.
py::object run(const std::string& name, py::handle img, const std::vector<std::string>& options) {
    const tarvotool::Operation& op = rowNamed(name);
    std::vector<const char*> words;
    for (const std::string& w : options) words.push_back(w.c_str());
    tarvotool::Args args;
    std::string stray[1], error;
    int nstray = 0;
    if (!tarvotool::parseArgs(op, int(words.size()), words.data(), args, stray, 1, &nstray, error))
        throw py::value_error(error);
    if (nstray) throw py::value_error(name + " takes options only, got '" + stray[0] + "'");
    InArray in = matFromArray(img, "img");
    tarvo::Mat out;
    bool ok = false;
    nogil([&] { ok = tarvotool::applyOperation(op, in.mat, args, out, "the picture", error); });
    if (!ok) throw py::value_error(error);
    return arrayFromMat(std::move(out));
}

std::vector<std::string> rows() {
    std::size_t n;
    const tarvotool::Operation* t = tarvotool::operationTable(&n);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < n; i++) names.push_back(t[i].name);
    return names;
}

void bindTool(py::module_& m, py::module_&) {
    m.def("_tool_reach", &reach, "row"_a, "params"_a = py::dict(),
          "(radius, note, resizes) of a tool row for these parameters; radius -1: whole picture");
    m.def("_tool_run", &run, "row"_a, "img"_a, "options"_a = std::vector<std::string>(),
          "Runs a tool row on an array with command-line options; ValueError when refused");
    m.def("_tool_rows", &rows, "Names of the tool's operations");
}

}  // namespace

TARVO_PY_FAMILY(tool, bindTool);

}  // namespace tarvopy
