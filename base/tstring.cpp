// String and StringArray.
#include "tarvo/tstring.h"

#include <cstdlib>
#include <cstring>

namespace tarvo {

namespace {

char* dupN(const char* s, size_t n) {
    char* p = static_cast<char*>(std::malloc(n + 1));
    if (!p) return nullptr;
    if (n) std::memcpy(p, s, n);
    p[n] = 0;
    return p;
}

}  // namespace

String::String() : m_p(nullptr) {}

String::String(const char* s) : m_p(s && *s ? dupN(s, std::strlen(s)) : nullptr) {}

String::String(const char* s, int n) : m_p(nullptr) {
    if (!s || n <= 0) return;
    size_t len = 0;
    while (len < (size_t)n && s[len]) len++;
    if (len) m_p = dupN(s, len);
}

String::String(const String& o) : String(o.m_p) {}

String::String(String&& o) noexcept : m_p(o.m_p) {
    o.m_p = nullptr;
}

String::~String() {
    std::free(m_p);
}

String& String::operator=(const String& o) {
    if (&o != this) *this = o.m_p;
    return *this;
}

String& String::operator=(const char* s) {
    if (s == m_p) return *this;
    char* p = s && *s ? dupN(s, std::strlen(s)) : nullptr;
    std::free(m_p);
    m_p = p;
    return *this;
}

String& String::operator+=(const char* s) {
    if (!s || !*s) return *this;
    size_t a = m_p ? std::strlen(m_p) : 0, b = std::strlen(s);
    char* p = static_cast<char*>(std::malloc(a + b + 1));
    if (!p) return *this;
    if (a) std::memcpy(p, m_p, a);
    std::memcpy(p + a, s, b + 1);
    std::free(m_p);
    m_p = p;
    return *this;
}

String& String::operator+=(const String& o) {
    if (&o == this) {
        String copy(o);
        return *this += copy.str();
    }
    return *this += o.str();
}

String& String::operator+=(char c) {
    char s[2] = {c, 0};
    if (!c) return *this;
    return *this += s;
}

int String::length() const {
    return m_p ? (int)std::strlen(m_p) : 0;
}

int String::compare(const char* s) const {
    return std::strcmp(str(), s ? s : "");
}

int String::find(char c) const {
    if (!m_p) return -1;
    const char* q = std::strchr(m_p, c);
    return q && c ? (int)(q - m_p) : -1;
}

String String::substr(int start, int n) const {
    int len = length();
    if (start < 0) start = 0;
    if (start >= len || n <= 0) return String();
    if (n > len - start) n = len - start;
    return String(m_p + start, n);
}

bool operator==(const String& a, const String& b) {
    return a.compare(b) == 0;
}
bool operator!=(const String& a, const String& b) {
    return a.compare(b) != 0;
}
bool operator<(const String& a, const String& b) {
    return a.compare(b) < 0;
}
bool operator<=(const String& a, const String& b) {
    return a.compare(b) <= 0;
}
bool operator>(const String& a, const String& b) {
    return a.compare(b) > 0;
}
bool operator>=(const String& a, const String& b) {
    return a.compare(b) >= 0;
}
bool operator==(const String& a, const char* b) {
    return a.compare(b) == 0;
}
bool operator!=(const String& a, const char* b) {
    return a.compare(b) != 0;
}
bool operator<(const String& a, const char* b) {
    return a.compare(b) < 0;
}
bool operator<=(const String& a, const char* b) {
    return a.compare(b) <= 0;
}
bool operator>(const String& a, const char* b) {
    return a.compare(b) > 0;
}
bool operator>=(const String& a, const char* b) {
    return a.compare(b) >= 0;
}
bool operator==(const char* a, const String& b) {
    return b.compare(a) == 0;
}
bool operator!=(const char* a, const String& b) {
    return b.compare(a) != 0;
}
bool operator<(const char* a, const String& b) {
    return b.compare(a) > 0;
}
bool operator<=(const char* a, const String& b) {
    return b.compare(a) >= 0;
}
bool operator>(const char* a, const String& b) {
    return b.compare(a) < 0;
}
bool operator>=(const char* a, const String& b) {
    return b.compare(a) <= 0;
}

String operator+(const String& a, const String& b) {
    String r(a);
    r += b;
    return r;
}
String operator+(const String& a, char b) {
    String r(a);
    r += b;
    return r;
}
String operator+(const String& a, const char* b) {
    String r(a);
    r += b;
    return r;
}
String operator+(char a, const String& b) {
    String r;
    r += a;
    r += b;
    return r;
}
String operator+(const char* a, const String& b) {
    String r(a);
    r += b;
    return r;
}

StringArray::~StringArray() {}

int StringArray::find(const char* s) const {
    for (int i = 0; i < getSize(); i++)
        if (getAt(i).compare(s) == 0) return i;
    return -1;
}

}  // namespace tarvo
