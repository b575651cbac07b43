// Low-level files of Windows' C run-time. A descriptor is a number of the simulated process's own
// table and no descriptor of the host. Failures are told by `errno`, with the same numbers as the
// host's. Without _O_BINARY a written line feed becomes CR LF and a read CR LF a line feed.
#pragma once

#include <corecrt.h>
#include <cstddef>
#include <cstdint>

extern "C" {

errno_t _wsopen_s(int* file, const char16_t* path, int flags, int share, int permissions);
int _open_osfhandle(std::intptr_t handle, int flags);
int _read(int file, void* buffer, unsigned int size);
int _write(int file, const void* data, unsigned int size);
errno_t _chsize_s(int file, long long size);
int _close(int file);

}  // extern "C"
