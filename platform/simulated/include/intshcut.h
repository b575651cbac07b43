// The shell's internet shortcut object.
#pragma once

#include <unknwn.h>
#include <winerror.h>
#include <wtypes.h>

struct IUniformResourceLocatorW : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetURL(LPCWSTR url, DWORD flags) = 0;
};

extern "C" {

extern const CLSID CLSID_InternetShortcut;
extern const IID IID_IUniformResourceLocatorW;

}  // extern "C"
