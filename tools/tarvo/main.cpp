// tarvo: the command-line door to the library.
//
//   tarvo info                          library, vector targets, threads
//   tarvo list                          the operations
//   tarvo <operation> [options] IN OUT  run one operation on a picture
//   tarvo batch IN_DIR OUT_DIR -- OP .. a chain of operations over a folder
//   tarvo demo [--out DIR]              showcase on the bundled sample
//   tarvo features FILE                 the tree of a feature file
//   tarvo --version | --help
//
// Every failure is one line on stderr and exit status 2.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "operations.h"
#include "tarvo/ip/core.h"
#include "tarvo/parallel.h"
#include "tool.h"

using namespace tarvotool;

namespace {

tarvo::tagLibraryInfo libraryInfo() {
    tarvo::tagLibraryInfo info;
    std::memset(&info, 0, sizeof(info));
    GettarvoIPInfo(&info);
    return info;
}

void printUsage() {
    std::printf(
        "usage: tarvo <operation> [options] IN OUT   run one operation on a picture\n"
        "       tarvo <operation> --help             its options, with an example\n"
        "       tarvo list                           the operations\n"
        "       tarvo batch [--jobs N] [--recursive] [--quiet] IN_DIR OUT_DIR -- OP [options] "
        "[-- OP ...]\n"
        "                                            a chain of operations on every picture "
        "of a folder\n"
        "       tarvo demo [--out DIR]               showcase on the bundled sample picture\n"
        "       tarvo features FILE                  the tree of a feature file\n"
        "       tarvo info                           library, vector targets, threads\n"
        "       tarvo --version                      library version\n"
        "Pictures are PNG, JPEG, BMP, PGM or PPM files; grey stays grey, colour stays colour.\n"
        "Errors are one line on stderr with exit status 2.\n"
        "example: tarvo gaussian --sigma 2 in.png out.png\n");
}

int cmdVersion() {
    const tarvo::tagLibraryInfo info = libraryInfo();
    std::printf("tarvo %d.%d.%d (library %s)\n", info.nMajor, info.nMinor, info.nPatch,
                info.szName);
    return 0;
}

// Vector instruction sets the library uses on this processor.
std::string vectorTargets() {
    const char* names = tarvo::hardwareFeatureNames();
    return names && *names ? names : "none (scalar code)";
}

// The vector paths that the feature query switches on, by what they serve.
std::string vectorPaths() {
    static const struct {
        int code;
        const char* what;
    } kPaths[] = {{tarvo::CPU_FLOAT_VECTORS, "float"},
                  {tarvo::CPU_INT_VECTORS, "integer"},
                  {tarvo::CPU_SSE41, "transforms"},
                  {tarvo::CPU_AVX, "wide float"},
                  {tarvo::CPU_AVX2, "wide integer"}};
    std::string s;
    for (const auto& p : kPaths)
        if (tarvo::checkHardwareSupport(p.code)) s += (s.empty() ? "" : ", ") + std::string(p.what);
    return s.empty() ? "none (scalar code)" : s;
}

int cmdInfo() {
    const tarvo::tagLibraryInfo info = libraryInfo();
    std::printf("library:        %s (version %d.%d.%d)\n", info.szName, info.nMajor, info.nMinor,
                info.nPatch);
    std::printf("copyright:      %s\n", info.szCopyright);
    std::printf("vector targets: %s\n", vectorTargets().c_str());
    std::printf("vector paths:   %s\n", vectorPaths().c_str());
    std::printf("threads:        %d\n", tarvo::getNumThreads());
    return 0;
}

int cmdList() {
    std::size_t n;
    const Operation* t = operationTable(&n);
    std::printf("operations (tarvo <operation> --help for parameters):\n");
    for (std::size_t i = 0; i < n; i++) std::printf("  %-22s %s\n", t[i].name, t[i].summary);
    std::printf("  %-22s %s\n", "demo", "Showcase on the bundled sample picture");
    return 0;
}

// Takes --quality and --compression out of words (unless op has parameters of
// those names) into options. False with one line in error on a bad value.
bool takeWriteOptions(const Operation& op, std::vector<const char*>& words, WriteOptions& options,
                      bool& gaveQuality, bool& gaveCompression, std::string& error) {
    struct Known {
        const char* name;
        int lo, hi;
        int* value;
        bool* given;
    } known[] = {{"quality", 1, 100, &options.jpegQuality, &gaveQuality},
                 {"compression", 0, 9, &options.pngCompression, &gaveCompression}};
    std::vector<const char*> rest;
    for (std::size_t w = 0; w < words.size(); w++) {
        const std::string word = words[w];
        Known* k = nullptr;
        std::string value;
        bool inlineValue = false;
        for (Known& c : known) {
            const std::string opt = std::string("--") + c.name;
            bool own = false;
            for (int p = 0; p < paramCount(op); p++)
                own |= std::strcmp(op.params[p].name, c.name) == 0;
            if (own) continue;
            if (word == opt) {
                k = &c;
            } else if (word.rfind(opt + "=", 0) == 0) {
                k = &c;
                value = word.substr(opt.size() + 1);
                inlineValue = true;
            }
        }
        if (!k) {
            rest.push_back(words[w]);
            continue;
        }
        if (!inlineValue) {
            if (w + 1 >= words.size()) {
                error = std::string("option '--") + k->name + "' needs a value";
                return false;
            }
            value = words[++w];
        }
        errno = 0;
        char* end = nullptr;
        const double v = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != 0 || !std::isfinite(v) || v != std::floor(v) || v < k->lo ||
            v > k->hi) {
            error = std::string("option '--") + k->name + "' needs a whole number in " +
                    std::to_string(k->lo) + ".." + std::to_string(k->hi) + ", got '" + value + "'";
            return false;
        }
        *k->value = int(v);
        *k->given = true;
    }
    words.swap(rest);
    return true;
}

