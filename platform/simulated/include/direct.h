// Directories of Windows' C run-time.
#pragma once

extern "C" {

/// `size` counts units, the terminating one included; too small gives null and ERANGE.
char16_t* _wgetcwd(char16_t* buffer, int size);
int _wmkdir(const char16_t* path);

}  // extern "C"
