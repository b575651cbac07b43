// Structures that the file functions share.
#pragma once

#include <windef.h>

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

// Overlapped calls are not simulated: the pointer is always null.
struct OVERLAPPED;
using LPOVERLAPPED = OVERLAPPED*;

/// Of its members, those that are read.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    WCHAR cFileName[MAX_PATH];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;
