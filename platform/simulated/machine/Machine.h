// A Windows machine in memory.
//
// A test makes a Machine, arranges what stands on it through its members, puts it in the place of
// the running machine with `Running`, and calls the library. Afterwards it looks at the members
// again, or compares the machine with another one.
#pragma once

#include <string>
#include <vector>

#include "simulated/machine/Calls.h"
#include "simulated/machine/files/CrtFiles.h"
#include "simulated/machine/files/FileSystem.h"
#include "simulated/machine/files/Volumes.h"
#include "simulated/machine/installer/Installer.h"
#include "simulated/machine/process/Facts.h"
#include "simulated/machine/process/Handles.h"
#include "simulated/machine/process/Modules.h"
#include "simulated/machine/process/SharedMemory.h"
#include "simulated/machine/registry/RegistryStore.h"
#include "simulated/machine/security/Security.h"
#include "simulated/machine/shell/Desktop.h"
#include "simulated/machine/shell/Shell.h"

namespace simulated {

class Machine {
public:
    /// A 64-bit Windows 10 in English with an empty drive C:, Windows' own folders on it, no
    /// products, and a 64-bit process of an elevated administrator.
    Machine() = default;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    Calls calls;
    Facts facts;
    RegistryStore registry{facts.is64BitSystem};
    Security security;
    Modules modules;
    SharedMemory sharedMemory;
    FileSystem fileSystem;
    Volumes volumes{fileSystem};
    CrtFiles crt;
    Installer installer;
    Shell shell{*this};
    Desktop desktop;
    Handles handles;

    /// Makes it a 32-bit Windows with a 32-bit process, before anything is put on it.
    void become32Bit();

    /// Ends the simulated process: its handles, locks and views go, what is on the disk and in the
    /// registry stays. The machine is ready for the next process, also after a planned stop.
    void endProcess();

    /// Restarts Windows: ends the process and carries out the moves that were put off until now.
    void restart();

    /// Everything that outlives a process, one fact a line, sorted: registry, files, delayed moves.
    /// Clock, log file and journal take no part.
    std::vector<std::string> describe() const;

    /// The machine that the calls of this program run on: the innermost `Running`, else a machine
    /// made at first use, so that a library's own start-up code always finds one.
    static Machine& current();
};

/// Puts a machine in the place of the running one for as long as it lives. Not for two threads.
class Running {
public:
    explicit Running(Machine& machine);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    Machine* previous_;
};

}  // namespace simulated
