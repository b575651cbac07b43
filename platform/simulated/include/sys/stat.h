// The host's header, and the file facts of Windows' C run-time beside it.
#pragma once

#include_next <sys/stat.h>

#define _S_IFMT 0xF000
#define _S_IFDIR 0x4000
#define _S_IFREG 0x8000
#define _S_IREAD 0x0100
#define _S_IWRITE 0x0080
#define _S_IEXEC 0x0040

#ifdef __cplusplus

/// Without the times, whose names are macros of the host.
struct _stat64 {
    unsigned short st_mode;
    long long st_size;
};
#define _stat _stat64
#define _stati64 _stat64

extern "C" {

int _fstat64(int file, _stat64* facts);
int _wstat64(const char16_t* path, _stat64* facts);

}  // extern "C"

#define _fstat _fstat64
#define _fstati64 _fstat64
#define _wstat _wstat64
#define _wstati64 _wstat64

#endif
