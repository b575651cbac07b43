// Local memory and locks. Memory that the process doesn't free is the leak checker's to find.
#include <windows.h>

#include <cstdlib>
#include <mutex>
#include <new>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

static_assert(sizeof(std::recursive_mutex) <= sizeof(CRITICAL_SECTION));

std::recursive_mutex& lockOf(LPCRITICAL_SECTION section) {
    return *reinterpret_cast<std::recursive_mutex*>(section->lock);
}

}  // namespace

extern "C" {

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size) {
    Call call("LocalAlloc");
    if (call.fails()) {
        SetLastError(call.status(ERROR_NOT_ENOUGH_MEMORY));
        return nullptr;
    }
    return (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    const Call call("LocalFree");
    std::free(memory);
    return nullptr;
}

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
    const Call call("InitializeCriticalSection");
    new (section->lock) std::recursive_mutex;
}

BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD) {
    const Call call("InitializeCriticalSectionAndSpinCount");
    new (section->lock) std::recursive_mutex;
    return TRUE;
}

// The gate is passed and left before the lock is taken: whoever waits here keeps no other thread
// out of the machine.

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
    { const Call call("EnterCriticalSection"); }
    lockOf(section).lock();
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
    { const Call call("LeaveCriticalSection"); }
    lockOf(section).unlock();
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
    { const Call call("DeleteCriticalSection"); }
    lockOf(section).~recursive_mutex();
}

}  // extern "C"
