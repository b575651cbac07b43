#include "support/LibraryProcess.h"

#include <dlfcn.h>

#include <gtest/gtest.h>

namespace {

/// Loads the library afresh. Its path comes from the build.
void* loadLibrary() {
    // A library that is still loaded would be handed out again, with the objects of its old machine.
    if (void* loaded = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) {
        dlclose(loaded);
        ADD_FAILURE() << "the library of another process is still loaded";
    }
    void* library = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        ADD_FAILURE() << dlerror();
    }
    return library;
}

}  // namespace

LibraryProcess::LibraryProcess(simulated::Machine& machine)
    : machine_(machine), running_(machine), library_(loadLibrary()) {}

LibraryProcess::~LibraryProcess() {
    if (library_ != nullptr) {
        dlclose(library_);
    }
    machine_.endProcess();
}

UINT LibraryProcess::call(const char* action, MSIHANDLE session) {
    using Action = UINT (*)(MSIHANDLE);
    const auto function = reinterpret_cast<Action>(address(action));
    if (function == nullptr) {
        ADD_FAILURE() << "no export " << action;
        return 0xFFFFFFFF;
    }
    return function(session);
}

void* LibraryProcess::address(const char* name) const {
    return library_ == nullptr ? nullptr : dlsym(library_, name);
}
