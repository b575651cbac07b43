// Small help with wide text.
#pragma once

#include <string>
#include <string_view>

namespace simulated {

/// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// UTF-8 to UTF-16; a byte that is part of no character becomes U+FFFD.
std::u16string fromUtf8(std::string_view utf8);

/// Upper-cases as the names of files, keys and codes are compared: unit by unit, by those pairs of
/// Unicode's simple mappings that lead back and forth.
char16_t upperCase(char16_t unit);
std::u16string upperCase(std::u16string_view text);

/// Equality without case.
bool sameText(std::u16string_view a, std::u16string_view b);

}  // namespace simulated
