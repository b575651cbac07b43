// Sets a property of the session for actions that run in the plain entry-point wrapper.
#pragma once

#include <windows.h>
#include <msi.h>

#include "common/share/tstring.h"

/// Sets a property and returns the installer's status. An empty value sets nothing and returns 0; a
/// failure is logged and returned.
UINT setMsiProperty(MSIHANDLE session, const tstring& name, const tstring& value);
