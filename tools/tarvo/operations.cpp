// The operation table of the tarvo tool: the registry that the ops_<family>.cpp
// files fill, option parsing and per-operation help.
#include "operations.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
            std::snprintf(line, sizeof(line), "  --%-12s %s (default %s)\n", p.name, p.help,
                          def ? def : formatNumber(p.def, true).c_str());
            s += line;
            for (const Choice* c = p.choices; c->name; c++) {
                std::snprintf(line, sizeof(line), "      %-16s (%d)\n", c->name, c->code);
                s += line;
            }
            continue;
        }
        std::snprintf(line, sizeof(line), "  --%-12s %s (%s %s..%s, default %s)\n", p.name, p.help,
                      p.integer ? "whole number" : "number", formatNumber(p.lo, p.integer).c_str(),
                      formatNumber(p.hi, p.integer).c_str(),
                      formatNumber(p.def, p.integer).c_str());
        s += line;
    }
    s += "IN is a PNG, JPEG, BMP, PGM or PPM picture; OUT's extension picks the format.\n";
    if (op.example) s += std::string("example: tarvo ") + op.example + "\n";
    return s;
}

}  // namespace tarvotool
