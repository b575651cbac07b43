// Where the central directory of an archive stands, by its end header.
#pragma once

#include <cstdint>

#include "zip/zip.h"

namespace nz {

/// The central directory as the end header, or the ZIP64 end record, claims it. None of the claims
/// has been held against the file.
struct EndHeader {
    std::int64_t position;  ///< of the end header or the record, where the directory should end
    std::int64_t size;      ///< of the directory, in bytes
    std::int64_t offset;    ///< of the directory, from the first local header
    std::int64_t count;     ///< of its headers; all bits of the field, so it may look negative
};

/// Finds the end header and loads the archive's comment. False if there is no end header, or if the
/// file or the memory fails.
bool findEndHeader(nzfile* zip, EndHeader* end);

/// Puts the claims of the ZIP64 end record in the place of the others, if the end header points to
/// one that can be read.
void applyZip64(const nzfile* zip, EndHeader* end);

}  // namespace nz
