// Diagnostic prints of the ISO engine and the H.263 walker.
#pragma once

#include <cstdio>

// Prints nothing, whatever it is given. Nothing in the library calls it; the name is interface.
int myprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints to standard output, or hands the line to the host's function, within the bounds of the book in force
// (line_book.h). The stream is ignored although every caller names stderr: hosts collect these lines there,
// so it stays. A reader of standard output that has gone costs the line and nothing else.
int myfprintf(FILE* stream, const char* format, ...) __attribute__((format(printf, 2, 3)));
