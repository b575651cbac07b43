#include "describe/Description.h"

#include <msi.h>
#include <msiquery.h>
#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

/// The codes of the products that spell their version, more loosely than the library knows them,
/// and the updater's. "?" is any character.
constexpr const wchar_t* kCodes[] = {
    L"{????F0A8-6813-11D6-A77B-00B0D0??????}", L"{??A3A4F4-B792-11D6-A78A-00B0D0??????}",
    L"{???24AE4-039?-4CA4-87B4-2F??????????}", L"{1111706F-666A-4037-7777-????????4D10}",
    L"{4A03706F-666A-4037-7777-5F2748764D10}"};
/// The upgrade codes of the others, for architecture and first number of the version.
constexpr const wchar_t* kUpgradeCodes[] = {L"{57BDA5C6-443C-4D65-B233-28239%d2%04d}",
                                            L"{%dA3A4F4-B792-11D6-A78A-00B0D02%04d0}"};
constexpr const wchar_t* kInfo[] = {L"InstallLocation", L"ProductIcon", L"ProductName",
                                    L"VersionString"};
constexpr std::wstring_view kProperties[] = {L"FullVersion", L"QVK_VERSION", L"Enterprise",
                                             L"BaseimageChecksumSHA256", L"ProductVersion"};
constexpr std::size_t kCodeSize = 39;

std::wstring productInfo(const std::wstring& code, const wchar_t* name) {
    DWORD length = 0;
    if (MsiGetProductInfoW(code.c_str(), name, nullptr, &length) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring text(++length, L'\0');
    const UINT status = MsiGetProductInfoW(code.c_str(), name, text.data(), &length);
    text.resize(status == ERROR_SUCCESS ? length : 0);
    return text;
}

std::wstring field(MSIHANDLE record, UINT number) {
    DWORD length = 0;
    wchar_t none[1] = L"";
    MsiRecordGetStringW(record, number, none, &length);
    std::wstring text(++length, L'\0');
    MsiRecordGetStringW(record, number, text.data(), &length);
    text.resize(length);
    return text;
}

/// Calls a function with each row of a query; the status of running it.
template <class Take>
UINT forEachRow(MSIHANDLE database, const wchar_t* query, const Take& take) {
    MSIHANDLE view = 0;
    UINT status = MsiDatabaseOpenViewW(database, query, &view);
    if (status == ERROR_SUCCESS && (status = MsiViewExecute(view, 0)) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            take(record);
            MsiCloseHandle(record);
        }
    }
    MsiCloseHandle(view);
    return status;
}

/// What the library asks of a package's tables.
Json packageJson(const std::wstring& path) {
    MSIHANDLE database = 0;
    const UINT status = MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database);
    if (status != ERROR_SUCCESS) {
        return {{"status", status}};
    }
    Json json = Json::object();
    forEachRow(database, L"SELECT `Property`, `Value` FROM `Property`", [&](MSIHANDLE row) {
        const std::wstring name = field(row, 1);
        if (std::find(std::begin(kProperties), std::end(kProperties), name) !=
            std::end(kProperties)) {
            json["properties"][utf8(name)] = utf8(field(row, 2));
        }
    });
    forEachRow(
        database,
        L"SELECT `Component`, `ComponentId` FROM `Component` WHERE `ComponentId` = "
        L"'{4D5AF522-0BDC-475C-987E-5F111CD11028}' OR `Component` = 'vomlitcomponent'",
        [&](MSIHANDLE row) { json["components"][utf8(field(row, 1))] = utf8(field(row, 2)); });
    Json upgrade = Json::array();
    if (forEachRow(database, L"SELECT `ActionProperty` FROM `Upgrade`", [&](MSIHANDLE row) {
            upgrade.push_back(utf8(field(row, 1)));
        }) == ERROR_SUCCESS) {
        json["upgrade"] = upgrade;
    }
    MsiCloseHandle(database);
    return json;
}

Json productJson(const std::wstring& code, const std::wstring& upgradeCode) {
    Json product = {{"code", utf8(code)}, {"info", Json::object()}};
    if (!upgradeCode.empty()) {
        product["upgradeCode"] = utf8(upgradeCode);
    }
    for (const wchar_t* name : kInfo) {
        if (const std::wstring text = productInfo(code, name); !text.empty()) {
            product["info"][utf8(name)] = utf8(text);
        }
    }
    product["package"] = packageJson(productInfo(code, L"LocalPackage"));
    return product;
}

using Codes = std::vector<std::pair<std::wstring, std::wstring>>;  // with their upgrade codes

/// The products of the families, in the order of their trackers.
Codes relatedProducts() {
    Codes related;
    std::array<wchar_t, kCodeSize> upgradeCode = {};
    std::array<wchar_t, kCodeSize> code = {};
    for (int i = 0; i < 4 * 91; ++i) {
        swprintf(upgradeCode.data(), kCodeSize, kUpgradeCodes[i / 91 % 2], i < 2 * 91 ? 32 : 64,
                 9 + i % 91);
        for (DWORD j = 0;
             MsiEnumRelatedProductsW(upgradeCode.data(), 0, j, code.data()) == ERROR_SUCCESS; ++j) {
            related.emplace_back(code.data(), upgradeCode.data());
        }
    }
    return related;
}

bool isOurs(const wchar_t* code) {
    return std::any_of(std::begin(kCodes), std::end(kCodes), [&](const wchar_t* pattern) {
        return PathMatchSpecW(code, pattern) != FALSE;
    });
}

}  // namespace

std::vector<std::wstring> describeProducts(Description& description) {
    const Codes related = relatedProducts();
    std::vector<std::wstring> codes;
    const auto add = [&](const std::wstring& code) {
        const auto isCode = [&](const auto& one) { return one.first == code; };
        if (std::find(codes.begin(), codes.end(), code) == codes.end()) {
            const auto found = std::find_if(related.begin(), related.end(), isCode);
            codes.push_back(code);
            description.json["products"].push_back(
                productJson(code, found == related.end() ? L"" : found->second));
        }
    };
    std::array<wchar_t, kCodeSize> code = {};
    UINT status;
    for (DWORD i = 0; (status = MsiEnumProductsW(i, code.data())) == ERROR_SUCCESS; ++i) {
        if (isOurs(code.data())) {
            add(code.data());
        }
    }
    description.wasRead(L"the installer's products",
                        status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : status);
    for (const auto& [product, upgradeCode] : related) {
        add(product);
    }
    return codes;
}

void describePackage(Description& description, const std::wstring& path) {
    description.json["package"] = packageJson(path);
}
