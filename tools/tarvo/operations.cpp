// The operation table of the tarvo tool: the registry that the ops_<family>.cpp
// files fill, option parsing and per-operation help.
#include "operations.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace tarvotool {

namespace {

// Function-local statics: registrars in other files run during static
// initialisation, in an order the language leaves open.
std::vector<Operation>& registeredOperations() {
    static std::vector<Operation> rows;
    return rows;
}
std::vector<DemoStep>& registeredDemoSteps() {
    static std::vector<DemoStep> steps;
    return steps;
}
bool g_operationsSorted = false;
bool g_demoSorted = false;

// The name of a choice's code, or null.
const char* choiceName(const ParamSpec& p, double v) {
    for (const Choice* c = p.choices; c && c->name; c++)
        if (c->code == v) return c->name;
    return nullptr;
}

std::string formatNumber(double v, bool integer) {
    char buf[64];
    if (integer)
        std::snprintf(buf, sizeof(buf), "%.0f", v);
    else
        std::snprintf(buf, sizeof(buf), "%g", v);
    return buf;
}

}  // namespace

const Choice kBorderChoices[] = {{"fill", 0}, {"clamp", 1},          {"mirror", 2},
                                 {"wrap", 3}, {"mirror-no-edge", 4}, {nullptr, 0}};

OperationRegistrar::OperationRegistrar(const Operation* rows, std::size_t count) {
    registeredOperations().insert(registeredOperations().end(), rows, rows + count);
    g_operationsSorted = false;
}

DemoRegistrar::DemoRegistrar(const DemoStep* steps, std::size_t count) {
    registeredDemoSteps().insert(registeredDemoSteps().end(), steps, steps + count);
    g_demoSorted = false;
}

const Operation* operationTable(std::size_t* count) {
    std::vector<Operation>& rows = registeredOperations();
    if (!g_operationsSorted) {
        std::sort(rows.begin(), rows.end(), [](const Operation& a, const Operation& b) {
            return std::strcmp(a.name, b.name) < 0;
        });
        g_operationsSorted = true;
    }
    *count = rows.size();
    return rows.data();
}

const DemoStep* demoSteps(std::size_t* count) {
    std::vector<DemoStep>& steps = registeredDemoSteps();
    if (!g_demoSorted) {
        std::stable_sort(steps.begin(), steps.end(), [](const DemoStep& a, const DemoStep& b) {
            if (a.order != b.order) return a.order < b.order;
            return std::strcmp(a.file, b.file) < 0;
        });
        g_demoSorted = true;
    }
    *count = steps.size();
    return steps.data();
}

const Operation* findOperation(const char* name) {
    if (!name) return nullptr;
    std::size_t n;
    const Operation* t = operationTable(&n);
    for (std::size_t i = 0; i < n; i++)
        if (std::strcmp(t[i].name, name) == 0) return &t[i];
    return nullptr;
}

int paramCount(const Operation& op) {
    int n = 0;
    while (n < kMaxParams && op.params[n].name) n++;
    return n;
}

int reachPoint(const Args&) {
    return 0;
}

int reachGlobal(const Args&) {
    return kWholePicture;
}

int reachRadius(const Operation& op, const Args& args) {
    if (!op.reach.radius) return kWholePicture;
    const int r = op.reach.radius(args);
    return r < 0 ? kWholePicture : r;
}

std::string describeReach(const Operation& op) {
    if (!op.reach.radius) return "whole picture: no reach declared";
    Args defaults;
    for (int k = 0; k < kMaxParams; k++) defaults.v[k] = k < paramCount(op) ? op.params[k].def : 0;
    const int r = reachRadius(op, defaults);
    std::string s;
    if (r == kWholePicture)
        s = "whole picture";
    else if (r == 0)
        s = "point";
    else
        s = "stencil, radius " + std::to_string(r) + " with the defaults";
    if (op.reach.note) s += std::string(r == kWholePicture ? ": " : " (") + op.reach.note;
    if (op.reach.note && r != kWholePicture) s += ")";
    if (op.reach.resizes) s += "; changes the picture's size";
    return s;
}

bool parseArgs(const Operation& op, int n, const char* const* words, Args& args,
               std::string* positional, int maxPositional, int* positionalCount,
               std::string& error) {
    const int np = paramCount(op);
    for (int k = 0; k < kMaxParams; k++) args.v[k] = k < np ? op.params[k].def : 0.0;
    int npos = 0;
    for (int w = 0; w < n; w++) {
        const char* word = words[w];
        if (std::strncmp(word, "--", 2) != 0 || word[2] == 0) {
            if (npos >= maxPositional) {
                error = std::string("unexpected argument '") + word + "'";
                return false;
            }
            positional[npos++] = word;
            continue;
        }
        std::string name(word + 2), value;
        bool haveValue = false;
        std::size_t eq = name.find('=');
        if (eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            haveValue = true;
        }
        int k = 0;
        while (k < np && name != op.params[k].name) k++;
        if (k == np) {
            error = std::string("unknown option '--") + name + "' for " + op.name + " (see tarvo " +
                    op.name + " --help)";
            return false;
        }
        if (!haveValue) {
            if (w + 1 >= n) {
                error = "option '--" + name + "' needs a value";
                return false;
            }
            value = words[++w];
        }
        const ParamSpec& p = op.params[k];
        bool named = false;
        double v = 0;
        for (const Choice* c = p.choices; c && c->name; c++)
            if (value == c->name) {
                v = c->code;
                named = true;
            }
        if (named) {
            args.v[k] = v;
            continue;
        }
        errno = 0;
        char* end = nullptr;
        v = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != 0 || errno == ERANGE || !std::isfinite(v)) {
            error = "option '--" + name + "' needs a number, got '" + value + "'";
            return false;
        }
        if (p.integer && v != std::floor(v)) {
            error = "option '--" + name + "' needs a whole number, got '" + value + "'";
            return false;
        }
        if (p.choices && !choiceName(p, v)) {
            std::string names;
            for (const Choice* c = p.choices; c->name; c++)
                names += (names.empty() ? "" : ", ") + std::string(c->name);
            error = "option '--" + name + "' takes one of " + names + " (or its number), got '" +
                    value + "'";
            return false;
        }
        if (v < p.lo || v > p.hi) {
            error = "option '--" + name + "' must lie in " + formatNumber(p.lo, p.integer) + ".." +
                    formatNumber(p.hi, p.integer) + ", got '" + value + "'";
            return false;
        }
        args.v[k] = v;
    }
    *positionalCount = npos;
    return true;
}

