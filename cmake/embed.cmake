# Turns a binary file into a C++ source holding it as a byte array.
# Usage: cmake -DIN=file -DOUT=file.cpp -DNAME=symbol -P embed.cmake
file(READ "${IN}" hex HEX)
string(LENGTH "${hex}" n)
math(EXPR bytes "${n} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," body "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" body "${body}")
file(WRITE "${OUT}" "// Generated from ${IN}; do not edit.\n#include <cstddef>\nextern const unsigned char ${NAME}[] = {\n${body}\n};\nextern const std::size_t ${NAME}_size = ${bytes};\n")
