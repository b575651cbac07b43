#include "windows/installerdll/RegInstallShare.h"

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/progress/ClientOperation.h"
#include "windows/common/FileUtils.h"
#include "windows/installerdll/NorvSetupManager.h"

namespace {

constexpr std::uint32_t kProductUpdateOperation = 6;
constexpr const char* kProgressChannel = "PmtOperationSequenceSharedMemory";

void updateSharedState(const std::vector<InstalledNorv>& products, const InstalledNorv& product,
                       const InstallConfigData& config) {
    NorvSetupManager manager;
    manager.product = product;
    manager.action = UpdateAction::Install;
    // Failures have been logged and don't fail the install.
    manager.update(config, products);
}

}  // namespace

bool InstallNorv(const std::vector<InstalledNorv>& products, const InstalledNorv& product,
                 const InstallConfigData& config) {
    runLogged("InstallNorv", [&] {
        LOG_TRACE("InstallNorv", Text()
                                     << _T("InstallNorv(")
                                     << NorvVersionDetails::sourceText(product.version) << _T(")"));
        const progress::ClientOperation operation(kProductUpdateOperation, kProgressChannel);
        updateSharedState(products, product, config);
        CleanupTempFiles(product.homeDir);
    });
    return true;
}

void CleanupTempFiles(const tstring& homeDirectory) {
    TRACE_SCOPE("CleanupTempFiles", "CleanupTempFiles");
    for (const TCHAR* name : {_T("core.zip"), _T("patchqvr.exe"), _T("tools.zip")}) {
        FileUtils::tryDeleteFile(FileUtils::combinePath(homeDirectory, name));
    }
}
