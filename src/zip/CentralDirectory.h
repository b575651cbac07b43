// The central directory of an archive and the hash table of its names.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// Reads the directory of a file just opened and fills `entries`, `table`, `metanames`, `comment`
/// and `locpos`. Returns false on failure; `msg` is the reason, or null if memory, a readable file
/// or an end header is missing.
///
/// Memory is allocated for the headers that can fit in the file, regardless of the count in the end
/// header.
bool readCentralDirectory(nzfile* zip);

/// Frees what `readCentralDirectory` has allocated, also if it failed, except for the comment.
void freeTables(nzfile* zip);

/// Returns the hash of a name, over its bytes as signed characters.
std::uint32_t hashName(const char* name, std::size_t length);

}  // namespace nz
