// The shell: splitting a command line.
#pragma once

#include <windef.h>

extern "C" {

/// The result is one block, to be freed by LocalFree.
LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR commandLine, int* count);

}  // extern "C"
