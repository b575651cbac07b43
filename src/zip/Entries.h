// The entries of an open archive: found by name or created by index, released into a cache of one.
#pragma once

#include "zip/zip.h"

namespace nz {

/// How the central header of an entry is read: alone, or through a buffer that also contains the
/// following ones.
enum class Access { Random, Sequential };

/// Returns the entry with exactly this name, or null. The caller owns it until ZIP_ReadEntry has
/// succeeded with it or `freeEntry` is called.
nzentry* findEntry(nzfile* zip, const char* name);

/// Releases an entry. It is kept for the next `findEntry` and replaces the one released before;
/// null only deletes that one.
void freeEntry(nzfile* zip, nzentry* entry);

/// Returns the entry of a cell, or null if its header can't be read or memory can't be allocated.
/// The archive's lock must be held.
nzentry* newEntry(nzfile* zip, const nzcell& cell, Access access);

/// Deletes an entry; null is allowed.
void destroyEntry(nzentry* entry);

}  // namespace nz
