// The host's header, and the file facts of Windows' C run-time beside it.
#pragma once

#include_next <sys/stat.h>

#define _S_IREAD 0x0100
#define _S_IWRITE 0x0080

#ifdef __cplusplus

/// What is asked for of a file.
struct _stat64 {
    long long st_size;
};
#define _stati64 _stat64

extern "C" {

int _fstat64(int file, _stat64* facts);
int _wstat64(const char16_t* path, _stat64* facts);

}  // extern "C"

#define _fstati64 _fstat64

#endif
