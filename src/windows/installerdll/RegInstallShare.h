// The product update, called by its exported action.
#pragma once

#include <vector>

#include "common/share/tstring.h"
#include "windows/common/InstallConfigData.h"
#include "windows/common/NorvEnvironment.h"

/// Updates the machine's shared state for `product`, which has just been installed and is in
/// `products`, the detected list; then deletes its install leftovers. Publishes meanwhile that
/// operation 6 is running. Every failure is logged; always returns true.
bool InstallNorv(const std::vector<InstalledNorv>& products, const InstalledNorv& product,
                 const InstallConfigData& config);

/// Deletes the temporary install files from a product's home directory, as far as possible.
void CleanupTempFiles(const tstring& homeDirectory);
