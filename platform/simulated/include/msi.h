// Windows Installer: handles, products, settings of the process.
#pragma once

#include <windef.h>

using MSIHANDLE = std::uint32_t;

enum INSTALLMESSAGE {
    INSTALLMESSAGE_WARNING = 0x02000000,
    INSTALLMESSAGE_INFO = 0x04000000,
};

enum INSTALLUILEVEL {
    INSTALLUILEVEL_DEFAULT = 1,
    INSTALLUILEVEL_NONE = 2,
    INSTALLUILEVEL_BASIC = 3,
};

enum INSTALLSTATE { INSTALLSTATE_ABSENT = 2 };

#define INSTALLLEVEL_MAXIMUM 0xffff

#define INSTALLLOGMODE_VERBOSE 0x1000

using INSTALLUI_HANDLERW = int(WINAPI*)(LPVOID context, UINT messageType, LPCWSTR message);

#define INSTALLPROPERTY_INSTALLLOCATION u"InstallLocation"
#define INSTALLPROPERTY_INSTALLEDPRODUCTNAME u"InstalledProductName"
#define INSTALLPROPERTY_LOCALPACKAGE u"LocalPackage"
#define INSTALLPROPERTY_PRODUCTICON u"ProductIcon"
#define INSTALLPROPERTY_PRODUCTNAME u"ProductName"
#define INSTALLPROPERTY_VERSIONSTRING u"VersionString"

extern "C" {

UINT WINAPI MsiCloseHandle(MSIHANDLE handle);

UINT WINAPI MsiEnumProductsW(DWORD index, LPWSTR productCode);
UINT WINAPI MsiEnumRelatedProductsW(LPCWSTR upgradeCode, DWORD reserved, DWORD index,
                                    LPWSTR productCode);
UINT WINAPI MsiGetProductInfoW(LPCWSTR productCode, LPCWSTR attribute, LPWSTR value, DWORD* count);
UINT WINAPI MsiConfigureProductExW(LPCWSTR productCode, int level, INSTALLSTATE state,
                                   LPCWSTR commandLine);

INSTALLUILEVEL WINAPI MsiSetInternalUI(INSTALLUILEVEL level, HWND* window);
INSTALLUI_HANDLERW WINAPI MsiSetExternalUIW(INSTALLUI_HANDLERW handler, DWORD filter,
                                            LPVOID context);
UINT WINAPI MsiEnableLogW(DWORD mode, LPCWSTR file, DWORD attributes);

}  // extern "C"
