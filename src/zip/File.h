// Reading the archive's file.
#pragma once

#include <windows.h>

#include <cstdint>

namespace nz {

/// Names from this length on are opened as long paths.
constexpr std::size_t kMaxFileName = 260;

/// Opens a file to read; others may read and write it meanwhile. INVALID_HANDLE_VALUE on failure.
/// A short name is UTF-8; a long one is in the ANSI code page and gets the prefix that lifts
/// Windows' limit ("Maximum Path Length Limitation", Microsoft).
HANDLE openFile(const char* name);

/// The length of the file, or -1.
std::int64_t fileLength(HANDLE file);

/// Reads exactly `count` bytes at a position; false if they aren't there or can't be read. The
/// file's position moves.
bool readAt(HANDLE file, std::int64_t position, char* buffer, std::int64_t count);

}  // namespace nz
