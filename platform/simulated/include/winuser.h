// The desktop: message boxes and broadcasts.
#pragma once

#include <windef.h>

#define MB_OK 0x00000000
#define MB_ICONERROR 0x00000010
#define MB_ICONINFORMATION 0x00000040
#define MB_TASKMODAL 0x00002000
#define MB_SETFOREGROUND 0x00010000
#define MB_TOPMOST 0x00040000
#define IDOK 1

#define HWND_BROADCAST (reinterpret_cast<HWND>(static_cast<ULONG_PTR>(0xffff)))
#define WM_SETTINGCHANGE 0x001A
#define SMTO_ABORTIFHUNG 0x0002

extern "C" {

int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
LRESULT WINAPI SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                   UINT flags, UINT timeout, DWORD_PTR* result);

}  // extern "C"
