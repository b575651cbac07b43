// Kernel services that are no files: errors, handles.
#pragma once

#include <windef.h>

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

extern "C" {

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD status);
BOOL WINAPI CloseHandle(HANDLE handle);

}  // extern "C"
