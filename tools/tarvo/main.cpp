// tarvo: the command-line door to the library.
//
//   tarvo info                          library, vector targets, threads
//   tarvo list                          the operations
//   tarvo <operation> [options] IN OUT  run one operation on a picture
//   tarvo demo [--out DIR]              showcase on the bundled sample
//
// Every failure is one line on stderr and exit status 2.
#include <cstdio>
#include <cstring>
#include <string>

#include "operations.h"
#include "tarvo/ip/core.h"
#include "tarvo/parallel.h"
#include "tool.h"

using namespace tarvotool;

namespace {

void printUsage() {
    std::printf(
        "usage: tarvo info | list | demo [--out DIR] | <operation> [options] IN OUT\n"
        "       tarvo <operation> --help    parameters of one operation\n");
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
    } kPaths[] = {
        {tarvo::CPU_FLOAT_VECTORS, "float"},
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
    tarvo::tagLibraryInfo info;
    std::memset(&info, 0, sizeof(info));
    GettarvoIPInfo(&info);
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

int cmdOperation(const Operation& op, int argc, const char* const* argv) {
    for (int i = 0; i < argc; i++)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(operationHelp(op).c_str(), stdout);
            return 0;
        }
    Args args;
    std::string files[2], error;
    int nfiles = 0;
    if (!parseArgs(op, argc, argv, args, files, 2, &nfiles, error)) return fail(error);
    if (nfiles != 2)
        return fail(std::string(op.name) + " needs an input and an output file: tarvo " + op.name +
                    " [options] IN OUT");
    tarvo::Mat in, out;
    if (!loadPicture(files[0], in, error)) return fail(error);
    op.run(in, out, args);
    if (out.empty()) return fail(std::string(op.name) + " refused the picture '" + files[0] + "'");
    if (!savePicture(files[1], out, error)) return fail(error);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return fail(
            "no command given; usage: tarvo info | list | demo [--out DIR] | "
            "<operation> [options] IN OUT");
    const char* cmd = argv[1];
    const char* const* rest = argv + 2;
    const int nrest = argc - 2;
    if (!std::strcmp(cmd, "--help") || !std::strcmp(cmd, "-h") || !std::strcmp(cmd, "help")) {
        printUsage();
        return 0;
    }
    if (!std::strcmp(cmd, "info") || !std::strcmp(cmd, "list")) {
        if (nrest > 0) return fail(std::string(cmd) + " takes no arguments");
        return cmd[0] == 'i' ? cmdInfo() : cmdList();
    }
    if (!std::strcmp(cmd, "demo")) return runDemo(nrest, rest);
    const Operation* op = findOperation(cmd);
    if (!op) return fail(std::string("unknown operation '") + cmd + "' (tarvo list shows them)");
    return cmdOperation(*op, nrest, rest);
}
