// Exception: part of the exported surface. No function of the library throws
// it; applications may.
#pragma once

#include "tarvo/export.h"

namespace tarvo {

class TARVO_BASE_EXPORTS Exception {
public:
    Exception(const char* function = "", const char* message = "", const char* file = "",
              int line = 0, long code = 0)
        : m_function(function ? function : ""),
          m_message(message ? message : ""),
          m_file(file ? file : ""),
          m_reserved(0),
          m_line(line),
          m_code(code) {}
    virtual ~Exception();
    const char* functionName() const { return m_function; }
    const char* errorMessage() const { return m_message; }
    const char* sourceFile() const { return m_file; }
    int sourceLine() const { return m_line; }
    long errorCode() const { return m_code; }
    // The error message.
    virtual const char* What() const { return m_message; }
    // Throws a copy of this object.
    virtual void throwLast() const;

private:
    const char* m_function;
    const char* m_message;
    const char* m_file;
    int m_reserved;
    int m_line;
    long m_code;
};

}  // namespace tarvo
