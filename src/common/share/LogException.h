// What every catch point does with what it caught: one record at ERROR. The record's place is the
// catch point; the exception's own text names the throw.
#pragma once

#include <exception>

#include "common/share/PmtError.h"
#include "common/share/tstring.h"

/// "Exception with message '<what>' caught".
void logException(const SourceLocation& where, const std::exception& error);

/// "Unknown exception caught".
void logUnknownException(const SourceLocation& where);

/// The record that both write, whatever the logger's threshold is.
void logErrorAt(const SourceLocation& where, const tstring& message);
