// Texts of hashes.
#pragma once

#include <string>

#include "common/share/tstring.h"

/// Gives back `value` if it is the text of a hash of 256 bits: 64 digits, letters in lower case.
/// Otherwise throws std::runtime_error, which names the hash by `algorithm` ("sha256").
const tstring& verifyChecksumString(const tstring& value, const std::string& algorithm);
