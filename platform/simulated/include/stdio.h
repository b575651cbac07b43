// The host's header, and the wide functions of Windows' C run-time beside it. The FILE that they
// give belongs to the host, so fread, fwrite, feof, ferror, fflush, fseek and fclose are the
// host's; what it reads and writes is a file of the simulated machine.
#pragma once

#include_next <stdio.h>

#ifdef __cplusplus

extern "C" {

/// Modes "rb", "r" for a file that isn't read, and "w", which turns a written line feed into CR LF.
/// No share mode keeps anyone out.
FILE* _wfopen(const char16_t* path, const char16_t* mode);

/// Closes `stream` whatever comes of it.
FILE* _wfreopen(const char16_t* path, const char16_t* mode, FILE* stream);

/// printf into a buffer, for "%s", "%g", whose exponents have three digits as in msvcrt.dll, and
/// "%%": stores what fits and, if space is left, a NUL; returns -1 when not all fits.
int _snprintf(char* buffer, size_t count, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // extern "C"

#endif
