// The descriptors of Windows' C run-time in the simulated process.
#pragma once

#include <map>

#include <windef.h>

namespace simulated {

struct CrtFile {
    HANDLE handle = nullptr;
    bool text = false;
    bool appends = false;
};

class CrtFiles {
public:
    int add(CrtFile file);
    /// Null if it isn't open.
    CrtFile* find(int file);
    /// Forgets the descriptor and closes its handle; returns false if either isn't open.
    bool close(int file);
    /// The handles themselves go with the process's table.
    void endProcess() { open_.clear(); }

private:
    std::map<int, CrtFile> open_;
    int next_ = 3;  ///< not used twice, so that a stale descriptor is noticed
};

/// The `errno` that Windows' C run-time gives for a system status.
int errnoOf(DWORD status);

}  // namespace simulated