std::string operationHelp(const Operation& op) {
    std::string s = std::string("usage: tarvo ") + op.name + (paramCount(op) ? " [options]" : "") +
                    " IN OUT\n" + op.summary + ".\n";
    const int np = paramCount(op);
    if (np) s += "options:\n";
    for (int k = 0; k < np; k++) {
        const ParamSpec& p = op.params[k];
        char line[512];
        if (p.choices) {
            const char* def = choiceName(p, p.def);
            std::snprintf(line, sizeof(line), "  --%-12s%s%s (default %s)\n", p.name,
                          std::strlen(p.name) > 12 ? "\n                 " : " ", p.help,
                          def ? def : formatNumber(p.def, true).c_str());
            s += line;
            for (const Choice* c = p.choices; c->name; c++) {
                // A choice named by its own number ("3" for 3) needs no code beside it.
                if (std::to_string(c->code) == c->name)
                    std::snprintf(line, sizeof(line), "      %s\n", c->name);
                else
                    std::snprintf(line, sizeof(line), "      %-16s (%d)\n", c->name, c->code);
                s += line;
            }
            continue;
        }
        std::snprintf(line, sizeof(line), "  --%-12s%s%s (%s %s..%s, default %s)\n", p.name,
                      std::strlen(p.name) > 12 ? "\n                 " : " ", p.help,
                      p.integer ? "whole number" : "number", formatNumber(p.lo, p.integer).c_str(),
                      formatNumber(p.hi, p.integer).c_str(),
                      formatNumber(p.def, p.integer).c_str());
        s += line;
    }
    s += "output options:\n"
         "  --quality N     JPEG quality of OUT, 1..100 (default 95)\n"
         "  --compression N PNG compression of OUT, 0 none .. 9 smallest (default 6)\n";
    s += "IN is a PNG, JPEG, BMP, PGM or PPM picture; OUT's extension picks the format.\n";
    if ((op.inputs & kGreyOrColour) == kColour)
        s += "IN must be a colour picture; grey pictures are refused.\n";
    else if ((op.inputs & kGreyOrColour) == kGrey)
        s += "IN must be a grey picture; colour pictures are refused.\n";
    else
        s += "Grey pictures stay grey, colour pictures stay colour.\n";
    if (op.example) s += std::string("example: tarvo ") + op.example + "\n";
    return s;
}

namespace {

const char* channelWord(int cn) {
    switch (cn) {
        case 1:
            return "grey (one channel)";
        case 3:
            return "colour (three channels)";
        case 4:
            return "colour with transparency (four channels)";
        default:
            return "of an unusual channel count";
    }
}

// R, G, B of an R, G, B, A byte picture.
bool dropAlpha(const tarvo::Mat& in, tarvo::Mat& out) {
    if (out.create(in.rows(), in.cols(), tarvo::MAT_Tuchar3) < 0) return false;
    for (int y = 0; y < in.rows(); y++) {
        const unsigned char* s = in.ptr<unsigned char>(y);
        unsigned char* d = out.ptr<unsigned char>(y);
        for (int x = 0; x < in.cols(); x++, s += 4, d += 3) {
            d[0] = s[0];
            d[1] = s[1];
            d[2] = s[2];
        }
    }
    return true;
}

}  // namespace

bool applyOperation(const Operation& op, const tarvo::Mat& in, const Args& args, tarvo::Mat& out,
                    const std::string& inName, std::string& error) {
    out.release();
    const tarvo::Mat* src = &in;
    tarvo::Mat opaque;
    const int cn = in.channels();
    if (cn == 4 && !(op.inputs & kAlpha) && in.type() == tarvo::MAT_Tuchar) {
        if (!dropAlpha(in, opaque)) {
            error = std::string(op.name) + ": out of memory for '" + inName + "'";
            return false;
        }
        src = &opaque;
    }
    const int scn = src->channels();
    const bool fits = (scn == 1 && (op.inputs & kGrey)) || (scn == 3 && (op.inputs & kColour)) ||
                      (scn == 4 && (op.inputs & kAlpha));
    if (!fits) {
        error = std::string(op.name) + " needs a " +
                ((op.inputs & kColour) ? "colour (three-channel)" : "grey (one-channel)") +
                " picture; '" + inName + "' is " + channelWord(scn);
        return false;
    }
    if (op.check) {
        if (const char* why = op.check(*src, args)) {
            error = std::string(op.name) + ": " + why;
            return false;
        }
    }
    op.run(*src, out, args);
    if (out.empty()) {
        error = std::string(op.name) + " refused the picture '" + inName + "'";
        return false;
    }
    return true;
}

}  // namespace tarvotool
