// The debug pause of an action: a message box that holds the installer's process until a developer
// has attached a debugger.
#pragma once

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

/// Shows the box if the environment variable is "*" or holds the action's name; the comparison is
/// case-sensitive. It blocks until the box is closed. `location` is shown in the box.
void checkDebugBreak(const SourceLocation& location, const tstring& variableName,
                     const tstring& actionName);
