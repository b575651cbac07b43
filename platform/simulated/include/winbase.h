// Kernel services that take no path: errors, handles, memory, environment, directories, modules,
// resources, messages, time, locks and shared memory.
#pragma once

#include <cstdarg>

#include <windef.h>
#include <minwinbase.h>
#include <winnt.h>
#include <securitybaseapi.h>

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x2
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x4
#define LOAD_LIBRARY_AS_DATAFILE 0x2

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x0100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x0200
#define FORMAT_MESSAGE_FROM_HMODULE 0x0800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x1000

#define FILE_MAP_WRITE 0x0002
#define FILE_MAP_READ 0x0004
#define FILE_MAP_ALL_ACCESS 0x000F001F

/// A recursive lock, which lies in the structure itself: one that is never deleted leaks nothing.
struct CRITICAL_SECTION {
    alignas(8) unsigned char lock[40];
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

struct SYSTEM_INFO {
    union {
        DWORD dwOemId;
        struct {
            WORD wProcessorArchitecture;
            WORD wReserved;
        };
    };
    DWORD dwPageSize;
    LPVOID lpMinimumApplicationAddress;
    LPVOID lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};
using LPSYSTEM_INFO = SYSTEM_INFO*;

extern "C" {

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD status);
BOOL WINAPI CloseHandle(HANDLE handle);

/// Null is skipped; gives null.
HLOCAL WINAPI LocalFree(HLOCAL memory);

DWORD WINAPI GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer);
UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT size);
UINT WINAPI GetSystemWow64DirectoryW(LPWSTR buffer, UINT size);
UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT size);

void WINAPI GetNativeSystemInfo(LPSYSTEM_INFO info);
BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version);
BOOL WINAPI IsWow64Process(HANDLE process, PBOOL wow64);
HANDLE WINAPI GetCurrentProcess();
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI GetCurrentThreadId();
void WINAPI GetLocalTime(SYSTEMTIME* time);
DWORD WINAPI GetTickCount();
void WINAPI Sleep(DWORD milliseconds);

HMODULE WINAPI LoadLibraryW(LPCWSTR path);
HMODULE WINAPI LoadLibraryExW(LPCWSTR path, HANDLE reserved, DWORD flags);
BOOL WINAPI FreeLibrary(HMODULE module);
BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR nameOrAddress, HMODULE* module);
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);

HRSRC WINAPI FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource);
LPVOID WINAPI LockResource(HGLOBAL data);
DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource);

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                            LPWSTR buffer, DWORD size, std::va_list* arguments);

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);
void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);

HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection,
                                 DWORD sizeHigh, DWORD sizeLow, LPCSTR name);
HANDLE WINAPI OpenFileMappingA(DWORD access, BOOL inherit, LPCSTR name);
LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T size);
BOOL WINAPI FlushViewOfFile(LPCVOID address, SIZE_T size);
BOOL WINAPI UnmapViewOfFile(LPCVOID address);

}  // extern "C"
