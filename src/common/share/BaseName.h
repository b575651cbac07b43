// The last component of a path.
#pragma once

#include <string_view>

#include "common/share/tstring.h"

/// Returns the characters after the last separator (backslash or forward slash): the whole path if
/// it has no separator, nothing if it ends with one. The result points into `path`.
std::string_view baseName(std::string_view path);
std::basic_string_view<TCHAR> baseName(std::basic_string_view<TCHAR> path);
