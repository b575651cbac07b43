// Writes the text of a configuration to its file.
#pragma once

#include <string>

#include "settings/share/FileName.h"

namespace settings_impl {

/// Overwrites a file that is there, which keeps its access rights, or creates one that everyone may
/// read and that system and administrators may change. The folder must be there. Throws
/// settings::Exception: 304 if the file can't be opened or created, 306 if a write fell short.
void writeConfigFile(const FileName& fileName, const std::string& text);

}  // namespace settings_impl
