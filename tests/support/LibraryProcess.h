// Loads the library into a fresh process on a simulated machine and calls its exports by name, as
// the installer does. Process-wide objects are made anew for each, so that each sees the Windows of
// its machine.
#pragma once

#include <windows.h>
#include <msi.h>

#include "simulated/machine/Machine.h"

/// A process on a machine. While it lives the machine is the running one; there is one at a time.
class LibraryProcess {
public:
    explicit LibraryProcess(simulated::Machine& machine);
    /// Unloads the library and ends the machine's process.
    ~LibraryProcess();

    UINT call(const char* action, MSIHANDLE session);
    /// The address of any export, or null.
    void* address(const char* name) const;

private:
    simulated::Machine& machine_;
    simulated::Running running_;
    void* library_;
};
