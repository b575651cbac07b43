#include "support/LibraryProcess.h"

#include <dlfcn.h>

#include <stdexcept>

#include <gtest/gtest.h>

LibraryProcess::LibraryProcess(simulated::Machine& machine) : machine_(machine), running_(machine) {
    // A library that is still loaded would be handed out again, with the objects of its old
    // machine.
    EXPECT_EQ(dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
    library_ = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

LibraryProcess::~LibraryProcess() {
    dlclose(library_);
    machine_.endProcess();
}

UINT LibraryProcess::call(const char* action, MSIHANDLE session) {
    using Action = UINT (*)(MSIHANDLE);
    return reinterpret_cast<Action>(address(action))(session);
}

void* LibraryProcess::address(const char* name) const {
    return dlsym(library_, name);
}
