// The COM classes of the shell.
#pragma once

#include <wtypes.h>

namespace simulated {

/// Creates an object of a class and stores the requested interface, as CoCreateInstance does.
HRESULT createShellObject(REFCLSID clsid, REFIID iid, void** object);

}  // namespace simulated
