// String: a character string with one member, a pointer to its characters,
// and StringArray, an array of them.
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"

namespace tarvo {

class TARVO_BASE_EXPORTS String {
public:
    String();
    String(const char* s);
    // The first n characters of s (fewer when s is shorter).
    String(const char* s, int n);
    String(const String& o);
    String(String&& o) noexcept;
    ~String();
    String& operator=(const String& o);
    String& operator=(const char* s);
    String& operator+=(const String& o);
    String& operator+=(const char* s);
    String& operator+=(char c);

    // Never null: an empty string gives "".
    const char* str() const { return m_p ? m_p : ""; }
    operator const char*() const { return str(); }
    int length() const;
    bool isEmpty() const { return !m_p || !*m_p; }
    // Negative, zero or positive like strcmp; a null s compares as "".
    int compare(const char* s) const;
    int compare(const String& o) const { return compare(o.str()); }
    // Index of the first c, or -1.
    int find(char c) const;
    // Characters [start, start + n), clipped.
    String substr(int start, int n) const;

private:
    char* m_p;
};

TARVO_BASE_EXPORTS bool operator==(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator!=(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator<(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator<=(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator>(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator>=(const String& a, const String& b);
TARVO_BASE_EXPORTS bool operator==(const String& a, const char* b);
TARVO_BASE_EXPORTS bool operator!=(const String& a, const char* b);
TARVO_BASE_EXPORTS bool operator<(const String& a, const char* b);
TARVO_BASE_EXPORTS bool operator<=(const String& a, const char* b);
TARVO_BASE_EXPORTS bool operator>(const String& a, const char* b);
TARVO_BASE_EXPORTS bool operator>=(const String& a, const char* b);
// With the C string on the left the String is the object of the comparison and
// the sense is turned round: a < b is b.compare(a) > 0.
TARVO_BASE_EXPORTS bool operator==(const char* a, const String& b);
TARVO_BASE_EXPORTS bool operator!=(const char* a, const String& b);
TARVO_BASE_EXPORTS bool operator<(const char* a, const String& b);
TARVO_BASE_EXPORTS bool operator<=(const char* a, const String& b);
TARVO_BASE_EXPORTS bool operator>(const char* a, const String& b);
TARVO_BASE_EXPORTS bool operator>=(const char* a, const String& b);
// Concatenation: a copy of the left operand with the right one appended.
TARVO_BASE_EXPORTS String operator+(const String& a, const String& b);
TARVO_BASE_EXPORTS String operator+(const String& a, char b);
TARVO_BASE_EXPORTS String operator+(const String& a, const char* b);
TARVO_BASE_EXPORTS String operator+(char a, const String& b);
TARVO_BASE_EXPORTS String operator+(const char* a, const String& b);

// An array of strings.
class TARVO_BASE_EXPORTS StringArray : public Array<String> {
public:
    StringArray() {}
    StringArray(const StringArray& o) : Array<String>(o) {}
    StringArray& operator=(const StringArray& o) {
        Array<String>::operator=(o);
        return *this;
    }
    ~StringArray() override;
    // Index of the first string equal to s, or -1.
    int find(const char* s) const;
};

}  // namespace tarvo
