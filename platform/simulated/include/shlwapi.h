// The shell's light-weight helpers.
#pragma once

#include <windef.h>

extern "C" {

BOOL WINAPI PathIsDirectoryEmptyW(LPCWSTR path);
BOOL WINAPI PathIsURLW(LPCWSTR path);

}  // extern "C"
