// The critical sections of the library: one for each archive, one for the list of archives.
#pragma once

#include <windows.h>

#include <cstdlib>

namespace nz {

/// Returns a new critical section, or null if out of memory; `destroyLock` deletes it and accepts
/// null.
inline CRITICAL_SECTION* createLock() {
    auto* const section = static_cast<CRITICAL_SECTION*>(std::malloc(sizeof(CRITICAL_SECTION)));
    if (section != nullptr) {
        InitializeCriticalSection(section);
    }
    return section;
}

inline void destroyLock(void* lock) {
    if (lock != nullptr) {
        DeleteCriticalSection(static_cast<CRITICAL_SECTION*>(lock));
        std::free(lock);
    }
}

/// Holds a critical section as long as it exists.
class Locked {
public:
    explicit Locked(void* lock) : section_(static_cast<CRITICAL_SECTION*>(lock)) { enter(); }
    ~Locked() { leave(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    /// Interrupts the holding: `leave`, then `enter` again.
    void leave() { LeaveCriticalSection(section_); }
    void enter() { EnterCriticalSection(section_); }

private:
    CRITICAL_SECTION* section_;
};

}  // namespace nz
