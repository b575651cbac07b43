// The entries of an open archive: found by name or made by index, released into a cache of one.
#pragma once

#include "zip/zip.h"

namespace nz {

/// How the central header of an entry is read: alone, or through a buffer that serves its
/// neighbours too.
enum class Access { Random, Sequential };

/// The entry of exactly this name, or null. It is the caller's until ZIP_ReadEntry has succeeded
/// with it or `freeEntry` takes it.
nzentry* findEntry(nzfile* zip, const char* name);

/// Takes an entry back. It stays at hand for the next `findEntry` in place of the one released
/// before; null only lets go of that one.
void freeEntry(nzfile* zip, nzentry* entry);

/// The entry of a cell, or null if its header can't be read or memory lacks. Under the archive's
/// lock.
nzentry* newEntry(nzfile* zip, const nzcell& cell, Access access);

/// Frees an entry for good, or null.
void destroyEntry(nzentry* entry);

}  // namespace nz
