// Text conversion and the languages of the user.
#pragma once

#include <windef.h>
#include <winnt.h>

#define CP_ACP 0
#define CP_UTF8 65001
#define MB_ERR_INVALID_CHARS 0x8

#define MUI_LANGUAGE_ID 0x4
#define MUI_MERGE_SYSTEM_FALLBACK 0x10
#define MUI_MERGE_USER_FALLBACK 0x20

extern "C" {

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer,
                               int size);
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer,
                               int size, LPCSTR defaultChar, LPBOOL usedDefaultChar);

/// A list of four hexadecimal digits each, doubly ended.
BOOL WINAPI GetThreadPreferredUILanguages(DWORD flags, PULONG count, PWSTR buffer, PULONG size);
LCID WINAPI GetThreadLocale();
LANGID WINAPI GetUserDefaultUILanguage();
LANGID WINAPI GetSystemDefaultUILanguage();

}  // extern "C"
