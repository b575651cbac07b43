// The last error of each thread, and closing handles.
#include <windows.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

thread_local DWORD lastError = 0;

}  // namespace

extern "C" {

DWORD WINAPI GetLastError() {
    return lastError;
}

void WINAPI SetLastError(DWORD status) {
    lastError = status;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    return call("CloseHandle", ERROR_INVALID_HANDLE, [&] {
        Handles& handles = Machine::current().handles;
        const auto object = handles.find<HandleObject>(handle);
        demand(object != nullptr && object->isOfKernel(), ERROR_INVALID_HANDLE);
        handles.close(handle);
    });
}

}  // extern "C"
