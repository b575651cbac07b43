// UTF-8 validation and case conversion of byte strings.
#pragma once

#include <string>
#include <string_view>

namespace settings_impl {

/// Returns whether the string consists of complete UTF-8 sequences of up to 6 bytes. Only lead
/// bytes are checked; continuation bytes are skipped unseen. The empty string is valid.
bool isUtf8(std::string_view text);

/// Returns the result of the run-time library's `tolower` for each byte: only ASCII letters change.
std::string lowerCase(std::string_view text);

bool equalsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace settings_impl
