// The order in which the installer lists products.
#pragma once

#include <string>

#include "dryrun/Format.h"
#include "simulated/machine/Machine.h"

/// Moves the products after the first `before` to the places where an installer that lists products
/// by their packed codes has them; that is known of Wine. If the first ones are in another order,
/// the others stay at the end.
void placeAddedProducts(simulated::Installer& installer, std::size_t before);

/// Adds a note if an update depends on the order of two products: of the shim-aware development
/// kits with the same first number the last one decides about the command shims.
void noteOrder(const simulated::Installer& installer, Json& notes);
