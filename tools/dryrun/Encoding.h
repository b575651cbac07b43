// The encodings in which descriptions are saved.
#pragma once

#include <string>

/// Returns the text in UTF-8 without byte order mark. UTF-16 of either byte order is recognised by
/// its byte order mark, which Windows' own programs write.
std::string utf8Of(const std::string& bytes);
