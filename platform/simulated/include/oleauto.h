// Automation: the error object of a thread, and COM's counted texts.
#pragma once

#include <unknwn.h>
#include <winerror.h>
#include <wtypes.h>

struct IErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) = 0;
};

extern "C" {

HRESULT WINAPI GetErrorInfo(ULONG reserved, IErrorInfo** info);
void WINAPI SysFreeString(BSTR text);
UINT WINAPI SysStringLen(BSTR text);

}  // extern "C"
