// A movable owner of a Windows handle, which closes it by the function given as a template
// argument.
#pragma once

#include <utility>

#include "common/share/tstring.h"

/// Owns a Windows handle. An empty owner is null, also for calls that fail with
/// INVALID_HANDLE_VALUE: wrap the result of the call first, then test the owner. `close` is never
/// called with null.
template <class Handle, void (*close)(Handle) noexcept>
class AutoHandle {
public:
    AutoHandle() = default;
    explicit AutoHandle(Handle handle) : handle_(orNull(handle)) {}
    AutoHandle(AutoHandle&& other) noexcept : handle_(other.release()) {}
    AutoHandle& operator=(AutoHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    ~AutoHandle() { reset(); }

    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != Handle{}; }

    /// Releases the handle to the caller, who then owns it.
    Handle release() { return std::exchange(handle_, Handle{}); }

    void reset(Handle handle = Handle{}) {
        const Handle old = std::exchange(handle_, orNull(handle));
        if (old != Handle{}) {
            close(old);
        }
    }

private:
    static HANDLE orNull(HANDLE handle) {
        return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
    }
    template <class Other>
    static Other orNull(Other handle) {
        return handle;
    }

    Handle handle_{};
};

/// Calls CloseHandle unless the handle is null or INVALID_HANDLE_VALUE. Logs a failure.
void closeHANDLE(HANDLE handle) noexcept;

/// Calls RegCloseKey unless the key is null. Logs a failure.
void closeRegHandle(HKEY key) noexcept;

/// Call FindClose, LocalFree and FreeLibrary.
void closeFind(HANDLE find) noexcept;
void freeLocal(void* block) noexcept;
void freeLibrary(HMODULE module) noexcept;

using WinHandle = AutoHandle<HANDLE, closeHANDLE>;
using RegHandle = AutoHandle<HKEY, closeRegHandle>;
/// A search handle of FindFirstFileW.
using FindHandle = AutoHandle<HANDLE, closeFind>;
/// A memory block that Windows allocates for the caller.
using LocalBlock = AutoHandle<void*, freeLocal>;
/// A module reference of LoadLibrary or GetModuleHandleEx.
using LoadedLibrary = AutoHandle<HMODULE, freeLibrary>;
