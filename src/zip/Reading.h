// The bytes of an entry.
#pragma once

#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// Reads bytes of an entry as stored in the archive: `length` of them from `pos`, or as many as
/// there are. Returns their number, or -1 with the archive's `msg` as the reason. The archive's
/// lock must be held.
std::int32_t readEntry(nzfile* zip, nzentry* entry, std::int64_t pos, char* buffer,
                       std::int32_t length);

}  // namespace nz
