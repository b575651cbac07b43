// COM: making objects, GUIDs and their texts.
#pragma once

#include <unknwn.h>
#include <winerror.h>
#include <wtypes.h>

#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_REMOTE_SERVER 0x10
#define CLSCTX_ALL \
    (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)

using LPIID = IID*;
using LPCLSID = CLSID*;

extern "C" {

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                LPVOID* object);
HRESULT WINAPI CoCreateGuid(GUID* guid);
int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int size);
HRESULT WINAPI IIDFromString(LPCOLESTR text, LPIID iid);
void WINAPI CoUninitialize();
void WINAPI CoTaskMemFree(LPVOID memory);

}  // extern "C"
