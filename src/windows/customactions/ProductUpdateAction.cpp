#include "windows/customactions/ProductUpdateAction.h"

#include "windows/common/Guid.h"
#include "windows/common/InstallConfigData.h"
#include "windows/common/MsiCA.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/installerdll/RegInstallShare.h"

UINT updateProduct(MSIHANDLE session) {
    const tstring arguments = msi::getProperty(session, _T("CustomActionData"));
    InstallConfigData config;
    config.LoadConfigSettings(arguments);
    // QVR and QVK of both architectures.
    const auto products = NorvEnvironment::detect(0x33);
    const Guid productCode(config.productCode());
    const InstalledNorv product = NorvEnvironment::getByProductCode(products, productCode);
    InstallNorv(products, product, config);
    return ERROR_SUCCESS;
}
