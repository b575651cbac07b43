// Version resources of files.
#pragma once

#include <windef.h>

struct VS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;
    DWORD dwFileVersionLS;
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
};
#define VS_FFI_SIGNATURE 0xFEEF04BDu
#define VS_FFI_STRUCVERSION 0x00010000u

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD zeroed);
BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD reserved, DWORD size, LPVOID block);
/// Of the sub-blocks, the root "\": a VS_FIXEDFILEINFO.
BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT size);

}  // extern "C"
