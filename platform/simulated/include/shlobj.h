// The shell: its folders, and by inclusion its link object.
#pragma once

#include <objbase.h>
#include <shobjidl.h>

#define CSIDL_COMMON_PROGRAMS 0x0017
#define CSIDL_PROGRAM_FILESX86 0x002a
#define CSIDL_PROGRAM_FILES_COMMON 0x002b
#define CSIDL_PROGRAM_FILES_COMMONX86 0x002c
#define CSIDL_FLAG_CREATE 0x8000

#define SHGFP_TYPE_CURRENT 0

extern "C" {

HRESULT WINAPI SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);

}  // extern "C"
