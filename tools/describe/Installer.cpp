#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <set>

#include "common/share/tstrings.h"
#include "describe/Description.h"
#include "windows/au/common/au/AuMsi.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"
#include "windows/common/MsiDb.h"
#include "windows/common/MsiError.h"
#include "windows/common/MsiUtils.h"
#include "windows/common/SysInfo.h"

namespace {

/// The upgrade codes of the products whose codes don't spell their versions, for architecture and
/// first number of the version.
constexpr const TCHAR* kUpgradeCodes[] = {L"{57BDA5C6-443C-4D65-B233-28239%d2%04d}",
                                          L"{%dA3A4F4-B792-11D6-A78A-00B0D02%04d0}"};
constexpr int kFirstVersion = 9;
constexpr int kLastVersion = 99;
constexpr const TCHAR* kInfo[] = {L"InstallLocation", L"ProductIcon", L"ProductName",
                                  L"VersionString"};
constexpr const TCHAR* kProperties[] = {L"FullVersion", L"QVK_VERSION", L"Enterprise",
                                        L"BaseimageChecksumSHA256", L"ProductVersion"};
/// The two ways in which the library finds the registration tool of the updater.
constexpr const TCHAR* kToolId = L"{4D5AF522-0BDC-475C-987E-5F111CD11028}";
constexpr const TCHAR* kToolComponent = L"vomlitcomponent";
constexpr std::size_t kCodeSize = 39;
/// The library gives up its enumeration after as many failures in a row.
constexpr int kMaxFailures = 256;

/// Returns the first column of a query's rows.
std::vector<tstring> column(const msi::Database& database, const tstring& query) {
    std::vector<tstring> result;
    msi::DatabaseView view(database, query);
    while (const msi::DatabaseRecord row = view.tryFetch()) {
        result.push_back(row.getString());
    }
    return result;
}

class PackageReader {
public:
    /// `what` is how notes name the package.
    PackageReader(Description& description, const tstring& path, const tstring& what)
        : description_(description), what_(what), database_(path) {}

    Json read() {
        Json json = Json::object();
        for (const TCHAR* name : kProperties) {
            readProperty(name, json);
        }
        part(L"Component", [&] { readComponents(json); });
        part(L"Upgrade", [&] { readUpgrade(json); });
        return json;
    }

private:
    /// A table that the package doesn't have is no failure: the library finds none either.
    template <class Read>
    void part(const TCHAR* name, const Read& read) {
        try {
            read();
        } catch (const msi::NoMoreItemsError&) {
            return;
        } catch (const msi::Error& e) {
            if (e.status() != ERROR_BAD_QUERY_SYNTAX) {
                description_.addUnread(what_ + L" " + name, e.status());
            }
        }
    }

    void readProperty(const TCHAR* name, Json& json) {
        part(name, [&] {
            const tstring value = database_.getProperty(name);
            description_.setText(json["properties"], tstrings::toUtf8(name), value,
                                 what_ + L" " + name);
        });
    }

    void readComponents(Json& json) {
        const tstring byId = L"SELECT `Component` FROM `Component` WHERE `ComponentId` = '";
        for (const tstring& name : column(database_, byId + kToolId + L"'")) {
            description_.setText(json["components"], tstrings::toUtf8(name), kToolId, what_);
        }
        const tstring byName = L"SELECT `ComponentId` FROM `Component` WHERE `Component` = '";
        for (const tstring& id : column(database_, byName + kToolComponent + L"'")) {
            description_.setText(json["components"], tstrings::toUtf8(kToolComponent), id, what_);
        }
    }

    void readUpgrade(Json& json) {
        Json upgrade = Json::array();
        for (const tstring& name : column(database_, L"SELECT `ActionProperty` FROM `Upgrade`")) {
            if (const auto text = description_.exactText(name, what_ + L" Upgrade")) {
                upgrade.push_back(*text);
            }
        }
        json["upgrade"] = upgrade;
    }

