// The shell's light-weight helpers.
#pragma once

#include <windef.h>
#include <winreg.h>

extern "C" {

BOOL WINAPI PathIsDirectoryEmptyW(LPCWSTR path);
BOOL WINAPI PathIsURLW(LPCWSTR path);
/// Deletes a key with everything below it.
LSTATUS WINAPI SHDeleteKeyW(HKEY key, LPCWSTR subkey);

}  // extern "C"
