// A shortcut file: a link to a program or an internet shortcut.
#pragma once

#include "common/share/tstring.h"

#include <shlobj.h>

#include <cstdint>

#include "windows/common/ComUtils.h"

/// What a shortcut file is to hold, and how it is written.
struct Shortcut {
    enum FileType { kByTarget = 0, kAlwaysUrl = 1, kAlwaysLnk = 2 };

    tstring name;                       ///< the file's name without extension, which the user sees
    tstring description;                ///< the comment
    tstring folder;                     ///< the directory of the file, which exists
    tstring target;                     ///< a file or a URL
    tstring arguments;                  ///< of a file's program; may be empty
    std::int32_t fileType = kByTarget;  ///< which extension the file gets
    tstring icon;                       ///< the file that holds the icon, as its first

    /// Writes the file and gives its full path. COM has to be open on this thread, and name,
    /// description, folder and target set, else std::logic_error. Throws ComError.
    tstring create() const;

private:
    ComPtr<IShellLinkW> createLink() const;
    ComPtr<IShellLinkW> createUrl() const;
};
