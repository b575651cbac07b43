// Scoped COM initialisation, and an owner of COM interfaces.
#pragma once

#include "common/windows/WinAutoHandle.h"

/// Initialises COM on this thread, as a single-threaded apartment, until the object is destroyed.
/// Logs a failure.
class ComInitializer {
public:
    ComInitializer();
    ~ComInitializer();
    ComInitializer(const ComInitializer&) = delete;
    ComInitializer& operator=(const ComInitializer&) = delete;

private:
    bool initialized_;
};

template <class Interface>
void releaseInterface(Interface* interfacePointer) noexcept {
    interfacePointer->Release();
}

/// Owns one reference to an interface.
template <class Interface>
using ComPtr = AutoHandle<Interface*, releaseInterface<Interface>>;
