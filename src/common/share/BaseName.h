// The last component of a path, be it of a source file or of any other.
#pragma once

#include <string_view>

#include "common/share/tstring.h"

/// What follows the last separator, backslash or forward slash: the whole path without one, nothing
/// when the path ends in one. It is a part of the path's own text.
std::string_view baseName(std::string_view path);
std::basic_string_view<TCHAR> baseName(std::basic_string_view<TCHAR> path);
