// Device control.
#pragma once

#include <windef.h>
#include <minwinbase.h>

extern "C" {

/// Of the control codes, those of winioctl.h.
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped);

}  // extern "C"
