#include "windows/customactions/ProductUpdateAction.h"

#include "windows/common/Guid.h"
#include "windows/common/InstallConfigData.h"
#include "windows/common/MsiCA.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/installerdll/RegInstallShare.h"

namespace {

constexpr std::uint32_t kQvrAndQvk = NorvEnvironment::kDetectQvr | NorvEnvironment::kDetectQvk |
                                     NorvEnvironment::kDetect32Bit | NorvEnvironment::kDetect64Bit;

}  // namespace

UINT updateProduct(MSIHANDLE session) {
    const tstring arguments = msi::getProperty(session, _T("CustomActionData"));
    InstallConfigData config;
    config.LoadConfigSettings(arguments);
    const auto products = NorvEnvironment::detect(kQvrAndQvk);
    const Guid productCode(config.productCode());
    const InstalledNorv product = NorvEnvironment::getByProductCode(products, productCode);
    InstallNorv(products, product, config);
    return ERROR_SUCCESS;
}
