// The central directory of an archive and the hash table over it.
#pragma once

#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// Reads the directory of a file just opened and fills `entries`, `table`, `metanames`, `comment`
/// and `locpos`. False on failure, with `msg` the reason, or null for want of memory, of a readable
/// file or of an end header.
///
/// Memory is taken for the headers that the file has room for, whatever their count is said to be.
bool readCentralDirectory(nzfile* zip);

/// Frees what `readCentralDirectory` has made, also if it failed, but for the comment.
void freeTables(nzfile* zip);

/// The hash of a name, over its bytes as signed characters.
std::uint32_t hashName(const char* name, std::size_t length);

}  // namespace nz
