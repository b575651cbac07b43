// The host's header, and the secure functions of Windows' C run-time beside it.
#pragma once

#include_next <string.h>

#ifdef __cplusplus

#include <corecrt.h>

extern "C" {

/// Writes Windows' text of an `errno`, "No such file or directory", cut to `size` - 1 characters.
errno_t strerror_s(char* buffer, size_t size, int error);

}  // extern "C"

#endif
