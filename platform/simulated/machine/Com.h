// What the machine's COM calls share.
#pragma once

#include <windef.h>
#include <wtypes.h>

#include <string>
#include <string_view>

#include "simulated/machine/Calls.h"

namespace simulated {

/// Reads the 38 characters of the form "{01234567-89AB-CDEF-0123-456789ABCDEF}"; false for any
/// other text, which leaves `guid` alone.
bool parseGuid(std::u16string_view text, GUID& guid);

/// The same form, in capitals.
std::u16string guidText(const GUID& guid);

/// Makes the object of a class and gives one of its interfaces, as CoCreateInstance does.
HRESULT createShellObject(REFCLSID clsid, REFIID iid, void** object);

}  // namespace simulated
