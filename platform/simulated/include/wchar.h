// The host's header, and the wide functions of Windows' C run-time beside it.
#pragma once

#include_next <wchar.h>

#ifdef __cplusplus

#include <cstdarg>
#include <cstddef>

extern "C" {

/// Formats by Windows' wide rules: "%s" takes a wide text; with it, d, u and X with a width. Gives
/// the number of characters, or -1 when there were more than `size`, of which the first are
/// written. A NUL follows only if space is left.
int _vsnwprintf(char16_t* buffer, std::size_t size, const char16_t* format, std::va_list arguments);

}  // extern "C"

#endif
