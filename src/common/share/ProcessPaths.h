// Paths of this process's modules and temporary directory.
#pragma once

#include "common/share/tstring.h"

/// Returns the module that contains an address, without adding a reference to it; null, with the
/// last error set, if there is none.
HMODULE moduleOf(const void* address) noexcept;

/// Returns the full path of a module; null means the process's executable. Returns an empty string,
/// with the last error set, when Windows can't report the path.
tstring modulePath(HMODULE module);

/// Returns the temporary directory of the account, without trailing separators.
tstring temporaryDirectory();
