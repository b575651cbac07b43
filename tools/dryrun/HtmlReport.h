// The outcome of a dry run as a page for a support ticket.
#pragma once

#include <string>

#include "dryrun/Format.h"

/// Returns a self-contained HTML page, without scripts and addresses, of the outcome that
/// `runAction` returns.
std::string htmlReport(const Json& outcome);
