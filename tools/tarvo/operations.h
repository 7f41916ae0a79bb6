// The operations of the tarvo tool. Every operation is one row of a table: its
// name, a one-line summary, its parameters with defaults and ranges, and the
// function that runs it. Each family keeps its rows in its own ops_<family>.cpp
// and registers them with TARVO_TOOL_OPERATIONS; demo pictures are registered
// the same way with TARVO_DEMO_STEPS. The command line, the per-operation help
// and the demo all read these tables, so adding an operation is adding a row.
#pragma once

#include <cstddef>
#include <string>

#include "tarvo/mat.h"
#include "tarvo/pump.h"

namespace tarvotool {

// One named value of a parameter with a closed set of codes. A list of choices
// ends with a null name.
struct Choice {
    const char* name;  // e.g. "binary-inv"
    int code;          // the library's code for it
};

// One numeric parameter, given on the command line as --name VALUE. A
// parameter with choices takes one of their names or its code; any other value
// is refused, whatever the library would do with it.
struct ParamSpec {
    const char* name;                 // option name without the dashes; null ends the list
    const char* help;                 // what it means, with its unit
    double def;                       // value when the option is not given
    double lo, hi;                    // accepted range, inclusive
    bool integer;                     // true when only whole numbers are accepted
    const Choice* choices = nullptr;  // closed set of codes, or null
};

// The border modes of the filter and geometry families, for a --border option:
// fill, clamp, mirror, wrap, mirror-no-edge (codes 0..4).
extern const Choice kBorderChoices[];

constexpr int kMaxParams = 16;

// Parameter values in the order of Operation::params.
struct Args {
    double v[kMaxParams];
    int i(int k) const { return int(v[k]); }
    float f(int k) const { return float(v[k]); }
};

// Channel counts of the pictures an operation takes, as bits of
// Operation::inputs. Pictures are loaded as they are: grey files give one
// channel, colour files three, colour with transparency four.
enum : unsigned {
    kGrey = 1u,    // one channel
    kColour = 2u,  // three channels, R, G, B
    kAlpha = 4u,   // four channels, R, G, B, A; without it the alpha is dropped
};
constexpr unsigned kGreyOrColour = kGrey | kColour;

// How far an operation's result at a pixel depends on the source picture. The
// batch command prints it and the Python module tiles pictures by it: a tile
// grown by the radius on every side gives exactly the whole picture's result
// in its middle.
struct Reach {
    // Radius in source pixels (the largest row or column distance read) for
    // these parameters: 0 for a point operation, kWholePicture when the result
    // may depend on any pixel (histograms, hysteresis, contours, or a pattern
    // anchored at the picture's corner). Null when the row declares nothing.
    int (*radius)(const Args& args) = nullptr;
    // What sets the radius, or why the whole picture is needed, in a few words.
    const char* note = nullptr;
    // True when the result's size differs from the source's.
    bool resizes = false;
};
constexpr int kWholePicture = -1;

// Ready-made radius functions for the common cases.
int reachPoint(const Args& args);   // 0
int reachGlobal(const Args& args);  // kWholePicture
// The declaration of a point operation and of one that needs the whole picture.
constexpr Reach kPointReach = {reachPoint, nullptr, false};
constexpr Reach globalReach(const char* why) {
    return Reach{reachGlobal, why, false};
}

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
    // One example invocation without the leading "tarvo", ending the help.
    const char* example = nullptr;
    // Channel counts run() accepts; a picture outside them is refused with a
    // one-line reason before run() is called.
    unsigned inputs = kGreyOrColour;
    // Optional check of the parameters against the picture, called before
    // run(): returns null when they fit, else the reason in a few words
    // (e.g. "--scale cannot be combined with --width").
    const char* (*check)(const tarvo::Mat& in, const Args& args) = nullptr;
    // How far the result depends on the source (see Reach); rows that leave it
    // out are treated as needing the whole picture.
    Reach reach = {};
};

// Adds rows to the operation table; used through TARVO_TOOL_OPERATIONS at
// namespace scope of an ops_<family>.cpp file.
struct OperationRegistrar {
    OperationRegistrar(const Operation* rows, std::size_t count);
};
#define TARVO_TOOL_CONCAT2(a, b) a##b
#define TARVO_TOOL_CONCAT(a, b) TARVO_TOOL_CONCAT2(a, b)
#define TARVO_TOOL_OPERATIONS(rows)                                                               \
    static const ::tarvotool::OperationRegistrar TARVO_TOOL_CONCAT(tarvoOpsRegistrar_, __LINE__)( \
        rows, sizeof(rows) / sizeof((rows)[0]))

// One picture of `tarvo demo`: the operation and options that make it, as they
// would be typed on the command line, applied to an input picture.
struct DemoStep {
    const char* file;       // output file name in the demo folder, e.g. "canny.png"
    const char* label;      // what the picture shows, one short line
    const char* input;      // "" for the bundled sample, else an earlier step's file
    const char* operation;  // a row of the operation table
    const char* options;    // as typed on the command line
    int order;              // place on the demo page, ascending; ties by file name
};

// Adds demo steps; used through TARVO_DEMO_STEPS like TARVO_TOOL_OPERATIONS.
struct DemoRegistrar {
    DemoRegistrar(const DemoStep* steps, std::size_t count);
};
#define TARVO_DEMO_STEPS(steps)                                                               \
    static const ::tarvotool::DemoRegistrar TARVO_TOOL_CONCAT(tarvoDemoRegistrar_, __LINE__)( \
        steps, sizeof(steps) / sizeof((steps)[0]))

// Every registered demo step, sorted by order, then file name.
const DemoStep* demoSteps(std::size_t* count);

// The table (sorted by name) and its length.
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

// Radius of op for args: Reach::radius, or kWholePicture when undeclared.
int reachRadius(const Operation& op, const Args& args);
// One line on op's reach with its default parameters, e.g. "stencil, radius 3
// with the defaults (2 sigma, or --support, rounded)", "point" or "whole picture:
// hysteresis follows edges anywhere".
std::string describeReach(const Operation& op);

// Usage text of one operation (for --help).
std::string operationHelp(const Operation& op);

// Runs op on in into out the way the command line does: checks the picture's
// channels and the parameters, drops an alpha channel the operation does not
// take, and reports an empty result. On failure returns false with one line
// in error; inName names the picture in that line.
bool applyOperation(const Operation& op, const tarvo::Mat& in, const Args& args, tarvo::Mat& out,
                    const std::string& inName, std::string& error);

}  // namespace tarvotool
