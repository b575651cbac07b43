// Paths as text: what Windows makes of one before it looks at any disk.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <windef.h>

namespace simulated {

/// A path taken apart.
struct FilePath {
    DWORD status = 0;       ///< 0, or what every operation on such a path fails with
    std::u16string volume;  ///< "C:", "\\server\share" or, of a device, the whole path
    std::vector<std::u16string> names;
    bool endsInSeparator = false;
    bool isDevice = false;   ///< names a device: "\\.\nul", also by a last name such as NUL or COM1
    std::size_t length = 0;  ///< of the full path
    bool isLiteral = false;  ///< began with "\\?\": no limit of length

    /// The whole text, without a separator at the end but that of a drive's root.
    std::u16string text() const;
};

/// The absolute form of a path by the rules of GetFullPathNameW, which looks at no disk: relative
/// names stand below the current directory, slashes become backslashes, "." and ".." are worked in,
/// dots and blanks at the end of the last name and one dot at the end of others go. Empty for an
/// empty path.
std::u16string fullPath(std::u16string_view path, std::u16string_view currentDirectory);

/// Takes a path apart, absolute or not.
FilePath parsePath(std::u16string_view path, std::u16string_view currentDirectory);

}  // namespace simulated
