#include "simulated/machine/files/ProcessPath.h"

#include <windows.h>

#include "simulated/machine/Machine.h"

namespace simulated {

namespace {

/// The file system redirector of WOW64, in the first two names of a path.
void redirect(FilePath& path, const Facts& facts) {
    const FilePath windows = parsePath(facts.windowsDirectory, {});
    if (path.names.size() < 2 || windows.names.size() != 1 ||
        !sameText(path.volume, windows.volume) || !sameText(path.names[0], windows.names[0])) {
        return;
    }
    if (sameText(path.names[1], u"System32")) {
        path.names[1] = u"SysWOW64";
    } else if (sameText(path.names[1], u"Sysnative")) {
        path.names[1] = u"System32";
    }
}

}  // namespace

FilePath processPath(const char16_t* path) {
    const Machine& machine = Machine::current();
    FilePath result = parsePath(argument(path), machine.fileSystem.currentDirectory());
    if (machine.facts.isWow64()) {
        redirect(result, machine.facts);
    }
    return result;
}

}  // namespace simulated
