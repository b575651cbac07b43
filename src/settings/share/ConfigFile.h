// Reads and writes configuration files.
#pragma once

#include <string>

#include "settings/share/FileName.h"

namespace settings_impl {

/// Returns the content of a file of fewer than 1,048,576 bytes, without its byte order mark. Throws
/// settings::Exception: 304 if the file can't be opened, 307 if it can't be read, 315 if it is too
/// long, 314 if it is not valid UTF-8.
std::string readConfigFile(const FileName& fileName);

/// Overwrites an existing file, which keeps its access rights, or creates one that everyone may
/// read and that system and administrators may change. The directory must exist. Throws
/// settings::Exception: 304 if the file can't be opened or created, 306 after an incomplete write.
void writeConfigFile(const FileName& fileName, const std::string& text);

}  // namespace settings_impl
