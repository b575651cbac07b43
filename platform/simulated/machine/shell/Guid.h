// GUIDs and their strings.
#pragma once

#include <windef.h>
#include <wtypes.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace simulated {

/// The length of "{01234567-89AB-CDEF-0123-456789ABCDEF}".
constexpr std::size_t kGuidLength = 38;

/// Reads a GUID of that form; returns false for any other string and leaves `guid` unchanged.
bool parseGuid(std::u16string_view text, GUID& guid);

/// Returns the string of a GUID, in capital letters.
std::u16string guidText(const GUID& guid);

}  // namespace simulated
