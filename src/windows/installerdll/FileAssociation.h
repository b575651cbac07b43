// One type of file and the command that opens it, in `Software\Classes` of the 64-bit view. See
// "File Types" in Microsoft's shell documentation.
#pragma once

#include "common/share/tstring.h"

struct FileAssociation {
    const TCHAR* identifier;  ///< the programmatic identifier: "vkrfile"
    const TCHAR* extension;   ///< with its dot: ".vkr"

    /// Makes `command` the one that opens such files. Other values and verbs stay. Throws SysError;
    /// what was written until then stays.
    void add(const tstring& command, const tstring& description) const;

    /// Deletes identifier and extension with all that anyone wrote below them. Throws SysError.
    void remove() const;
};
