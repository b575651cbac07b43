// Bytes of UTF-8 text: whether they are text at all, and their case.
#pragma once

#include <string>
#include <string_view>

namespace settings_impl {

/// Whether lead bytes and lengths make UTF-8, in forms of up to 6 bytes. The bytes behind a lead
/// byte are stepped over unseen. The empty text is valid.
bool isUtf8(std::string_view text);

/// What the run-time library's `tolower` gives: only ASCII letters change.
std::string lowerCase(std::string_view text);

bool equalsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace settings_impl
