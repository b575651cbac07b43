// COM for a scope, and an owner of COM interfaces.
#pragma once

#include "common/windows/WinAutoHandle.h"

/// Opens COM on this thread, in a single-threaded apartment, until the object ends. A failure is a
/// log record.
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
