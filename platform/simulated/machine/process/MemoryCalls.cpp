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

/// Counts a call whose work is done outside the gate: whoever waits at a lock keeps no other thread
/// out of the machine.
void count(const char* function) {
    const Call entered(function);
}

}  // namespace

extern "C" {

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    count("LocalFree");
    std::free(memory);
    return nullptr;
}

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
    count("InitializeCriticalSection");
    new (section->lock) std::recursive_mutex;
}

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
    count("EnterCriticalSection");
    lockOf(section).lock();
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
    count("LeaveCriticalSection");
    lockOf(section).unlock();
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
    count("DeleteCriticalSection");
    lockOf(section).~recursive_mutex();
}

}  // extern "C"
