// The registry.
#pragma once

#include <windef.h>
#include <minwinbase.h>
#include <winnt.h>

using REGSAM = DWORD;

#define HKEY_CLASSES_ROOT \
    (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000000u))))
#define HKEY_CURRENT_USER \
    (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000001u))))
#define HKEY_LOCAL_MACHINE \
    (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000002u))))

extern "C" {

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY opened);
LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR className,
                               DWORD options, REGSAM access, const LPSECURITY_ATTRIBUTES security,
                               PHKEY opened, LPDWORD disposition);
LSTATUS WINAPI RegCloseKey(HKEY key);

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD size);
LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size);
LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name);

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPWSTR className, LPDWORD classSize, FILETIME* lastWrite);
LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                             LPDWORD type, LPBYTE data, LPDWORD size);

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subkey);
LSTATUS WINAPI RegDeleteKeyExW(HKEY key, LPCWSTR subkey, REGSAM view, DWORD reserved);
/// Without a subkey, empties the key.
LSTATUS WINAPI RegDeleteTreeW(HKEY key, LPCWSTR subkey);

}  // extern "C"
