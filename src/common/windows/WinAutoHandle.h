// One way to own a handle: a movable owner that closes it by the function it is made with.
#pragma once

#include <utility>

#include "common/share/tstring.h"

/// Owns a handle of Windows. What a failed call gives for one is null, be it that the call says
/// INVALID_HANDLE_VALUE: so a call's answer is wrapped first and tested then. `close` never gets
/// null.
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

    /// Gives the handle up to the caller.
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

/// CloseHandle; null and INVALID_HANDLE_VALUE are skipped. A failure is a log record.
void closeHANDLE(HANDLE handle) noexcept;

/// RegCloseKey; null is skipped. A failure is a log record.
void closeRegHandle(HKEY key) noexcept;

/// FindClose, LocalFree and FreeLibrary.
void closeFind(HANDLE find) noexcept;
void freeLocal(void* block) noexcept;
void freeLibrary(HMODULE module) noexcept;

using WinHandle = AutoHandle<HANDLE, closeHANDLE>;
using RegHandle = AutoHandle<HKEY, closeRegHandle>;
/// A search of FindFirstFileW.
using FindHandle = AutoHandle<HANDLE, closeFind>;
/// A block that Windows hands over.
using LocalBlock = AutoHandle<void*, freeLocal>;
/// A library that LoadLibrary or GetModuleHandleEx holds.
using LoadedLibrary = AutoHandle<HMODULE, freeLibrary>;
