// The buffer that Windows takes and gives for a junction or symbolic link: REPARSE_DATA_BUFFER of
// Microsoft's documentation, which belongs to the driver kit and stands in no header of the SDK.
#pragma once

#include <cstddef>
#include <optional>

#include "common/share/tstring.h"

struct ReparseBuffer {
    static constexpr std::size_t kSize = 16384;

    /// Offsets of the fields, in bytes. The two offsets of names count from the path buffer, whose
    /// place depends on the tag; lengths are in bytes, without the NUL.
    enum Field : std::size_t {
        kTag = 0,         ///< 4 bytes
        kDataLength = 4,  ///< 2 bytes, as all that follow; counts what follows kReserved
        kReserved = 6,
        kSubstituteNameOffset = 8,
        kSubstituteNameLength = 10,
        kPrintNameOffset = 12,
        kPrintNameLength = 14,
        kPathBufferOfMountPoint = 16,
        kPathBufferOfSymlink = 20,  ///< behind four bytes of flags
    };

    /// What stands in front of the bytes that kDataLength counts.
    static constexpr std::size_t kHeaderSize = 8;

    alignas(DWORD) BYTE bytes[kSize] = {};

    DWORD tag() const;
    void setTag(DWORD value);
    WORD number(Field field) const;
    void setNumber(Field field, std::size_t value);

    /// Where the path buffer begins; 0 when the tag is neither a junction's nor a symbolic link's.
    std::size_t pathBuffer() const;

    /// The substitute name without the prefix of the kernel's namespace, up to a NUL: where the
    /// link leads. Nothing when the name doesn't lie in the buffer. The tag has to be a link's.
    std::optional<tstring> target() const;
};
