// What stands around the work of every exported action: the log scope, the catch clauses, the
// status. No exception leaves a frame.
#pragma once

#include <windows.h>
#include <msi.h>

#include <functional>

#include "common/share/PmtError.h"
#include "windows/common/MsiCA.h"

/// Runs an action whose records go to the log file alone.
///
/// `place` is the exported function under its own name, which also names the log scope. The work's
/// status is the result; a caught exception is logged and gives `failureStatus`.
UINT runInPlainFrame(const SourceLocation& place, UINT failureStatus,
                     const std::function<UINT()>& work) noexcept;

/// Runs an action whose records go to the installer's log as well, and before whose work a developer
/// can stop the process to attach a debugger (see checkDebugBreak). A caught exception gives 1603.
UINT runInFullFrame(const SourceLocation& place, MSIHANDLE session,
                    const std::function<void(msi::CA&)>& work) noexcept;
