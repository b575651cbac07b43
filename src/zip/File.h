// Reads the archive's file.
#pragma once

#include <windows.h>

#include <cstdint>

namespace nz {

/// Names of this length and longer are opened as long paths.
constexpr std::size_t kMaxFileName = 260;

/// Opens a file for reading and lets others read and write it. Returns INVALID_HANDLE_VALUE on
/// failure. A short name is UTF-8; a long one is in the ANSI code page and gets the prefix that
/// lifts Windows' limit (Microsoft, "Maximum Path Length Limitation").
HANDLE openFile(const char* name);

/// Returns the length of the file, or -1.
std::int64_t fileLength(HANDLE file);

/// Reads exactly `count` bytes at a position and moves the file pointer. Returns false if they
/// don't exist or can't be read.
bool readAt(HANDLE file, std::int64_t position, char* buffer, std::int64_t count);

}  // namespace nz
