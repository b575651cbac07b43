// The outcome of a dry run as text for a terminal.
#pragma once

#include <ostream>

#include "dryrun/Format.h"

struct TextStyle {
    bool colour = false;    ///< ANSI escape sequences for signs and headings
    bool wholeLog = false;  ///< the whole log instead of its warnings and errors
};

/// Prints the outcome that `runAction` returns, in lines of at most 80 columns (but for the log).
void printOutcome(std::ostream& out, const Json& outcome, const TextStyle& style);

/// Prints the changes of `compareDescriptions`.
void printComparison(std::ostream& out, const Json& comparison, const TextStyle& style);

/// Prints the list that `productList` returns.
void printProducts(std::ostream& out, const Json& list);
