// The work of the product update behind its exported action.
#pragma once

#include <vector>

#include "common/share/tstring.h"
#include "windows/common/InstallConfigData.h"
#include "windows/common/NorvEnvironment.h"

/// Updates the machine's shared state for `product`, which has just been installed and stands in
/// `products`, the detected list; then deletes what its install left behind. Meanwhile the progress
/// channel says that operation 6 is running. Every failure is logged; the answer is always true.
bool InstallNorv(const std::vector<InstalledNorv>& products, const InstalledNorv& product,
                 const InstallConfigData& config);

/// Deletes the temporary install files from a product's home directory, as far as that is possible.
void CleanupTempFiles(const tstring& homeDirectory);
