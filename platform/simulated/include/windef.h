// Windows' basic types, with Windows' widths: DWORD, LONG and ULONG have 32 bits although `long`
// has 64 here, and a WCHAR is one unit of UTF-16.
#pragma once

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using UINT = unsigned int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using WCHAR = char16_t;
using HRESULT = std::int32_t;
using LSTATUS = LONG;
using LANGID = WORD;
using LCID = DWORD;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPBOOL = BOOL*;
using PBOOL = BOOL*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using PULONG = ULONG*;
using PUINT = UINT*;
using LPSTR = char*;
using LPCSTR = const char*;
using PWSTR = WCHAR*;
using LPWSTR = WCHAR*;
using PZZWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;

using HANDLE = void*;
using PHANDLE = HANDLE*;
using HLOCAL = HANDLE;
struct HINSTANCE__;
using HMODULE = HINSTANCE__*;
struct HRSRC__;
using HRSRC = HRSRC__*;
using HGLOBAL = HANDLE;
struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;
struct HWND__;
using HWND = HWND__*;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using FARPROC = INT_PTR (*)();

#define WINAPI
#define CALLBACK
#define STDMETHODCALLTYPE
#define __stdcall

#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    };
    LONGLONG QuadPart;
};

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using REFGUID = const GUID&;

inline bool operator==(const GUID& a, const GUID& b) {
    return __builtin_memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID& a, const GUID& b) {
    return !(a == b);
}

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD_PTR>(value) & 0xffff))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD_PTR>(value) >> 16) & 0xffff))
#define MAKEINTRESOURCEW(id) \
    (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(id))))
