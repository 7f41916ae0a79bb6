// Small settings and text helpers: an INI store, a key=value property
// reader, a token file and a command-line parameter table.
#pragma once

#include <cstdio>

#include "tarvo/export.h"
#include "tarvo/tstring.h"

namespace tarvo {

// Sections ("keys") of name=value pairs, kept in memory in insertion order.
class TARVO_BASE_EXPORTS IniFile {
public:
    IniFile();
    IniFile(const IniFile& o);
    IniFile& operator=(const IniFile& o);
    virtual ~IniFile();
    // Reads "[key]" lines and "name=value" lines (';' or '#' start comments); false when
    // unreadable.
    bool readFile(const char* path);
    bool writeFile(const char* path) const;
    int numKeys() const;
    // Name of key i, "" outside.
    String keyName(int i) const;
    // Number of values of a key, 0 for an unknown key.
    int numValues(const char* key) const;
    // Name of value i of a key, "" outside.
    String valueName(const char* key, int i) const;
    String getValue(const char* key, const char* name, const char* def = "") const;
    void setValue(const char* key, const char* name, const char* value);
    // The value as an int (def when absent or not a number).
    int getValueI(const char* key, const char* name, int def = 0) const;
    void setValueI(const char* key, const char* name, int value);
    // Removes everything.
    void erase();

private:
    struct Impl;
    Impl* m_impl;
};

// Reads "key = value" lines of a properties file.
class TARVO_BASE_EXPORTS PropsReader {
public:
    PropsReader();
    PropsReader(const PropsReader& o);
    PropsReader& operator=(const PropsReader& o);
    virtual ~PropsReader();
    bool load(const char* path);
    // The value of key, def when absent.
    String get(const char* key, const char* def = "") const;
    int count() const;

private:
    struct Impl;
    Impl* m_impl;
};

// Writes and reads length-prefixed strings, and splits whitespace tokens.
class TARVO_BASE_EXPORTS TokenFile {
public:
    TokenFile();
    TokenFile(const TokenFile&) = delete;
    TokenFile& operator=(const TokenFile&) = delete;
    virtual ~TokenFile();
    // mode "r" or "w"; false when the file cannot be opened.
    bool open(const char* path, const char* mode);
    void close();
    // A 32-bit little-endian length, then the characters.
    bool writeString(const String& s);
    // Reads what writeString wrote; false at the end or on a corrupt length.
    bool readString(String& s);
    // The next whitespace-separated token; false at the end.
    bool nextToken(String& token);

private:
    FILE* m_fp;
};

// Parses "--name value", "--name=value" and "--flag" arguments.
class TARVO_BASE_EXPORTS CommandLineParameters {
public:
    CommandLineParameters();
    CommandLineParameters(int argc, const char* const* argv);
    CommandLineParameters(const CommandLineParameters& o);
    CommandLineParameters& operator=(const CommandLineParameters& o);
    virtual ~CommandLineParameters();
    bool has(const char* name) const;
    String get(const char* name, const char* def = "") const;
    // Arguments that are not options, in order.
    int positionalCount() const;
    String positional(int i) const;

private:
    struct Impl;
    Impl* m_impl;
};

}  // namespace tarvo
