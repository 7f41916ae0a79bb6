// The operations of the tarvo tool. Every operation is one row of the table in
// operations.cpp: its name, a one-line summary, its parameters with defaults
// and ranges, and the function that runs it. The command line, the per-operation
// help and the demo all read this table, so adding an operation is adding a row.
#pragma once

#include <cstddef>
#include <string>

#include "tarvo/mat.h"
#include "tarvo/pump.h"

namespace tarvotool {

// One numeric parameter, given on the command line as --name VALUE.
struct ParamSpec {
    const char* name;  // option name without the dashes; null ends the list
    const char* help;  // what it means, with its unit
    double def;        // value when the option is not given
    double lo, hi;     // accepted range, inclusive
    bool integer;      // true when only whole numbers are accepted
};

constexpr int kMaxParams = 6;

// Parameter values in the order of Operation::params.
struct Args {
    double v[kMaxParams];
    int i(int k) const { return int(v[k]); }
    float f(int k) const { return float(v[k]); }
};

struct Operation {
    const char* name;
    const char* summary;
    ParamSpec params[kMaxParams];
    // Runs the operation from in into out. The library's operations leave the
    // destination empty when they refuse an image; the tool reports that.
    void (*run)(const tarvo::Mat& in, tarvo::Mat& out, const Args& args);
    // The same operation as a pump with these parameters, for pump pipelines;
    // null when the operation has no pump form.
    tarvo::PumpABC* (*makePump)(const Args& args);
};

// The table and its length.
const Operation* operationTable(std::size_t* count);
// The operation called name, or null.
const Operation* findOperation(const char* name);
// Number of parameters of an operation.
int paramCount(const Operation& op);

// Fills args from "--name value" / "--name=value" words (argv-style, count n)
// after setting every default. Words that are not options are returned in
// positional (up to maxPositional). On a bad word returns false and writes one
// line to error.
bool parseArgs(const Operation& op, int n, const char* const* words, Args& args,
               std::string* positional, int maxPositional, int* positionalCount,
               std::string& error);

// Usage text of one operation (for --help).
std::string operationHelp(const Operation& op);

}  // namespace tarvotool
