// COM: its start on a thread.
#pragma once

#include <combaseapi.h>
#include <objidl.h>

extern "C" {

HRESULT WINAPI CoInitialize(LPVOID reserved);

}  // extern "C"
