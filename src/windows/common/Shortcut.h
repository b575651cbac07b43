// A shortcut file: a shell link or an internet shortcut.
#pragma once

#include "common/share/tstring.h"

#include <shlobj.h>

#include <cstdint>

#include "windows/common/ComUtils.h"

/// The contents of a shortcut file and where to create it.
struct Shortcut {
    enum FileType { kByTarget = 0, kAlwaysUrl = 1, kAlwaysLnk = 2 };

    tstring name;                       ///< the file's name without extension, as the user sees it
    tstring description;                ///< the comment
    tstring folder;                     ///< the directory of the file, which has to exist
    tstring target;                     ///< a file or a URL
    tstring arguments;                  ///< of a file's program; may be empty
    std::int32_t fileType = kByTarget;  ///< decides the extension of the file
    tstring icon;                       ///< the file with the icon, which is its first

    /// Writes the file and returns its full path. COM has to be initialised on this thread, and
    /// name, description, folder and target have to be set, otherwise throws std::logic_error.
    /// Throws ComError.
    tstring create() const;

private:
    ComPtr<IShellLinkW> createLink() const;
    ComPtr<IShellLinkW> createUrl() const;
};
