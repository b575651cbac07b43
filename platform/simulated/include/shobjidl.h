// The shell's link object.
#pragma once

#include <objidl.h>
#include <winnt.h>

struct IShellLinkW : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPCWSTR description) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetArguments(LPCWSTR arguments) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetIconLocation(LPCWSTR path, int index) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPath(LPCWSTR path) = 0;
};

extern "C" {

extern const CLSID CLSID_ShellLink;
extern const IID IID_IShellLinkW;

}  // extern "C"
