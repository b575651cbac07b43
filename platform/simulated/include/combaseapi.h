// COM: making objects, GUIDs and their texts.
#pragma once

#include <unknwn.h>
#include <winerror.h>
#include <wtypes.h>

#define CLSCTX_ALL 0x17

using LPIID = IID*;

extern "C" {

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                LPVOID* object);
HRESULT WINAPI CoCreateGuid(GUID* guid);
int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int size);
HRESULT WINAPI IIDFromString(LPCOLESTR text, LPIID iid);
void WINAPI CoUninitialize();

}  // extern "C"
