// The library as a part of this module. LibraryImage.cmake has taken its process-wide objects out
// of the module's own start: they are made here, on the described machine, and destroyed after the
// call, as loading and unloading a library does.
#include "dryrun/Library.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <emscripten.h>

#include "dryrun/Format.h"

// clang-format off
/// Calls Module.progress with what happens next.
EM_JS(void, hostProgress, (const char* text), {
    Module.progress(UTF8ToString(text));
});
// clang-format on

using Action = UINT(MSIHANDLE);

extern "C" {

Action SetLatestQvr, MSILoadMsiPropertiesFromConfig, MSIValidateInstallDir, MSISetImpersonate,
    checkIfReservedLocationOccupied, MSIIsLocalSystemSupported, DisableVomlitExe,
    checkIfInstallDirReserved, MSIRemoveFoldersOnReboot, RestoreVomlitExe, DisableAUUninstall;

/// What LLVM's `llvm.global_ctors` has for each source with process-wide objects.
struct Constructor {
    int priority;
    void (*construct)();
    void* unused;
};
extern const Constructor library_constructors[];
extern const int library_constructor_count;

/// Called by the library in place of `__cxa_atexit` for each object that is to be destroyed.
int library_atexit(void (*destroy)(void*), void* object, void* image);

}  // extern "C"

namespace {

struct Export {
    const char* name;
    Action* function;
};

constexpr Export kExports[] = {
    {"SetLatestQvr", SetLatestQvr},
    {"MSILoadMsiPropertiesFromConfig", MSILoadMsiPropertiesFromConfig},
    {"MSIValidateInstallDir", MSIValidateInstallDir},
    {"MSISetImpersonate", MSISetImpersonate},
    {"checkIfReservedLocationOccupied", checkIfReservedLocationOccupied},
    {"MSIIsLocalSystemSupported", MSIIsLocalSystemSupported},
    {"DisableVomlitExe", DisableVomlitExe},
    {"checkIfInstallDirReserved", checkIfInstallDirReserved},
    {"MSIRemoveFoldersOnReboot", MSIRemoveFoldersOnReboot},
    {"RestoreVomlitExe", RestoreVomlitExe},
    {"DisableAUUninstall", DisableAUUninstall},
};

struct Destruction {
    void (*destroy)(void*);
    void* object;
};

std::vector<Destruction>& destructions() {
    static std::vector<Destruction> list;
    return list;
}

void loadLibrary() {
    std::for_each(library_constructors, library_constructors + library_constructor_count,
                  [](const Constructor& each) { each.construct(); });
}

void unloadLibrary() {
    while (!destructions().empty()) {
        const Destruction last = destructions().back();
        destructions().pop_back();
        last.destroy(last.object);
    }
}

}  // namespace

int library_atexit(void (*destroy)(void*), void* object, void*) {
    destructions().push_back({destroy, object});
    return 0;
}

UINT callExport(const std::string& name, simulated::Machine& machine, MSIHANDLE session) {
    const auto found = std::find_if(std::begin(kExports), std::end(kExports),
                                    [&name](const Export& each) { return each.name == name; });
    if (found == std::end(kExports)) {
        throw BadInput("the library has no export " + name);
    }
    hostProgress("Running the action");
    const simulated::Running running(machine);
    loadLibrary();
    const UINT status = found->function(session);
    unloadLibrary();
    hostProgress("Comparing the machine before and after");
    return status;
}
