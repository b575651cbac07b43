// Where this process finds its own files.
#pragma once

#include "common/share/tstring.h"

/// The module that holds an address, without a reference to it. Null when Windows knows none, with
/// the reason as the last error.
HMODULE moduleOf(const void* address) noexcept;

/// The full path of a module; null is the process's own. Empty when Windows can't tell it, with the
/// reason as the last error.
tstring modulePath(HMODULE module);

/// The temporary directory of the account, without separators at its end.
tstring temporaryDirectory();
