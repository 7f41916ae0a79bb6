// tarvo demo: runs a showcase on the bundled sample and writes PNG files.
//
// The demo is a list of steps in the same spirit as the operation table: each
// row names an output file, an operation of the table and its options. The
// last part chains the operations that have a pump form through a Pipe.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "operations.h"
#include "tarvo/ip/integral.h"
#include "tarvo/pump.h"
#include "tool.h"

namespace tarvotool {

namespace {

// Pictures of the colour panel (colour-panel.png), beside the original, in
// reading order: the file names of the single steps above.
const char* const kColourPanel[] = {"colorize.png", "shift-rgb.png", "hsl.png",
                                    "temperature-3500.png", "temperature-11000.png"};

// Operations chained as pumps into pipeline.png, in this order.
const DemoStep kPipelineSteps[] = {
    {"", "", "", "colorize", "--hue 20 --saturation 160 --blend 0.5", 0},
    {"", "", "", "shift-rgb", "--red 10 --blue 25", 0},
    {"", "", "", "color-temperature", "--kelvin 8000", 0},
};

std::vector<std::string> splitWords(const char* s) {
    std::vector<std::string> out;
    std::istringstream in(s ? s : "");
    std::string w;
    while (in >> w) out.push_back(w);
    return out;
}

bool parseStep(const DemoStep& step, const Operation*& op, Args& args, std::string& error) {
    op = findOperation(step.operation);
    if (!op) {
        error = std::string("demo step '") + step.file + "' names no operation '" + step.operation +
                "'";
        return false;
    }
    std::vector<std::string> words = splitWords(step.options);
    std::vector<const char*> argv;
    for (const std::string& w : words) argv.push_back(w.c_str());
    std::string pos[1];
    int npos = 0;
    return parseArgs(*op, int(argv.size()), argv.data(), args, pos, 0, &npos, error);
}

// Runs the pump forms of the pipeline steps over the sample through a Pipe.
// Returns false with a message when a step cannot be built or gives nothing.
bool runPipeline(const tarvo::Mat& sample, tarvo::Mat& result, std::string& description,
                 std::string& error) {
    tarvo::Pipe pipe;
    tarvo::PumpABC* entry = tarvo::MatToImagePump::New();
    if (!entry || !pipe.append(entry)) {
        delete entry;
        error = "cannot build the demo pipeline";
        return false;
    }
    int stages = 0;
    for (const DemoStep& step : kPipelineSteps) {
        if (!step.operation) continue;
        const Operation* op;
        Args args;
        if (!parseStep(step, op, args, error)) return false;
        tarvo::PumpABC* pump = op->makePump ? op->makePump(args) : nullptr;
        if (!pump || !pipe.append(pump)) {
            delete pump;
            error = std::string("operation '") + op->name + "' cannot be chained as a pump";
            return false;
        }
        description += (stages++ ? " -> " : "") + std::string(op->name);
    }
    if (stages == 0) return false;  // nothing to chain yet
    entry->regData(const_cast<tarvo::Mat*>(&sample), "mat");
    if (!pipe.run()) {
        error = "the demo pipeline could not be ordered";
        return false;
    }
    tarvo::PumpABC* last = pipe.getAt(pipe.getPumpCount() - 1);
    tarvo::Mat* out = static_cast<tarvo::Mat*>(last->getDataEx(1));
    if (!out || out->empty()) {
        error = "the demo pipeline produced an empty picture";
        return false;
    }
    result = *out;
    entry->regData(nullptr, "");
    return true;
}

// Tiles the pictures, each halved by pyrDown, three to a row on a black
// ground. Pictures whose size or type differ from the first are skipped.
bool makePanel(const std::vector<const tarvo::Mat*>& pictures, tarvo::Mat& panel) {
    if (pictures.empty() || pictures[0]->empty()) return false;
    std::vector<tarvo::Mat> tiles;
    for (const tarvo::Mat* p : pictures) {
        if (!p->isEqualSize(*pictures[0]) || p->type1() != pictures[0]->type1()) continue;
        tiles.emplace_back();
        tarvo::ip::pyrDown(*p, tiles.back());
        if (tiles.back().empty()) tiles.pop_back();
    }
    if (tiles.empty()) return false;
    const int perRow = 3, gap = 4, tw = tiles[0].cols(), th = tiles[0].rows();
    const int nrows = (int(tiles.size()) + perRow - 1) / perRow;
    const int ncols = int(tiles.size()) < perRow ? int(tiles.size()) : perRow;
    panel = tarvo::Mat(nrows * th + (nrows + 1) * gap, ncols * tw + (ncols + 1) * gap,
                       tiles[0].type1(), tarvo::Point4_<double>(0, 0, 0, 0));
    if (panel.empty()) return false;
    const size_t esz = size_t(tiles[0].channels()) * tarvo::depthSize(tiles[0].type());
    for (size_t i = 0; i < tiles.size(); i++) {
        const int x0 = gap + int(i % perRow) * (tw + gap), y0 = gap + int(i / perRow) * (th + gap);
        for (int y = 0; y < th; y++)
            std::memcpy(panel.ptr<unsigned char>(y0 + y) + size_t(x0) * esz,
                        tiles[i].ptr<unsigned char>(y), size_t(tw) * esz);
    }
    return true;
}

}  // namespace

int runDemo(int argc, const char* const* argv) {
    std::string outDir = "demo-out";
    for (int i = 0; i < argc; i++) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::printf(
                "usage: tarvo demo [--out DIR]\n"
                "Runs a showcase of the operations on the sample picture built into tarvo\n"
                "and writes the results as PNG files into DIR (default ./demo-out).\n");
            return 0;
        } else if (a == "--out" && i + 1 < argc) {
            outDir = argv[++i];
        } else if (a.rfind("--out=", 0) == 0) {
            outDir = a.substr(6);
        } else if (a == "--out") {
            return fail("option '--out' needs a folder");
        } else {
            return fail("unknown argument '" + a + "' for demo (see tarvo demo --help)");
        }
    }
    if (outDir.empty()) return fail("option '--out' needs a folder");

    std::error_code ec;
    std::filesystem::create_directories(outDir, ec);
    if (ec || !std::filesystem::is_directory(outDir)) {
        return fail("cannot create folder '" + outDir +
                    "': " + (ec ? ec.message() : std::string("a file of that name exists")));
    }
    std::string error;
    tarvo::Mat sample;
    if (!loadSample(sample, error)) return fail(error);

    struct Written {
        std::string file, what;
    };
    std::vector<Written> written;
    auto save = [&](const std::string& file, const tarvo::Mat& img, const std::string& what) {
        std::string path = (std::filesystem::path(outDir) / file).string();
        if (!savePicture(path, img, error)) return false;
        written.push_back({file, what});
        return true;
    };

    char size[64];
    std::snprintf(size, sizeof(size), "the bundled sample, %dx%d", sample.cols(), sample.rows());
    if (!save("original.png", sample, size)) return fail(error);

    std::size_t nsteps = 0;
    const DemoStep* steps = demoSteps(&nsteps);
    std::vector<tarvo::Mat> results(nsteps);
    std::vector<const tarvo::Mat*> panelPictures{&sample};
    for (std::size_t s = 0; s < nsteps; s++) {
        const DemoStep& step = steps[s];
        const Operation* op;
        Args args;
        if (!parseStep(step, op, args, error)) return fail(error);
        const tarvo::Mat* input = &sample;
        if (step.input && *step.input) {
            input = nullptr;
            for (std::size_t i = 0; i < s; i++)
                if (std::strcmp(steps[i].file, step.input) == 0) input = &results[i];
            if (!input)
                return fail(std::string("demo step '") + step.file + "' reads '" + step.input +
                            "', which no earlier step writes");
        }
        tarvo::Mat& result = results[s];
        op->run(*input, result, args);
        if (result.empty())
            return fail(std::string("operation '") + op->name + "' refused the sample picture");
        if (!save(step.file, result, std::string(op->name) + " " + step.options))
            return fail(error);
    }
    for (const char* file : kColourPanel)
        for (std::size_t i = 0; i < nsteps; i++)
            if (std::string(steps[i].file) == file) panelPictures.push_back(&results[i]);
    tarvo::Mat panel;
    if (makePanel(panelPictures, panel) &&
        !save("colour-panel.png", panel, "original and the colour operators, half size"))
        return fail(error);

    tarvo::Mat chained;
    std::string chain;
    if (runPipeline(sample, chained, chain, error)) {
        if (!save("pipeline.png", chained, "pump pipeline: " + chain)) return fail(error);
    } else if (!error.empty()) {
        return fail(error);
    }

    std::string abs = std::filesystem::absolute(outDir, ec).lexically_normal().string();
    std::printf("tarvo demo: %zu pictures written to %s\n", written.size(), abs.c_str());
    for (const Written& w : written) std::printf("  %-22s %s\n", w.file.c_str(), w.what.c_str());
    return 0;
}

}  // namespace tarvotool
