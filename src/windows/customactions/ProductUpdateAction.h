// The product update: brings the machine's shared state into line with the installed products.
#pragma once

#include <windows.h>
#include <msi.h>

/// The work of `SetLatestQvr`, a deferred action. It reads the session's "CustomActionData", a
/// command line whose `ProductCode` names the product just installed. Throws as long as that product
/// isn't found; from there on every failure is logged and the status is 0.
UINT updateProduct(MSIHANDLE session);
