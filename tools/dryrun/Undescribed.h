// Notes about what an action reads and nobody described.
#pragma once

#include "dryrun/Run.h"

/// Adds a note for each directory, file or home that the action reads and that the description
/// doesn't mention: the machine has nothing there, which may not be so on the real one.
void noteUndescribed(const Request& request, const DescribedMachine& described, Json& notes);
