// The extension module _tarvo: runs every family's binding file and builds
// docstrings from the tool's operation table.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>

#include "operations.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

struct Family {
    const char* name;
    BindFn fn;
};
std::vector<Family>& families() {
    static std::vector<Family> list;
    return list;
}

// Docstrings live as long as the process: the module keeps pointers to them.
std::deque<std::string>& docStore() {
    static std::deque<std::string>* store = new std::deque<std::string>();
    return *store;
}

std::string number(double v, bool integer) {
    char buf[64];
    std::snprintf(buf, sizeof(buf), integer ? "%.0f" : "%g", v);
    return buf;
}

// "help (whole number 0..2, default 0)" or the named choices of a table parameter.
std::string paramText(const tarvotool::ParamSpec& p) {
    std::string s = p.help;
    if (p.choices) {
        s += "; one of:";
        for (const tarvotool::Choice* c = p.choices; c->name; c++)
            s += std::string(c == p.choices ? " " : ", ") + std::to_string(c->code) + " (" +
                 c->name + ")";
        return s;
    }
    return s + " (tool range " + number(p.lo, p.integer) + ".." + number(p.hi, p.integer) +
           ", default " + number(p.def, p.integer) + ")";
}

// Wraps text to the width of a terminal, indenting continuation lines.
std::string wrap(const std::string& text, size_t indent, size_t width = 79) {
    std::string out, line;
    size_t pos = 0;
    const std::string pad(indent, ' ');
    while (pos < text.size()) {
        size_t end = text.find(' ', pos);
        if (end == std::string::npos) end = text.size();
        const std::string word = text.substr(pos, end - pos);
        if (!line.empty() && indent + line.size() + 1 + word.size() > width) {
            out += line + "\n" + pad;
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
        pos = end + 1;
    }
    return out + line;
}

}  // namespace

FamilyRegistrar::FamilyRegistrar(const char* name, BindFn fn) {
    families().push_back(Family{name, fn});
}

void bindAllFamilies(py::module_& tarvo, py::module_& ip) {
    std::vector<Family> list = families();
    std::sort(list.begin(), list.end(),
              [](const Family& a, const Family& b) { return std::strcmp(a.name, b.name) < 0; });
    for (const Family& f : list) f.fn(tarvo, ip);
}

const char* const kDstHelp =
    "optional keyword: an array to write the result into (it must have the result's shape and "
    "dtype, be writable, with pixels contiguous within each row); passing src itself runs the "
    "in-place form; an array that overlaps src only in part raises ValueError";

Doc::Doc(const char* signature, const char* tool)
    : m_signature(signature), m_tool(tool ? tool : "") {}

Doc& Doc::what(const char* text) {
    m_what = text;
    return *this;
}

Doc& Doc::arg(const char* name, const char* help) {
    m_args.emplace_back(name, help);
    return *this;
}

Doc& Doc::argFromTool(const char* name, const char* param, const char* note) {
    std::string text;
    const tarvotool::Operation* op =
        m_tool.empty() ? nullptr : tarvotool::findOperation(m_tool.c_str());
    for (int k = 0; op && k < tarvotool::paramCount(*op); k++)
        if (std::strcmp(op->params[k].name, param) == 0) text = paramText(op->params[k]);
    if (note) text += text.empty() ? note : std::string("; ") + note;
    m_args.emplace_back(name, text);
    return *this;
}

Doc& Doc::returns(const char* text) {
    m_returns = text;
    return *this;
}

Doc& Doc::refused(const char* text) {
    m_refused = text;
    return *this;
}

Doc& Doc::note(const char* text) {
    m_notes += (m_notes.empty() ? "" : "\n\n") + wrap(text, 0);
    return *this;
}

const char* Doc::c_str() {
    const tarvotool::Operation* op =
        m_tool.empty() ? nullptr : tarvotool::findOperation(m_tool.c_str());
    std::string s = m_signature + "\n\n";
    std::string what = m_what;
    if (what.empty() && op) what = std::string(op->summary) + ".";
    if (!what.empty()) s += wrap(what, 0) + "\n";
    if (!m_args.empty()) {
        s += "\nArguments:\n";
        for (const auto& a : m_args) {
            std::string head = "  " + a.first;
            if (head.size() < 18)
                head.resize(18, ' ');
            else
                head += "\n" + std::string(18, ' ');
            s += head + wrap(a.second, 18) + "\n";
        }
    }
    if (!m_returns.empty()) s += "\nReturns:\n  " + wrap(m_returns, 2) + "\n";
    if (!m_refused.empty()) s += "\nRefused input:\n  " + wrap(m_refused, 2) + "\n";
    if (!m_notes.empty()) s += "\n" + m_notes + "\n";
    if (op) {
        s += "\nCommand line:\n  tarvo " + m_tool + " --help";
        if (op->example) s += "\n  example: tarvo " + std::string(op->example);
        s += "\n";
    }
    docStore().push_back(s);
    return docStore().back().c_str();
}

}  // namespace tarvopy

namespace {

const char* const kModuleDoc = "Low-level extension of the tarvo package; import tarvo instead.\n";

}  // namespace

PYBIND11_MODULE(_tarvo, m) {
    namespace py = pybind11;
    // Docstrings carry their own signature lines, written for people.
    py::options options;
    options.disable_function_signatures();
    m.doc() = kModuleDoc;
    py::module_ ip = m.def_submodule("ip", "The image functions of tarvoip.");
    tarvopy::bindAllFamilies(m, ip);
}
