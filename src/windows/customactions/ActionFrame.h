// The entry-point wrapper of every exported action: the log scope, the catch clauses, the status.
// No exception leaves it.
#pragma once

#include <windows.h>
#include <msi.h>

#include <functional>

#include "common/share/PmtError.h"
#include "windows/common/MsiCA.h"

/// Runs an action that logs to the log file only.
///
/// `place` is the exported function under its own name, which is also the name of the log scope.
/// Returns the status of the work; an exception is logged and returns `failureStatus`.
/// status is the result; a caught exception is logged and gives `failureStatus`.
UINT runInPlainFrame(const SourceLocation& place, UINT failureStatus,
                     const std::function<UINT()>& work) noexcept;

/// Runs an action that logs to the installer's log as well, and that a developer can stop to attach
/// a debugger (see checkDebugBreak). An exception is logged and returns 1603.
UINT runInFullFrame(const SourceLocation& place, MSIHANDLE session,
                    const std::function<void(msi::CA&)>& work) noexcept;
