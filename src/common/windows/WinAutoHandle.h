// One way to own a handle: a movable owner that closes it by the function it is made with.
#pragma once

#include <utility>

#include "common/share/tstring.h"

/// Owns a handle of Windows. `close` gets what is owned, never the null value.
template <class Handle, void (*close)(Handle) noexcept>
class AutoHandle {
public:
    AutoHandle() = default;
    explicit AutoHandle(Handle handle) : handle_(handle) {}
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
        const Handle old = std::exchange(handle_, handle);
        if (old != Handle{}) {
            close(old);
        }
    }

private:
    Handle handle_{};
};

/// CloseHandle; null and INVALID_HANDLE_VALUE are skipped. A failure is a log record.
void closeHANDLE(HANDLE handle) noexcept;

/// RegCloseKey; null is skipped. A failure is a log record.
void closeRegHandle(HKEY key) noexcept;

using WinHandle = AutoHandle<HANDLE, closeHANDLE>;
using RegHandle = AutoHandle<HKEY, closeRegHandle>;
