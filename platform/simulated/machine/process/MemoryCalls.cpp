// Local memory and locks. Memory that the process doesn't free is the leak checker's to find.
#include <windows.h>

#include <cstdlib>
#include <new>

#include "simulated/machine/Machine.h"
#include "simulated/machine/ReentrantLock.h"

using namespace simulated;

namespace {

static_assert(sizeof(ReentrantLock) <= sizeof(CRITICAL_SECTION));

ReentrantLock& lockOf(LPCRITICAL_SECTION section) {
    return *reinterpret_cast<ReentrantLock*>(section->lock);
}

/// Counts a call whose work is done without the machine's lock, so that a thread that waits for a
/// critical section doesn't block the others.
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
    new (section->lock) ReentrantLock;
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
    lockOf(section).~ReentrantLock();
}

}  // extern "C"
