// tarvo features FILE: the tree of a feature file, or why it is refused.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "tarvo/ip/features.h"
#include "tool.h"

namespace tarvotool {

namespace {

void printFeature(const tarvo::FeatureABC* f, int depth) {
    const std::string indent(size_t(2 * depth), ' ');
    if (!f) {
        std::printf("%s(an element that cannot be read back)\n", indent.c_str());
        return;
    }
    if (const tarvo::FeatureSet* s = dynamic_cast<const tarvo::FeatureSet*>(f)) {
        std::printf("%s%s: %d element%s, dimension %d\n", indent.c_str(), f->getID(), s->getSize(),
                    s->getSize() == 1 ? "" : "s", f->dimension());
        for (int i = 0; i < s->getSize(); i++) printFeature(s->getAt(i), depth + 1);
        return;
    }
    if (const tarvo::FeatureVec* v = dynamic_cast<const tarvo::FeatureVec*>(f)) {
        std::printf("%s%s: %d x %d, dimension %d\n", indent.c_str(), f->getID(), v->width,
                    v->height, f->dimension());
        return;
    }
    std::printf("%s%s: dimension %d\n", indent.c_str(), f->getID(), f->dimension());
}

}  // namespace

int runFeatures(int argc, const char* const* argv) {
    if (argc == 1 && (!std::strcmp(argv[0], "--help") || !std::strcmp(argv[0], "-h"))) {
        std::printf(
            "usage: tarvo features FILE\n"
            "Prints the tree of a feature file: each feature's identifier, its size or element\n"
            "count and its dimension, or one line on why the file is refused.\n"
            "example: tarvo features descriptors.feat\n");
        return 0;
    }
    if (argc != 1) return fail("features needs one file: tarvo features FILE");
    const std::string path = argv[0];
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        return fail("cannot read '" + path + "': it is a directory");
    FILE* probe = std::fopen(path.c_str(), "rb");
    if (!probe) return fail("cannot open '" + path + "': " + std::strerror(errno));
    char id[33] = {};
    const size_t got = std::fread(id, 1, 32, probe);
    std::fclose(probe);
    if (got < 32) return fail("'" + path + "' is too short to hold a feature (under 32 bytes)");
    tarvo::FeatureFactory* factory = tarvo::FeatureFactory::Instance();
    if (!factory) return fail("out of memory");
    bool printable = true;
    for (int i = 0; i < 32 && id[i]; i++) printable &= id[i] >= 32 && id[i] < 127;
    if (!printable || factory->find(tarvo::String(id)) < 0)
        return fail("'" + path + "' does not start with a known feature identifier" +
                    (printable && id[0] ? " ('" + std::string(id) + "')" : std::string()));
    tarvo::FeatureABC* f = factory->readFeature(path.c_str());
    if (!f)
        return fail("'" + path + "' holds a " + std::string(id) +
                    " block that is truncated, malformed or nested too deeply");
    printFeature(f, 0);
    delete f;
    return 0;
}

}  // namespace tarvotool
