#include "dryrun/Library.h"

#include <dlfcn.h>

#include "dryrun/Format.h"

UINT callExport(const std::string& name, simulated::Machine& machine, MSIHANDLE session) {
    const simulated::Running running(machine);
    void* const library = dlopen(NORVCA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    void* const function = library == nullptr ? nullptr : dlsym(library, name.c_str());
    if (function == nullptr) {
        throw BadInput(std::string("the library can't be loaded: ") + dlerror());
    }
    const UINT status = reinterpret_cast<UINT (*)(MSIHANDLE)>(function)(session);
    dlclose(library);
    return status;
}
