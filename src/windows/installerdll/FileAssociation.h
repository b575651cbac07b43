// A file type and the command that opens it, in `Software\Classes` of the 64-bit view. See "File
// Types" in Microsoft's shell documentation.
#pragma once

#include "common/share/tstring.h"

struct FileAssociation {
    const TCHAR* identifier;  ///< the programmatic identifier: "vkrfile"
    const TCHAR* extension;   ///< with its dot: ".vkr"

    /// Makes `command` the one that opens such files. Other values and verbs are kept. Throws
    /// SysError; values written before that remain.
    void add(const tstring& command, const tstring& description) const;

    /// Deletes the identifier and the extension with all their contents. Throws SysError.
    void remove() const;
};