int cmdOperation(const Operation& op, int argc, const char* const* argv) {
    for (int i = 0; i < argc; i++)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(operationHelp(op).c_str(), stdout);
            return 0;
        }
    std::vector<const char*> words(argv, argv + argc);
    WriteOptions options;
    bool gaveQuality = false, gaveCompression = false;
    std::string error;
    if (!takeWriteOptions(op, words, options, gaveQuality, gaveCompression, error))
        return fail(error);
    Args args;
    std::string files[2];
    int nfiles = 0;
    if (!parseArgs(op, int(words.size()), words.data(), args, files, 2, &nfiles, error))
        return fail(error);
    if (nfiles != 2)
        return fail(std::string(op.name) + " needs an input and an output file: tarvo " + op.name +
                    " [options] IN OUT");
    std::string ext = files[1].substr(files[1].find_last_of('.') == std::string::npos
                                          ? files[1].size()
                                          : files[1].find_last_of('.'));
    for (char& c : ext) c = char(std::tolower((unsigned char)c));
    if (gaveQuality && ext != ".jpg" && ext != ".jpeg")
        return fail("option '--quality' applies to JPEG output (.jpg), not '" + files[1] + "'");
    if (gaveCompression && ext != ".png")
        return fail("option '--compression' applies to PNG output (.png), not '" + files[1] + "'");
    tarvo::Mat in, out;
    if (!loadPicture(files[0], in, error)) return fail(error);
    if (!applyOperation(op, in, args, out, files[0], error)) return fail(error);
    if (!savePicture(files[1], out, error, options)) return fail(error);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return fail(
            "no command given; usage: tarvo <operation> [options] IN OUT (tarvo --help for more)");
    const char* cmd = argv[1];
    const char* const* rest = argv + 2;
    const int nrest = argc - 2;
    if (!std::strcmp(cmd, "--help") || !std::strcmp(cmd, "-h") || !std::strcmp(cmd, "help")) {
        printUsage();
        return 0;
    }
    if (!std::strcmp(cmd, "--version") || !std::strcmp(cmd, "version")) {
        if (nrest > 0) return fail(std::string(cmd) + " takes no arguments");
        return cmdVersion();
    }
    if (!std::strcmp(cmd, "info") || !std::strcmp(cmd, "list")) {
        if (nrest > 0) return fail(std::string(cmd) + " takes no arguments");
        return cmd[0] == 'i' ? cmdInfo() : cmdList();
    }
    if (!std::strcmp(cmd, "demo")) return runDemo(nrest, rest);
    if (!std::strcmp(cmd, "batch")) return runBatch(nrest, rest);
    if (!std::strcmp(cmd, "features")) return runFeatures(nrest, rest);
    const Operation* op = findOperation(cmd);
    if (!op) {
        if (cmd[0] == '-')
            return fail(std::string("unknown option '") + cmd + "' (tarvo --help shows the usage)");
        return fail(std::string("unknown operation '") + cmd + "' (tarvo list shows them)");
    }
    return cmdOperation(*op, nrest, rest);
}
