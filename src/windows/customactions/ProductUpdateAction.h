// The product update: brings the machine's shared state into line with the installed products.
#pragma once

#include <windows.h>
#include <msi.h>

/// Implements `SetLatestQvr`, a deferred action. Reads the session's "CustomActionData", a command
/// line whose `ProductCode` names the product just installed. Throws until that product is found;
/// after that every failure is logged and the status is 0.
UINT updateProduct(MSIHANDLE session);
