// The shell's link object.
#pragma once

#include <objidl.h>
#include <winnt.h>

#define SLGP_RAWPATH 0x4

struct WIN32_FIND_DATAW;

struct IShellLinkW : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetPath(LPWSTR path, int size, WIN32_FIND_DATAW* data,
                                              DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(LPWSTR description, int size) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPCWSTR description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetArguments(LPWSTR arguments, int size) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetArguments(LPCWSTR arguments) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIconLocation(LPWSTR path, int size, int* index) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetIconLocation(LPCWSTR path, int index) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPath(LPCWSTR path) = 0;
};

extern "C" {

extern const CLSID CLSID_ShellLink;
extern const IID IID_IShellLinkW;

}  // extern "C"

#define IShellLink IShellLinkW
#define IID_IShellLink IID_IShellLinkW
