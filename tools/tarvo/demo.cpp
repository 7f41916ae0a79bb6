// tarvo demo: runs a showcase on the bundled sample and writes PNG files and
// an index.html that shows each picture with the command line that makes it.
//
// The pictures are the registered demo steps (TARVO_DEMO_STEPS in the
// ops_<family>.cpp files): an output file, an operation of the table and its
// options, applied to the sample or to an earlier step's picture. Each step
// runs exactly as `tarvo <operation> <options> IN OUT` would in the output
// folder, so its command line on the page reproduces the file byte for byte.
// The last picture chains the operations that have a pump form through a Pipe.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "operations.h"
#include "tarvo/ip/core.h"
#include "tarvo/pump.h"
#include "tool.h"

namespace tarvotool {

namespace {

// The sample is written under this name beside the results, so that every
// command line on the page can name it.
const char kSampleFile[] = "sample.png";

// Operations chained as pumps into pipeline.png, in this order.
const DemoStep kPipelineSteps[] = {
    {"", "", "", "colorize", "--hue 20 --saturation 160 --blend 0.5", 0},
    {"", "", "", "shift-rgb", "--red 10 --blue 25", 0},
    {"", "", "", "color-temperature", "--kelvin 8000", 0},
};
const char kPipelineFile[] = "pipeline.png";

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
    if (!parseArgs(*op, int(argv.size()), argv.data(), args, pos, 0, &npos, error)) {
        error = std::string("demo step '") + step.file + "': " + error;
        return false;
    }
    return true;
}

// "tarvo <operation> <options> IN OUT" with single spaces.
std::string commandLine(const char* operation, const char* options, const std::string& in,
                        const std::string& out) {
    std::string cmd = std::string("tarvo ") + operation;
    for (const std::string& w : splitWords(options)) cmd += " " + w;
    return cmd + " " + in + " " + out;
}

// Runs the pump forms of the pipeline steps over the sample through a Pipe.
// The same chain as separate commands, each writing over the last result,
// goes into command. Returns false with a message when a step cannot be built
// or gives nothing; false with an empty message when nothing can be chained.
bool runPipeline(const tarvo::Mat& sample, tarvo::Mat& result, std::string& description,
                 std::string& command, std::string& error) {
    tarvo::Pipe pipe;
    tarvo::PumpABC* entry = tarvo::MatToImagePump::New();
    if (!entry || !pipe.append(entry)) {
        delete entry;
        error = "cannot build the demo pipeline";
        return false;
    }
    int stages = 0;
    for (const DemoStep& step : kPipelineSteps) {
        const Operation* op;
        Args args;
        if (!parseStep(step, op, args, error)) return false;
        tarvo::PumpABC* pump = op->makePump ? op->makePump(args) : nullptr;
        if (!pump || !pipe.append(pump)) {
            delete pump;
            error = std::string("operation '") + op->name + "' cannot be chained as a pump";
            return false;
        }
        description += (stages ? " -> " : "") + std::string(op->name);
        command += (stages ? " && " : "") + commandLine(op->name, step.options,
                                                        stages ? kPipelineFile : kSampleFile,
                                                        kPipelineFile);
        stages++;
    }
    if (stages == 0) return false;
    entry->regData(const_cast<tarvo::Mat*>(&sample), "mat");
    const bool ran = pipe.run();
    tarvo::PumpABC* last = pipe.getAt(pipe.getPumpCount() - 1);
    tarvo::Mat* out = ran ? static_cast<tarvo::Mat*>(last->getDataEx(1)) : nullptr;
    if (out && !out->empty()) result = *out;
    entry->regData(nullptr, "");
    if (!ran) {
        error = "the demo pipeline could not be ordered";
        return false;
    }
    if (result.empty()) {
        error = "the demo pipeline produced an empty picture";
        return false;
    }
    return true;
}

std::string htmlEscape(const std::string& s) {
    std::string o;
    for (char c : s) {
        switch (c) {
            case '&':
                o += "&amp;";
                break;
            case '<':
                o += "&lt;";
                break;
            case '>':
                o += "&gt;";
                break;
            case '"':
                o += "&quot;";
                break;
            default:
                o += c;
        }
    }
    return o;
}

struct Picture {
    std::string file, label, command;  // command empty for the sample itself
    int cols, rows, channels;
};

bool writeIndex(const std::string& path, const std::vector<Picture>& pictures,
                const std::string& version, std::string& error) {
    std::ofstream f(path, std::ios::binary);
    f << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<title>tarvo demo</title>\n<style>\n"
         "body{font-family:sans-serif;margin:1.5em;background:#fafafa;color:#222}\n"
         "main{display:flex;flex-wrap:wrap;gap:1.2em}\n"
         "figure{margin:0;padding:.6em;background:#fff;border:1px solid #ddd;width:420px}\n"
         "figure img{max-width:100%;display:block;margin:0 auto;image-rendering:auto}\n"
         "figcaption{margin-top:.4em;font-size:.9em}\n"
         ".label{display:block;font-weight:bold}\n"
         ".size{color:#777}\n"
         "code.cmd{display:block;margin-top:.3em;padding:.3em;background:#f0f0f0;"
         "font-size:.85em;white-space:pre-wrap;word-break:break-all}\n"
         "</style>\n</head>\n<body>\n<h1>tarvo demo</h1>\n<p>"
      << htmlEscape(version)
      << ". Each picture below was made from <code>sample.png</code> by the command under it; "
         "run in this folder, the command writes the same file byte for byte.</p>\n<main>\n";
    for (const Picture& p : pictures) {
        const char* kind = p.channels == 1 ? "grey" : p.channels == 4 ? "RGBA" : "colour";
        f << "<figure>\n<a href=\"" << htmlEscape(p.file) << "\"><img src=\"" << htmlEscape(p.file)
          << "\" alt=\"" << htmlEscape(p.label) << "\"></a>\n<figcaption>"
          << "<span class=\"label\">" << htmlEscape(p.label) << "</span>"
          << "<span class=\"size\">" << htmlEscape(p.file) << ", " << p.cols << "x" << p.rows << " "
          << kind << "</span>";
        if (!p.command.empty()) f << "<code class=\"cmd\">" << htmlEscape(p.command) << "</code>";
        f << "</figcaption>\n</figure>\n";
    }
    f << "</main>\n</body>\n</html>\n";
    f.close();
    if (!f) {
        error = "cannot write '" + path + "'";
        return false;
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
                "Runs a showcase of the operations on the sample picture built into tarvo and\n"
                "writes the results as PNG files into DIR (default ./demo-out), with index.html\n"
                "showing each picture and the command line that makes it.\n"
                "example: tarvo demo --out /tmp/tarvo-demo\n");
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
    const auto pathOf = [&](const std::string& file) {
        return (std::filesystem::path(outDir) / file).string();
    };
    {
        std::size_t n = 0;
        const unsigned char* bytes = sampleBytes(&n);
        std::ofstream f(pathOf(kSampleFile), std::ios::binary);
        f.write(reinterpret_cast<const char*>(bytes), std::streamsize(n));
        f.close();
        if (!f) return fail("cannot write '" + pathOf(kSampleFile) + "'");
    }

    std::vector<Picture> pictures;
    pictures.push_back({kSampleFile, "the bundled sample picture", "", sample.cols(), sample.rows(),
                        sample.channels()});
    const auto save = [&](const Picture& p, const tarvo::Mat& img) {
        if (!savePicture(pathOf(p.file), img, error)) return false;
        pictures.push_back(p);
        pictures.back().cols = img.cols();
        pictures.back().rows = img.rows();
        pictures.back().channels = img.channels();
        return true;
    };

    std::size_t nsteps = 0;
    const DemoStep* steps = demoSteps(&nsteps);
    std::vector<tarvo::Mat> results(nsteps);
    for (std::size_t s = 0; s < nsteps; s++) {
        const DemoStep& step = steps[s];
        const Operation* op;
        Args args;
        if (!parseStep(step, op, args, error)) return fail(error);
        const tarvo::Mat* input = &sample;
        std::string inputFile = kSampleFile;
        if (step.input && *step.input) {
            input = nullptr;
            for (std::size_t i = 0; i < s; i++)
                if (std::strcmp(steps[i].file, step.input) == 0) input = &results[i];
            if (!input)
                return fail(std::string("demo step '") + step.file + "' reads '" + step.input +
                            "', which no earlier step writes");
            inputFile = step.input;
        }
        for (std::size_t i = 0; i < s; i++)
            if (std::strcmp(steps[i].file, step.file) == 0)
                return fail(std::string("two demo steps write '") + step.file + "'");
        if (!applyOperation(*op, *input, args, results[s], inputFile, error))
            return fail("demo step '" + std::string(step.file) + "': " + error);
        if (!save({step.file, step.label, commandLine(op->name, step.options, inputFile, step.file),
                   0, 0, 0},
                  results[s]))
            return fail(error);
    }

    tarvo::Mat chained;
    std::string chain, chainCommand;
    if (runPipeline(sample, chained, chain, chainCommand, error)) {
        if (!save({kPipelineFile, "pump pipeline: " + chain, chainCommand, 0, 0, 0}, chained))
            return fail(error);
    } else if (!error.empty()) {
        return fail(error);
    }

    tarvo::tagLibraryInfo info;
    std::memset(&info, 0, sizeof(info));
    GettarvoIPInfo(&info);
    char version[160];
    std::snprintf(version, sizeof(version), "%s %d.%d.%d", info.szName, info.nMajor, info.nMinor,
                  info.nPatch);
    if (!writeIndex(pathOf("index.html"), pictures, version, error)) return fail(error);

    std::string abs = std::filesystem::absolute(outDir, ec).lexically_normal().string();
    std::printf("tarvo demo: %zu pictures written to %s\n", pictures.size(), abs.c_str());
    for (const Picture& p : pictures) std::printf("  %-24s %s\n", p.file.c_str(), p.label.c_str());
    std::printf("open %s/index.html in a browser to see them with their command lines\n",
                abs.c_str());
    return 0;
}

}  // namespace tarvotool
