// The buffer that Windows reads and writes for a junction or symbolic link: REPARSE_DATA_BUFFER in
// Microsoft's documentation, which is part of the driver kit and not declared in any SDK header.
#pragma once

#include <cstddef>
#include <optional>

#include "common/share/tstring.h"

struct ReparseBuffer {
    static constexpr std::size_t kSize = 16384;

    /// Offsets of the fields, in bytes. The offsets of names count from the path buffer, whose
    /// offset depends on the tag; lengths are in bytes, without the NUL.
    enum Field : std::size_t {
        kTag = 0,         ///< 4 bytes
        kDataLength = 4,  ///< 2 bytes, like all that follow; the number of bytes after kReserved
        kReserved = 6,
        kSubstituteNameOffset = 8,
        kSubstituteNameLength = 10,
        kPrintNameOffset = 12,
        kPrintNameLength = 14,
        kPathBufferOfMountPoint = 16,
        kPathBufferOfSymlink = 20,  ///< preceded by four bytes of flags
    };

    /// The size of the part that kDataLength doesn't count.
    static constexpr std::size_t kHeaderSize = 8;

    alignas(DWORD) BYTE bytes[kSize] = {};

    DWORD tag() const;
    void setTag(DWORD value);
    WORD number(Field field) const;
    void setNumber(Field field, std::size_t value);

    /// Returns the offset of the path buffer; 0 if the tag is neither a junction's nor a symbolic
    /// link's.
    std::size_t pathBuffer() const;

    /// Returns the target: the substitute name without the prefix of the NT namespace, up to a NUL.
    /// Returns nothing if the name exceeds the buffer. The tag has to be a link's.
    std::optional<tstring> target() const;
};
