// The bytes of an entry.
#pragma once

#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// Reads bytes of an entry as they stand in the archive, `length` of them from `pos` or what there
/// is. Their number, or -1 with the archive's `msg` the reason. Under the archive's lock.
std::int32_t readEntry(nzfile* zip, nzentry* entry, std::int64_t pos, char* buffer,
                       std::int32_t length);

}  // namespace nz
