// IUnknown, the root of COM's interfaces.
#pragma once

#include <windef.h>

/// An interface has the methods that are called; the objects belong to the machine, so
/// the order of a real virtual table doesn't matter.
struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
using LPUNKNOWN = IUnknown*;

extern "C" {

extern const IID IID_IUnknown;

}  // extern "C"
