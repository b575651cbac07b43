// The functions on installed products, and the installer's settings of the process.
#include <windows.h>
#include <msi.h>

#include <set>
#include <utility>

#include "simulated/machine/shell/Guid.h"
#include "simulated/machine/installer/MsiObjects.h"

using namespace simulated;

namespace {

/// The size of a buffer for a code, in characters, with its NUL.
constexpr DWORD kCodeSize = 39;

/// The attributes that are supported; one that a product does not have reads as empty.
const std::set<std::u16string>& supportedAttributes() {
    static const std::set<std::u16string> names = {
        INSTALLPROPERTY_INSTALLEDPRODUCTNAME, INSTALLPROPERTY_INSTALLLOCATION,
        INSTALLPROPERTY_LOCALPACKAGE,         INSTALLPROPERTY_PRODUCTICON,
        INSTALLPROPERTY_PRODUCTNAME,          INSTALLPROPERTY_VERSIONSTRING};
    return names;
}

/// Refuses a string that isn't a GUID in registry form.
void demandCode(LPCWSTR text) {
    GUID guid;
    demand(parseGuid(argument(text), guid), ERROR_INVALID_PARAMETER);
}

const Product& installedProduct(LPCWSTR code) {
    const Product* const product = installer().product(code);
    demand(product != nullptr, ERROR_UNKNOWN_PRODUCT);
    return *product;
}

}  // namespace

extern "C" {

UINT WINAPI MsiEnumProductsW(DWORD index, LPWSTR productCode) {
    return statusCall("MsiEnumProductsW", ERROR_BAD_CONFIGURATION, [&] {
        demand(productCode != nullptr && installer().acceptsProductIndex(index),
               ERROR_INVALID_PARAMETER);
        const ProductList& products = installer().products();
        demand(index < products.size(), ERROR_NO_MORE_ITEMS);
        copyOut(products[index].code, productCode, kCodeSize);
        installer().passProduct(index);
    });
}

UINT WINAPI MsiEnumRelatedProductsW(LPCWSTR upgradeCode, DWORD reserved, DWORD index,
                                    LPWSTR productCode) {
    return statusCall("MsiEnumRelatedProductsW", ERROR_BAD_CONFIGURATION, [&] {
        demand(productCode != nullptr && reserved == 0, ERROR_INVALID_PARAMETER);
        demandCode(upgradeCode);
        const auto& related = installer().products().related(upgradeCode);
        demand(index < related.size(), ERROR_NO_MORE_ITEMS);
        copyOut(related[index]->code, productCode, kCodeSize);
    });
}

UINT WINAPI MsiGetProductInfoW(LPCWSTR productCode, LPCWSTR attribute, LPWSTR value, DWORD* count) {
    return statusCall("MsiGetProductInfoW", ERROR_BAD_CONFIGURATION, [&] {
        demand(attribute != nullptr && (value == nullptr || count != nullptr),
               ERROR_INVALID_PARAMETER);
        demandCode(productCode);
        const Product& product = installedProduct(productCode);
        const auto found = product.properties.find(attribute);
        if (!supportedAttributes().contains(attribute)) {
            notSupported("MsiGetProductInfoW", "the attribute " + toUtf8(attribute));
        }
        copyText(found == product.properties.end() ? u"" : found->second, value, count);
    });
}

UINT WINAPI MsiConfigureProductExW(LPCWSTR productCode, int level, INSTALLSTATE state,
                                   LPCWSTR commandLine) {
    return statusCall("MsiConfigureProductExW", ERROR_INSTALL_FAILURE, [&] {
        demandCode(productCode);
        installedProduct(productCode);
        const Installer::ProcessSettings& settings = installer().settings();
        check(
            installer().configure({productCode, level, state, std::u16string(argument(commandLine)),
                                   settings.uiLevel, settings.logFile}));
    });
}

INSTALLUILEVEL WINAPI MsiSetInternalUI(INSTALLUILEVEL level, HWND*) {
    return sureCall("MsiSetInternalUI",
                    [&] { return std::exchange(installer().settings().uiLevel, level); });
}

INSTALLUI_HANDLERW WINAPI MsiSetExternalUIW(INSTALLUI_HANDLERW handler, DWORD filter,
                                            LPVOID context) {
    return sureCall("MsiSetExternalUIW", [&] {
        Installer::ProcessSettings& settings = installer().settings();
        settings.handlerFilter = filter;
        settings.handlerContext = context;
        return std::exchange(settings.handler, handler);
    });
}

UINT WINAPI MsiEnableLogW(DWORD mode, LPCWSTR file, DWORD) {
    return statusCall("MsiEnableLogW", ERROR_INVALID_PARAMETER, [&] {
        const bool isOn = mode != 0 && file != nullptr;
        installer().settings().logMode = isOn ? mode : 0;
        installer().settings().logFile = isOn ? file : u"";
    });
}

}  // extern "C"
