// Finds the central directory of an archive by its end header.
#pragma once

#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// The central directory as described by the end header or the ZIP64 end record. Nothing in it has
/// been checked against the file.
struct EndHeader {
    std::int64_t position;  ///< of the end header or the record, where the directory should end
    std::int64_t size;      ///< of the directory, in bytes
    std::int64_t offset;    ///< of the directory, from the first local header
    std::int64_t count;     ///< of its headers; all bits of the field, so it may be negative
};

/// Finds the end header and loads the archive's comment. Returns false if there is no end header,
/// or if reading or memory fails.
bool findEndHeader(nzfile* zip, EndHeader* end);

/// Replaces the values by those of the ZIP64 end record, if the end header refers to one that can
/// be read.
void applyZip64(const nzfile* zip, EndHeader* end);

}  // namespace nz
