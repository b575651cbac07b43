// IPersistFile: an object that is kept in a file.
#pragma once

#include <unknwn.h>
#include <wtypes.h>

struct IPersistFile : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Save(LPCOLESTR fileName, BOOL remember) = 0;
};

extern "C" {

extern const IID IID_IPersistFile;

}  // extern "C"
