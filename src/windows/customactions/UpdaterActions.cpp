#include "windows/customactions/UpdaterActions.h"

#include <algorithm>
#include <set>
#include <vector>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/au/common/au/AuMsi.h"
#include "windows/common/FileUtils.h"
#include "windows/common/MsiCA.h"
#include "windows/common/MsiDb.h"
#include "windows/common/MsiUtils.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/common/SysInfo.h"
#include "windows/customactions/SetMsiProperty.h"

namespace {

/// The property that passes to `RestoreVomlitExe` what `DisableVomlitExe` did: the product codes of
/// the tool's providers, then the file that the tool was moved to. Neither contains the separator.
constexpr const TCHAR* kStateProperty = _T("DisableVomlitExe");
constexpr const TCHAR* kStateSeparator = _T("*");

constexpr const TCHAR* kComponentQuery =
    _T("SELECT * FROM Component WHERE ComponentId = '{4D5AF522-0BDC-475C-987E-5F111CD11028}' OR ")
    _T("Component = 'vomlitcomponent'");
constexpr const TCHAR* kUpgradeQuery = _T("SELECT ActionProperty FROM Upgrade");

std::vector<InstalledNorv> detectRuntimes() {
    return NorvEnvironment::detect(NorvEnvironment::kDetectQvr | NorvEnvironment::kDetect32Bit |
                                   NorvEnvironment::kDetect64Bit);
}

/// Returns the product codes of the products whose packages contain the registration tool.
std::vector<tstring> findToolProviders() {
    std::vector<tstring> providers;
    if (au::InstalledState::detect().state != au::InstalledState::kNotInstalled) {
        providers.emplace_back(au::kProductCode);
    }
    for (const InstalledNorv& product : detectRuntimes()) {
        const msi::Database package(product.productCode);
        msi::DatabaseView components(package, kComponentQuery);
        if (components.tryFetch()) {
            providers.push_back(product.productCode.toString());
        }
    }
    return providers;
}

tstring join(const std::vector<tstring>& items, const tstring& separator) {
    tstring result;
    for (const tstring& item : items) {
        result += (result.empty() ? tstring() : separator) + item;
    }
    return result;
}

/// Adds the products that one property of the "Upgrade" table lists. Anything that is not a product
/// code is logged and left out.
void addReplacedProducts(const tstring& value, std::set<Guid>& replaced) {
    std::vector<tstring> tokens;
    tstrings::split(tokens, value, _T(";"), tstrings::SplitType::NoShort);
    for (const tstring& token : tokens) {
        runLogged("DisableAUUninstall", [&] { replaced.insert(Guid(token)); });
    }
}

/// Returns the products that the running package has found for replacement.
std::set<Guid> findReplacedProducts(MSIHANDLE session) {
    std::set<Guid> replaced;
    const msi::Database package(session);
    msi::DatabaseView upgrades(package, kUpgradeQuery);
    while (const msi::DatabaseRecord row = upgrades.tryFetch()) {
        addReplacedProducts(msi::getProperty(session, row.getString()), replaced);
    }
    return replaced;
}

}  // namespace

UINT disableVomlitExe(MSIHANDLE session) {
    constexpr const char* kFunction = "DisableVomlitExe";
    const tstring tool = au::registrationToolPath();
    if (!FileUtils::exists(tool)) {
        return ERROR_SUCCESS;
    }
    std::vector<tstring> state = findToolProviders();
    if (state.empty()) {
        LOG_WARNING(kFunction, Text() << _T("Unexpected state: '") << tool
                                      << _T("' path exists, but no products that provide it ")
                                         _T("detected."));
        return ERROR_SUCCESS;
    }
    const tstring hidingPlace =
        FileUtils::createTempFile(tstring(), _T(".tmp"), SysInfo::getTempDir());
    state.push_back(hidingPlace);
    const tstring value = join(state, kStateSeparator);
    LOG_TRACE(kFunction, Text() << _T("DisableVomlitExe=[") << value << _T("]"));
    FileUtils::moveFile(tool, hidingPlace, false);
    return setMsiProperty(session, kStateProperty, value);
}

UINT restoreVomlitExe(MSIHANDLE session) {
    constexpr const char* kFunction = "RestoreVomlitExe";
    const tstring value = msi::getProperty(session, kStateProperty);
    LOG_TRACE(kFunction, Text() << _T("DisableVomlitExe=[") << value << _T("]"));
    std::vector<tstring> state;
    tstrings::split(state, value, kStateSeparator);
    if (state.size() < 2) {
        LOG_WARNING(kFunction,
                    Text() << _T("Unexpected value of 'DisableVomlitExe' property=") << value);
        return ERROR_SUCCESS;
    }
    const tstring hidingPlace = state.back();
    state.pop_back();
    const bool isProvided = std::any_of(state.begin(), state.end(), [](const tstring& productCode) {
        return msi::isProductInstalled(Guid(productCode));
    });
    if (isProvided) {
        FileUtils::moveFile(hidingPlace, au::registrationToolPath(), true);
    }
    return ERROR_SUCCESS;
}

UINT disableAUUninstall(MSIHANDLE session) {
    const std::set<Guid> replaced = findReplacedProducts(session);
    const std::vector<InstalledNorv> runtimes = detectRuntimes();
    const bool oneStays = std::any_of(
        runtimes.begin(), runtimes.end(),
        [&](const InstalledNorv& product) { return replaced.count(product.productCode) == 0; });
    if (oneStays) {
        setMsiProperty(session, _T("AUVERSIONSINSTALLED"), _T(";"));
    }
    return ERROR_SUCCESS;
}
