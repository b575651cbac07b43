// Loads the library into a fresh process on a simulated machine and calls its exports by name, as
// the installer does. Process-wide objects are constructed again for each, so that each sees the
// Windows of its machine.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <msi.h>

#include "simulated/machine/Machine.h"

/// A process on a machine. While it lives the machine is the running one; there is one at a time.
class LibraryProcess {
public:
    explicit LibraryProcess(simulated::Machine& machine) : machine_(machine), running_(machine) {
        // One that is still loaded would be handed out again, with the objects of its old machine.
        EXPECT_EQ(dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
        library_ = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library_, nullptr) << dlerror();
    }
    ~LibraryProcess() {
        dlclose(library_);
        machine_.endProcess();
    }

    UINT call(const char* action, MSIHANDLE session) {
        return reinterpret_cast<UINT (*)(MSIHANDLE)>(dlsym(library_, action))(session);
    }

private:
    simulated::Machine& machine_;
    simulated::Running running_;
    void* library_;
};
