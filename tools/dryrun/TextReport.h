// The outcome of a run as text for a terminal.
#pragma once

#include <ostream>

#include "dryrun/Format.h"

/// Prints an outcome of `runAction`; `wholeLog`: with the whole log in place of its warnings and
/// errors.
void printOutcome(std::ostream& out, const Json& outcome, bool wholeLog);

/// Prints what `productList` returns.
void printProducts(std::ostream& out, const Json& list);
