// What the machine's COM calls share.
#pragma once

#include <windef.h>
#include <wtypes.h>

#include <string>
#include <string_view>

#include "simulated/machine/Calls.h"

namespace simulated {

/// The result of a call that fails: the planned status, which may be a plain Windows status, or the
/// one that is usual for the function.
HRESULT failedResult(const Call& call, HRESULT usual);

/// Reads the 38 characters of the form "{01234567-89AB-CDEF-0123-456789ABCDEF}"; false for any
/// other text, which leaves `guid` alone.
bool parseGuid(std::u16string_view text, GUID& guid);

/// The same form, in capitals.
std::u16string guidText(const GUID& guid);

/// A text to be freed by SysFreeString.
BSTR makeBstr(std::u16string_view text);

/// Makes the object of a class and gives one of its interfaces, as CoCreateInstance does.
HRESULT createShellObject(REFCLSID clsid, REFIID iid, void** object);

}  // namespace simulated
