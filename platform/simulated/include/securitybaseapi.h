// Tokens and security identifiers. The functions on a file's descriptor are in fileapi.h.
#pragma once

#include <windef.h>
#include <winnt.h>

extern "C" {

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token);
BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS wanted, LPVOID buffer,
                                DWORD size, PDWORD needed);

BOOL WINAPI CopySid(DWORD size, PSID copy, PSID sid);
BOOL WINAPI EqualSid(PSID first, PSID second);

}  // extern "C"
