// Files and directories: the constants of winnt.h and winbase.h that belong to them, and the
// functions of fileapi.h, winbase.h, processenv.h and securitybaseapi.h that take a path or a
// file's handle. Values and signatures by Microsoft's documentation of each function.
#pragma once

#include <windef.h>
#include <minwinbase.h>
#include <winnt.h>

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define DELETE 0x00010000u

#define FILE_SHARE_READ 0x1
#define FILE_SHARE_WRITE 0x2
#define FILE_SHARE_DELETE 0x4

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4

#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400
#define INVALID_FILE_ATTRIBUTES (static_cast<DWORD>(-1))

#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_FLAG_OPEN_REPARSE_POINT 0x00200000u

#define FILE_BEGIN 0
#define FILE_END 2

#define MOVEFILE_REPLACE_EXISTING 0x1
#define MOVEFILE_COPY_ALLOWED 0x2
#define MOVEFILE_DELAY_UNTIL_REBOOT 0x4

#define DRIVE_NO_ROOT_DIR 1
#define DRIVE_REMOVABLE 2
#define DRIVE_FIXED 3
#define DRIVE_REMOTE 4
#define DRIVE_CDROM 5
#define DRIVE_RAMDISK 6

#define IO_REPARSE_TAG_MOUNT_POINT 0xA0000003u
#define IO_REPARSE_TAG_SYMLINK 0xA000000Cu
#define MAXIMUM_REPARSE_DATA_BUFFER_SIZE (16 * 1024)

#define DACL_SECURITY_INFORMATION 0x00000004u

using SECURITY_INFORMATION = DWORD;

extern "C" {

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE pattern);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped);
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                             DWORD method);

DWORD WINAPI GetFileAttributesW(LPCWSTR path);
BOOL WINAPI SetFileAttributesW(LPCWSTR path, DWORD attributes);
BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security);
BOOL WINAPI RemoveDirectoryW(LPCWSTR path);
BOOL WINAPI DeleteFileW(LPCWSTR path);
BOOL WINAPI CopyFileW(LPCWSTR existing, LPCWSTR created, BOOL failIfExists);
/// With MOVEFILE_DELAY_UNTIL_REBOOT a null destination deletes the source at the next restart.
BOOL WINAPI MoveFileExW(LPCWSTR existing, LPCWSTR moved, DWORD flags);

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW found);
BOOL WINAPI FindNextFileW(HANDLE find, LPWIN32_FIND_DATAW found);
BOOL WINAPI FindClose(HANDLE find);

DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* filePart);
DWORD WINAPI GetLongPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size);
UINT WINAPI GetDriveTypeW(LPCWSTR root);

BOOL WINAPI SetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION given,
                             PSECURITY_DESCRIPTOR descriptor);

}  // extern "C"
