// The debug pause of an action: a message box that stops the installer's process until a developer
// has attached a debugger.
#pragma once

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

/// Shows the box if the environment variable is "*" or contains the action's name; the comparison
/// is case-sensitive. Blocks until the box is closed. The box shows `location`.
void checkDebugBreak(const SourceLocation& location, const tstring& variableName,
                     const tstring& actionName);
