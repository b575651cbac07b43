// Low-level files of Windows' C run-time. A descriptor is a number of the simulated process's own
// table and no descriptor of the host. Failures are reported in `errno`, with the same numbers as
// the host's.
#pragma once

#include <corecrt.h>
#include <cstddef>
#include <cstdint>

extern "C" {

errno_t _wsopen_s(int* file, const char16_t* path, int flags, int share, int permissions);
int _open_osfhandle(std::intptr_t handle, int flags);
int _write(int file, const void* data, unsigned int size);
errno_t _chsize_s(int file, long long size);
int _close(int file);

}  // extern "C"
