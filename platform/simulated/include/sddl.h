// The texts of security identifiers and descriptors.
#pragma once

#include <windef.h>
#include <winnt.h>

#define SDDL_REVISION_1 1

extern "C" {

/// What these give is freed by LocalFree.
BOOL WINAPI ConvertStringSidToSidW(LPCWSTR text, PSID* sid);
BOOL WINAPI ConvertSidToStringSidW(PSID sid, LPWSTR* text);
BOOL WINAPI ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor,
                                                                 PULONG size);

}  // extern "C"