    Description& description_;
    tstring what_;
    msi::Database database_;
};

/// What the library reads of a package's tables; the status when it can't be opened.
Json packageJson(Description& description, const tstring& path, const tstring& what) {
    try {
        return PackageReader(description, path, what).read();
    } catch (const msi::Error& e) {
        return {{"status", e.status()}};
    }
}

/// The package that the installer keeps of a product.
Json cachedPackage(Description& description, const Guid& code) {
    const tstring what = code.toString() + L" LocalPackage";
    tstring path;
    try {
        path = msi::getProductInfo(code, INSTALLPROPERTY_LOCALPACKAGE);
    } catch (const msi::Error& e) {
        return {{"status", e.status()}};
    }
    Json json = packageJson(description, path, what);
    description.setText(json, "path", path, what);
    return json;
}

Json productJson(Description& description, const tstring& code, const tstring& upgradeCode) {
    const Guid guid(code);
    Json product = {{"code", tstrings::toUtf8(code)}, {"info", Json::object()}};
    if (!upgradeCode.empty()) {
        product["upgradeCode"] = tstrings::toUtf8(upgradeCode);
    }
    for (const TCHAR* name : kInfo) {
        const tstring text = msi::tryGetProductInfo(guid, name);
        if (!text.empty()) {
            description.setText(product["info"], tstrings::toUtf8(name), text, code + L" " + name);
        }
    }
    product["package"] = cachedPackage(description, guid);
    return product;
}

struct RelatedProduct {
    tstring code;
    tstring upgradeCode;
};

tstring upgradeCodeOf(const TCHAR* format, int bits, int version) {
    return tstrings::unsafe_format(format, bits, version);
}

/// The products of one upgrade code.
void addRelated(Description& description, const tstring& upgradeCode,
                std::vector<RelatedProduct>& related) {
    std::array<TCHAR, kCodeSize> code = {};
    for (DWORD i = 0;; ++i) {
        const UINT status = MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, i, code.data());
        if (status != ERROR_SUCCESS) {
            description.wasRead(upgradeCode, status == ERROR_NO_MORE_ITEMS ? 0 : status);
            return;
        }
        related.push_back({code.data(), upgradeCode});
    }
}

/// The products of the families, in the order of the library's trackers.
std::vector<RelatedProduct> relatedProducts(Description& description) {
    std::vector<RelatedProduct> related;
    for (const int bits : {32, 64}) {
        if (bits == 64 && !SysInfo::is64BitOs()) {
            continue;
        }
        for (const TCHAR* format : kUpgradeCodes) {
            for (int version = kFirstVersion; version <= kLastVersion; ++version) {
                addRelated(description, upgradeCodeOf(format, bits, version), related);
            }
        }
    }
    return related;
}

bool spellsItsVersion(const tstring& code) {
    tstring version;
    return code == au::kProductCode ||
           KnownProductCodeInstalledNorvTracker::match(code, version) != nullptr;
}

/// The codes in the installer's list that spell their versions, as often as they are in it.
std::vector<tstring> knownProducts(Description& description) {
    std::vector<tstring> codes;
    std::array<TCHAR, kCodeSize> code = {};
    int failures = 0;
    for (DWORD i = 0; failures < kMaxFailures; ++i) {
        const UINT status = MsiEnumProductsW(i, code.data());
        if (status == ERROR_NO_MORE_ITEMS) {
            break;
        }
        if (status != ERROR_SUCCESS) {
            description.addUnread(L"the installer's products", status);
            ++failures;
            continue;
        }
        failures = 0;
        if (spellsItsVersion(code.data())) {
            codes.push_back(code.data());
        }
    }
    return codes;
}

}  // namespace

std::vector<tstring> describeProducts(Description& description) {
    const std::vector<RelatedProduct> related = relatedProducts(description);
    std::map<tstring, tstring> upgradeCodes;
    for (const RelatedProduct& product : related) {
        upgradeCodes.emplace(product.code, product.upgradeCode);
    }
    std::vector<tstring> codes;
    std::set<tstring> described;
    const auto add = [&](const tstring& code) {
        const auto upgradeCode = upgradeCodes.find(code);
        description.json["products"].push_back(
            productJson(description, code,
                        upgradeCode == upgradeCodes.end() ? tstring() : upgradeCode->second));
        described.insert(code);
        codes.push_back(code);
    };
    for (const tstring& code : knownProducts(description)) {
        if (described.contains(code)) {
            description.json["products"].push_back({{"code", tstrings::toUtf8(code)}});
        } else {
            add(code);
        }
    }
    for (const RelatedProduct& product : related) {
        if (!described.contains(product.code)) {
            add(product.code);
        }
    }
    return codes;
}

void describePackage(Description& description, const tstring& path) {
    description.json["package"] = packageJson(description, path, path);
}
