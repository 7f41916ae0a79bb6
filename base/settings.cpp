// IniFile, PropsReader, TokenFile and CommandLineParameters.
#include "tarvo/settings.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tarvo {

namespace {

std::string trim(const std::string& s) {
    size_t a = 0, b = s.size();
    while (a < b && std::isspace((unsigned char)s[a])) a++;
    while (b > a && std::isspace((unsigned char)s[b - 1])) b--;
    return s.substr(a, b - a);
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

}  // namespace

// ---------------------------------------------------------------- IniFile

struct IniFile::Impl {
    std::vector<std::pair<std::string, Pairs>> keys;
    Pairs* find(const std::string& k) {
        for (auto& e : keys)
            if (e.first == k) return &e.second;
        return nullptr;
    }
    const Pairs* find(const std::string& k) const {
        for (auto& e : keys)
            if (e.first == k) return &e.second;
        return nullptr;
    }
};

IniFile::IniFile() : m_impl(new Impl) {}
IniFile::IniFile(const IniFile& o) : m_impl(new Impl(*o.m_impl)) {}
IniFile& IniFile::operator=(const IniFile& o) {
    if (&o != this) *m_impl = *o.m_impl;
    return *this;
}
IniFile::~IniFile() {
    delete m_impl;
}

bool IniFile::readFile(const char* path) {
    if (!path) return false;
    std::ifstream in(path);
    if (!in) return false;
    std::string line, key;
    while (std::getline(in, line)) {
        line = trim(line);
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        if (line[0] == '[') {
            size_t e = line.find(']');
            key = trim(line.substr(1, e == std::string::npos ? std::string::npos : e - 1));
            if (!m_impl->find(key)) m_impl->keys.emplace_back(key, Pairs());
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        setValue(key.c_str(), trim(line.substr(0, eq)).c_str(), trim(line.substr(eq + 1)).c_str());
    }
    return true;
}

bool IniFile::writeFile(const char* path) const {
    if (!path) return false;
    std::ofstream out(path);
    if (!out) return false;
    for (auto& k : m_impl->keys) {
        out << '[' << k.first << "]\n";
        for (auto& v : k.second) out << v.first << '=' << v.second << '\n';
    }
    return bool(out);
}

int IniFile::numKeys() const {
    return (int)m_impl->keys.size();
}

String IniFile::keyName(int i) const {
    if (i < 0 || i >= numKeys()) return String();
    return String(m_impl->keys[(size_t)i].first.c_str());
}

int IniFile::numValues(const char* key) const {
    const Pairs* p = m_impl->find(key ? key : "");
    return p ? (int)p->size() : 0;
}

String IniFile::valueName(const char* key, int i) const {
    const Pairs* p = m_impl->find(key ? key : "");
    if (!p || i < 0 || i >= (int)p->size()) return String();
    return String((*p)[(size_t)i].first.c_str());
}

String IniFile::getValue(const char* key, const char* name, const char* def) const {
    const Pairs* p = m_impl->find(key ? key : "");
    if (p && name)
        for (auto& v : *p)
            if (v.first == name) return String(v.second.c_str());
    return String(def);
}

void IniFile::setValue(const char* key, const char* name, const char* value) {
    if (!name) return;
    std::string k = key ? key : "";
    Pairs* p = m_impl->find(k);
    if (!p) {
        m_impl->keys.emplace_back(k, Pairs());
        p = &m_impl->keys.back().second;
    }
    for (auto& v : *p)
        if (v.first == name) {
            v.second = value ? value : "";
            return;
        }
    p->emplace_back(name, value ? value : "");
}

int IniFile::getValueI(const char* key, const char* name, int def) const {
    String s = getValue(key, name, "");
    if (s.isEmpty()) return def;
    char* end = nullptr;
    long v = std::strtol(s.str(), &end, 10);
    if (end == s.str() || *end) return def;
    if (v > INT32_MAX || v < INT32_MIN) return def;
    return (int)v;
}

void IniFile::setValueI(const char* key, const char* name, int value) {
    setValue(key, name, std::to_string(value).c_str());
}

void IniFile::erase() {
    m_impl->keys.clear();
}

// ---------------------------------------------------------------- PropsReader

struct PropsReader::Impl {
    std::map<std::string, std::string> values;
};

PropsReader::PropsReader() : m_impl(new Impl) {}
PropsReader::PropsReader(const PropsReader& o) : m_impl(new Impl(*o.m_impl)) {}
PropsReader& PropsReader::operator=(const PropsReader& o) {
    if (&o != this) *m_impl = *o.m_impl;
    return *this;
}
PropsReader::~PropsReader() {
    delete m_impl;
}

bool PropsReader::load(const char* path) {
    if (!path) return false;
    std::ifstream in(path);
    if (!in) return false;
    std::string line;
    while (std::getline(in, line)) {
        line = trim(line);
        if (line.empty() || line[0] == '#' || line[0] == '!') continue;
        size_t eq = line.find_first_of("=:");
        if (eq == std::string::npos) continue;
        m_impl->values[trim(line.substr(0, eq))] = trim(line.substr(eq + 1));
    }
    return true;
}

String PropsReader::get(const char* key, const char* def) const {
    auto it = m_impl->values.find(key ? key : "");
    return it == m_impl->values.end() ? String(def) : String(it->second.c_str());
}

int PropsReader::count() const {
    return (int)m_impl->values.size();
}

// ---------------------------------------------------------------- TokenFile

TokenFile::TokenFile() : m_fp(nullptr) {}
TokenFile::~TokenFile() {
    close();
}

bool TokenFile::open(const char* path, const char* mode) {
    close();
    if (!path || !mode) return false;
    m_fp = std::fopen(path, mode[0] == 'w' ? "wb" : "rb");
    return m_fp != nullptr;
}

void TokenFile::close() {
    if (m_fp) std::fclose(m_fp);
    m_fp = nullptr;
}

bool TokenFile::writeString(const String& s) {
    if (!m_fp) return false;
    uint32_t n = (uint32_t)s.length();
    unsigned char len[4] = {(unsigned char)n, (unsigned char)(n >> 8), (unsigned char)(n >> 16),
                            (unsigned char)(n >> 24)};
    return std::fwrite(len, 1, 4, m_fp) == 4 && std::fwrite(s.str(), 1, n, m_fp) == n;
}

bool TokenFile::readString(String& s) {
    if (!m_fp) return false;
    unsigned char len[4];
    if (std::fread(len, 1, 4, m_fp) != 4) return false;
    uint32_t n = len[0] | (len[1] << 8) | (len[2] << 16) | ((uint32_t)len[3] << 24);
    // The length is checked against what the file still holds before allocating.
    long pos = std::ftell(m_fp);
    if (pos < 0 || std::fseek(m_fp, 0, SEEK_END) != 0) return false;
    long end = std::ftell(m_fp);
    std::fseek(m_fp, pos, SEEK_SET);
    if (end < pos || (uint64_t)n > (uint64_t)(end - pos)) return false;
    std::string buf(n, '\0');
    if (n && std::fread(&buf[0], 1, n, m_fp) != n) return false;
    s = String(buf.c_str(), (int)n);
    return true;
}

bool TokenFile::nextToken(String& token) {
    if (!m_fp) return false;
    int c;
    do c = std::fgetc(m_fp);
    while (c != EOF && std::isspace(c));
    if (c == EOF) return false;
    std::string t;
    while (c != EOF && !std::isspace(c)) {
        t.push_back((char)c);
        c = std::fgetc(m_fp);
    }
    token = String(t.c_str());
    return true;
}

// ---------------------------------------------------------------- CommandLineParameters

struct CommandLineParameters::Impl {
    std::map<std::string, std::string> options;
    std::vector<std::string> positional;
};

CommandLineParameters::CommandLineParameters() : m_impl(new Impl) {}

CommandLineParameters::CommandLineParameters(int argc, const char* const* argv) : m_impl(new Impl) {
    for (int i = 1; argv && i < argc; i++) {
        if (!argv[i]) continue;
        std::string a = argv[i];
        if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            std::string name = a.substr(2), value;
            size_t eq = name.find('=');
            if (eq != std::string::npos) {
                value = name.substr(eq + 1);
                name = name.substr(0, eq);
            } else if (i + 1 < argc && argv[i + 1] && std::strncmp(argv[i + 1], "--", 2) != 0) {
                value = argv[++i];
            }
            m_impl->options[name] = value;
        } else {
            m_impl->positional.push_back(a);
        }
    }
}

CommandLineParameters::CommandLineParameters(const CommandLineParameters& o)
    : m_impl(new Impl(*o.m_impl)) {}
CommandLineParameters& CommandLineParameters::operator=(const CommandLineParameters& o) {
    if (&o != this) *m_impl = *o.m_impl;
    return *this;
}
CommandLineParameters::~CommandLineParameters() {
    delete m_impl;
}

bool CommandLineParameters::has(const char* name) const {
    return name && m_impl->options.count(name) != 0;
}

String CommandLineParameters::get(const char* name, const char* def) const {
    if (!name) return String(def);
    auto it = m_impl->options.find(name);
    return it == m_impl->options.end() ? String(def) : String(it->second.c_str());
}

int CommandLineParameters::positionalCount() const {
    return (int)m_impl->positional.size();
}

String CommandLineParameters::positional(int i) const {
    if (i < 0 || i >= positionalCount()) return String();
    return String(m_impl->positional[(size_t)i].c_str());
}

}  // namespace tarvo
