// The calls on installed products, and the installer's settings of the process.
#include <windows.h>
#include <msi.h>

#include <algorithm>
#include <set>

#include "simulated/machine/Com.h"
#include "simulated/machine/Machine.h"
#include "simulated/machine/MsiObjects.h"

using namespace simulated;

namespace {

Installer& installer() {
    return Machine::current().installer;
}

/// Of the buffer that takes a code, with its NUL.
constexpr DWORD kCodeSize = 39;

/// The attributes that the installer tells of a product.
const std::set<std::u16string>& knownAttributes() {
    static const std::set<std::u16string> names = {
        u"AssignmentType",  u"AuthorizedLUAApp", u"Contact",           u"HelpLink",
        u"HelpTelephone",   u"InstallDate",      u"InstalledLanguage", u"InstalledProductName",
        u"InstallLocation", u"InstallSource",    u"InstanceType",      u"Language",
        u"LocalPackage",    u"PackageCode",      u"PackageName",       u"ProductIcon",
        u"ProductID",       u"ProductName",      u"Publisher",         u"RegCompany",
        u"RegOwner",        u"Transforms",       u"URLInfoAbout",      u"URLUpdateInfo",
        u"Version",         u"VersionMajor",     u"VersionMinor",      u"VersionString"};
    return names;
}

/// Whether a text is a GUID in registry form.
bool isCode(LPCWSTR text) {
    GUID guid;
    return parseGuid(argument(text), guid);
}

/// Copies a product's code with its NUL.
UINT giveCode(const Product& product, LPWSTR code) {
    copyOut(product.code, code, kCodeSize);
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {

UINT WINAPI MsiEnumProductsW(DWORD index, LPWSTR productCode) {
    Call call("MsiEnumProductsW");
    // Whoever passes a failure over and goes on comes to an end, also when every call fails.
    const bool isBehindEnd = index > installer().products().size();
    if (call.fails() && !isBehindEnd) {
        return call.status(ERROR_BAD_CONFIGURATION);
    }
    if (productCode == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto& products = installer().products();
    return index < products.size() ? giveCode(*products[index], productCode) : ERROR_NO_MORE_ITEMS;
}

UINT WINAPI MsiEnumRelatedProductsW(LPCWSTR upgradeCode, DWORD reserved, DWORD index,
                                    LPWSTR productCode) {
    Call call("MsiEnumRelatedProductsW");
    if (call.fails()) {
        return call.status(ERROR_BAD_CONFIGURATION);
    }
    if (productCode == nullptr || reserved != 0 || !isCode(upgradeCode)) {
        return ERROR_INVALID_PARAMETER;
    }
    for (const std::unique_ptr<Product>& product : installer().products()) {
        if (sameCode(product->upgradeCode, upgradeCode) && index-- == 0) {
            return giveCode(*product, productCode);
        }
    }
    return ERROR_NO_MORE_ITEMS;
}

UINT WINAPI MsiGetProductInfoW(LPCWSTR productCode, LPCWSTR attribute, LPWSTR value, DWORD* count) {
    Call call("MsiGetProductInfoW");
    if (call.fails()) {
        return call.status(ERROR_BAD_CONFIGURATION);
    }
    if (attribute == nullptr || !isCode(productCode) || (value != nullptr && count == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const Product* const product = installer().product(productCode);
    if (product == nullptr) {
        return ERROR_UNKNOWN_PRODUCT;
    }
    const auto found = product->properties.find(attribute);
    if (found != product->properties.end()) {
        return giveText(found->second, value, count);
    }
    return knownAttributes().contains(attribute) ? giveText(u"", value, count)
                                                 : ERROR_UNKNOWN_PROPERTY;
}

UINT WINAPI MsiConfigureProductExW(LPCWSTR productCode, int level, INSTALLSTATE state,
                                   LPCWSTR commandLine) {
    Call call("MsiConfigureProductExW");
    if (call.fails()) {
        return call.status(ERROR_INSTALL_FAILURE);
    }
    if (!isCode(productCode)) {
        return ERROR_INVALID_PARAMETER;
    }
    if (installer().product(productCode) == nullptr) {
        return ERROR_UNKNOWN_PRODUCT;
    }
    const Installer::ProcessSettings& settings = installer().settings();
    return installer().configure({productCode, level, state, std::u16string(argument(commandLine)),
                                  settings.uiLevel, settings.logFile, settings.handler != nullptr});
}

INSTALLUILEVEL WINAPI MsiSetInternalUI(INSTALLUILEVEL level, HWND*) {
    const Call call("MsiSetInternalUI");
    const int shown = level & 0x7;
    if (shown > INSTALLUILEVEL_FULL) {
        return INSTALLUILEVEL_NOCHANGE;
    }
    const INSTALLUILEVEL previous = installer().settings().uiLevel;
    if (level != INSTALLUILEVEL_NOCHANGE) {
        installer().settings().uiLevel = level;
    }
    return previous;
}

INSTALLUI_HANDLERW WINAPI MsiSetExternalUIW(INSTALLUI_HANDLERW handler, DWORD filter,
                                            LPVOID context) {
    const Call call("MsiSetExternalUIW");
    Installer::ProcessSettings& settings = installer().settings();
    settings.handlerFilter = filter;
    settings.handlerContext = context;
    return std::exchange(settings.handler, handler);
}

UINT WINAPI MsiEnableLogW(DWORD mode, LPCWSTR file, DWORD) {
    Call call("MsiEnableLogW");
    if (call.fails()) {
        return call.status(ERROR_INVALID_PARAMETER);
    }
    const bool isOn = mode != 0 && file != nullptr;
    installer().settings().logMode = isOn ? mode : 0;
    installer().settings().logFile = isOn ? file : u"";
    return ERROR_SUCCESS;
}

}  // extern "C"
