// Hashes in text form.
#pragma once

#include <string>

#include "common/share/tstring.h"

/// Returns `value` if it is a hash of 256 bits: 64 hexadecimal digits in lower case. Otherwise
/// throws std::runtime_error, which names the hash by `algorithm` ("sha256").
const tstring& verifyChecksumString(const tstring& value, const std::string& algorithm);
